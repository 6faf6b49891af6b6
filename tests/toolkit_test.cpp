// The form's model under the user's hands: focus, keys, lists, boxes.
#include <gtest/gtest.h>

#include "board.h"
#include "platform/text/text.h"
#include "platform/toolkit/conversion.h"
#include "sample.h"

namespace {

using namespace toolkit;
using Texts = std::vector<std::u16string>;

class ToolkitTest : public testing::Test, protected Sample {
 protected:
  ToolkitTest() : Sample(5) {
    App().view = &view;
    one.Change = [this] { log.push_back(u"change " + one.Text()); };
    one.LostFocus = [this] {
      log.push_back(u"lost");
      if (keep) one.SetFocus();
    };
    list.Click = [this] { log.push_back(u"row " + std::u16string(list.Text())); };
    form.Load();
    log.clear();
  }

  void Type(std::u16string_view text) {
    for (const char16_t c : text) form.UserKey({.text = {&c, 1}});
  }
  void Keys(const std::vector<KeyStroke>& strokes) {
    for (const KeyStroke& stroke : strokes) form.UserKey(stroke);
  }

  Board view;
  bool keep = false;
  Texts log;
};

TEST_F(ToolkitTest, LostFocusMayKeepTheFocusAgainstEveryWayToLeave) {
  ASSERT_EQ(form.Focus(), &one);
  keep = true;
  list.AddItem(u"a");
  form.UserClick(go);
  form.UserAccess(u'v');
  form.UserKey({.key = Key::Tab});
  form.UserClickRow(list, 0);
  form.UserFocus(two);
  EXPECT_EQ(form.Focus(), &one);
  EXPECT_EQ(clicks, 0);
  EXPECT_EQ(list.ListIndex(), -1);
  keep = false;
  EXPECT_TRUE(form.UserAccess(u'V'));
  EXPECT_EQ(clicks, 1);
  EXPECT_EQ(form.Focus(), &go);
}

TEST_F(ToolkitTest, WhatIsHiddenOrDisabledTakesNothing) {
  one.SetEnabled(false);
  EXPECT_FALSE(form.UserFocus(one));
  EXPECT_THROW(one.SetFocus(), Misuse);
  go.Click = [this] { panel.SetVisible(false); };
  form.UserClick(go);
  EXPECT_FALSE(form.UserClick(two) || form.UserClickRow(list, 0));
  EXPECT_EQ(form.Focus(), nullptr);
  panel.SetVisible(true);
  go.Click = [this] { go.SetEnabled(false); };
  form.UserClick(go);
  EXPECT_EQ(form.Focus(), &two) << "on in tab order, round the end";
  EXPECT_FALSE(form.UserAccess(u'v'));
}

TEST_F(ToolkitTest, WritingTextRaisesChangeOnceAndPutsTheCaretAtTheStart) {
  one.SetText(u"abc");
  one.SetSelStart(99);
  one.SetText(u"abc");
  EXPECT_EQ(one.SelStart(), 3);
  one.SetText(u"longer than MaxLength");
  EXPECT_EQ(one.SelStart(), 0);
  EXPECT_EQ(log, (Texts{u"change abc", u"change longer than MaxLength"}));
}

TEST_F(ToolkitTest, Keys) {
  const KeyStroke left{Key::Left}, home{Key::Home}, back{Key::Backspace}, del{Key::Delete},
      enter{Key::Enter}, x{.text = u"x"}, shiftEnd{.key = Key::End, .shift = true},
      emoji{.text = u"\xD83D\xDE00"}, escape{Key::Escape};
  const std::tuple<std::vector<KeyStroke>, std::u16string, int> cases[] = {
      {{x, x}, u"abcdx", 5},
      {{home, x}, u"xabcd", 1},
      {{enter, escape}, u"abcd", 4},
      {{left, back}, u"abd", 2},
      {{home, back}, u"abcd", 0},
      {{home, del}, u"bcd", 0},
      {{del}, u"abcd", 4},
      {{x, home, shiftEnd, x}, u"x", 1},
      {{emoji}, u"abcd", 4},
      {{back, emoji}, u"abc\xD83D\xDE00", 5},
      {{back, emoji, back}, u"abc", 3},
  };
  for (const auto& [strokes, left_over, caret] : cases) {
    one.SetText(u"");
    one.SetText(u"abcd");
    form.UserClick(one);
    Keys(strokes);
    EXPECT_EQ(one.Text(), left_over);
    EXPECT_EQ(one.SelStart(), caret) << text::ToUtf8(left_over);
  }
}

TEST_F(ToolkitTest, KeyPressDecidesOnEditingKeysToo) {
  std::vector<int> codes;
  bool refuse = true;
  one.KeyPress = [&](std::int16_t& code) {
    codes.push_back(code);
    if (refuse) code = 0;
  };
  view.clipboard = u"12345678";
  form.UserPaste();
  form.UserSelectAll();
  form.UserCut();
  form.UserUndo();
  Keys({{Key::Enter}, {Key::Escape}});
  EXPECT_EQ(codes, (std::vector<int>{22, 24, 26, 13, 27}));
  EXPECT_EQ(one.Text(), u"");
  refuse = false;
  form.UserPaste();
  EXPECT_EQ(one.Text(), u"12345") << "a paste stops at MaxLength";
  form.UserSelectAll();
  form.UserCut();
  EXPECT_EQ(one.Text() + view.clipboard, u"12345");
  form.UserUndo();
  EXPECT_EQ(one.Text(), u"12345");
  form.UserUndo();
  EXPECT_EQ(one.Text(), u"");
  view.clipboard = u"a\tb\r\nc";
  form.UserPaste();
  EXPECT_EQ(one.Text(), u"ab") << "one line, no control characters";
  one.KeyPress = [](std::int16_t& code) { code = code == 'q' ? 8 : code; };
  Type(u"q");
  EXPECT_EQ(one.Text(), u"a") << "the code left there is what counts";

  int keys = 0;
  two.KeyPress = [&](std::int16_t&) { ++keys; };
  two.SetText(u"12");
  form.UserClick(two);
  Type(u"3");
  Keys({{Key::Backspace}, {Key::Delete}});
  form.UserPaste();
  form.UserUndo();
  EXPECT_EQ(two.Text(), u"12") << "a locked box";
  EXPECT_EQ(keys, 4);
}

TEST_F(ToolkitTest, ListRowsAcrossBlocksAndSelection) {
  for (int i = 0; i < 5000; ++i) list.AddItem(text::Decimal(i * 7919));
  for (const int i : {0, 1, 1023, 1024, 4999}) EXPECT_EQ(list.List(i), text::Decimal(i * 7919));
  EXPECT_EQ(list.List(-1), u"");
  EXPECT_THROW(list.List(5000), Misuse);
  EXPECT_FALSE(form.UserClickRow(list, -1)) << "a full list has no empty space";
  form.UserFocus(list);
  Keys({{Key::Up}, {Key::Up}, {Key::End}, {Key::PageUp}});
  EXPECT_EQ(list.ListIndex(), 4999 - (list.VisibleRows() - 1));
  EXPECT_EQ(log.size(), 4U) << "lost, then a Click only where the row is another one";
}

TEST_F(ToolkitTest, TypingSearchesTheList) {
  form.UserFocus(list);
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"c", u"Como"},      {u"bar", u"bari"}, {u"barl", u"BARLETTA"},
      {u"citta", u"CITTÀ"}, {u"bb", u"bari"},  // the same letter again goes on to the next
      {u"z", u""}};
  for (const auto& [letters, found] : cases) {
    list.Clear();
    for (const auto* row : {u"Alfa", u"BETA", u"bari", u"Como", u"BARLETTA", u"CITTÀ"}) {
      list.AddItem(row);
    }
    Type(letters);
    EXPECT_EQ(list.Text(), found) << text::ToUtf8(letters);
  }
}

TEST_F(ToolkitTest, OptionsOfOneFrameSwitchOneAnotherOff) {
  int picked = 0;
  first.Click = [&] { ++picked; };
  first.SetValue(true);
  form.UserClick(second);
  EXPECT_TRUE(!first.Value() && second.Value());
  Keys({{.key = Key::Tab, .shift = true}, {Key::Tab}});
  EXPECT_EQ(form.Focus(), &second) << "Tab goes to the one that is on";
  Keys({{Key::Down}});
  EXPECT_TRUE(first.Value());
  EXPECT_EQ(picked, 2);
}

TEST_F(ToolkitTest, ClicksMeetWhatLiesOnTop) {
  ASSERT_TRUE(form.PlaceToClick(one));
  cover.SetVisible(true);
  const auto beside = form.PlaceToClick(one);
  ASSERT_TRUE(beside);
  EXPECT_GE(beside->x, 870);
  cover.SetWidth(2000);
  EXPECT_FALSE(form.PlaceToClick(one));
  EXPECT_TRUE(form.PlaceToClick(two));
}

TEST_F(ToolkitTest, MessageBoxesByFlags) {
  const std::tuple<int, std::vector<int>, MessageIcon, int> cases[] = {
      {16, {1}, MessageIcon::Critical, 1},       {20, {6, 7}, MessageIcon::Critical, 0},
      {35, {6, 7, 2}, MessageIcon::Question, 2}, {36, {6, 7}, MessageIcon::Question, 0},
      {64, {1}, MessageIcon::Information, 1},    {68, {6, 7}, MessageIcon::Information, 0}};
  for (const auto& [flags, answers, icon, escape] : cases) {
    EXPECT_EQ(MsgBox(u"t", flags, u"titolo"), answers[0]);
    const Message& m = view.asked.back();
    std::vector<int> codes;
    for (const auto& button : m.buttons) codes.push_back(button.code);
    EXPECT_TRUE(codes == answers && m.icon == icon && m.escape == escape) << flags;
  }
}

TEST_F(ToolkitTest, ExceptionsOfAHandler) {
  std::string told;
  App().unhandled = [&](const std::exception& e) { told = e.what(); };
  Screen.MousePointer = 11;
  go.Click = [] { throw std::runtime_error("guasto"); };
  form.UserClick(go);
  EXPECT_EQ(told, "guasto");
  EXPECT_EQ(Screen.MousePointer, 0);
  EXPECT_TRUE(form.UserClick(one));
  go.Click = [this] {
    End(3);
    ++clicks;
  };
  form.UserClick(go);
  EXPECT_TRUE(App().ended);
  EXPECT_EQ(App().status, 3);
  EXPECT_EQ(clicks, 0);
  EXPECT_FALSE(form.UserKey({Key::Tab}));
}

TEST(Conversion, NumbersAndDates) {
  for (const char16_t* number : {u"12345678901", u"  007 ", u"-1", u"+1,5", u"1.234,5", u",5"}) {
    EXPECT_TRUE(IsNumeric(number)) << text::ToUtf8(number);
  }
  for (const char16_t* other :
       {u"1.23", u"1234.567", u"", u"   ", u"12A", u"1E5", u"1 2", u"-", u",", u"1,2,3"}) {
    EXPECT_FALSE(IsNumeric(other)) << text::ToUtf8(other);
  }
  for (const char16_t* date : {u"29/02/1960", u"29/02/2000", u"31/12/2999"}) {
    EXPECT_TRUE(IsDate(date)) << text::ToUtf8(date);
  }
  for (const char16_t* other : {u"29/02/1900", u"31/04/2014", u"01/13/2014", u"00/01/2014",
                                u"1/1/2014", u"//", u"01-01-2014", u"01/01/20145", u"0a/01/2014"}) {
    EXPECT_FALSE(IsDate(other)) << text::ToUtf8(other);
  }
  const std::pair<const char16_t*, double> values[] = {
      {u"", 0}, {u"abc", 0}, {u"  12,5", 12}, {u"071", 71}, {u"-3x", -3}, {u"+4", 4}, {u"--1", 0}};
  for (const auto& [text, value] : values) {
    EXPECT_EQ(Val(text), value) << text::ToUtf8(text);
  }
}

TEST(Text, UpperCaseAndEncodings) {
  EXPECT_EQ(text::Upper(u"aàèìòùéçñšÿßΩ1"), u"AÀÈÌÒÙÉÇÑŠŸßΩ1");
  EXPECT_EQ(text::ToUtf8(u"\xD800x"), "\xEF\xBF\xBDx");
  EXPECT_EQ(text::FromUtf8("\xC0\xAF\xF0\x9F\x98\x80\xE2"), u"\xFFFD\xD83D\xDE00\xFFFD");
}

}  // namespace
