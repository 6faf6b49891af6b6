// The form's model under keys and clicks: focus, text boxes, lists, options.
#include <gtest/gtest.h>

#include "board.h"
#include "platform/text/text.h"
#include "sample.h"

namespace {

using namespace toolkit;

class ToolkitTest : public testing::Test, protected Sample {
 protected:
  ToolkitTest() : Sample(5) {
    App().view = &view;
    one.LostFocus = [this] {
      if (keep) one.SetFocus();
    };
    form.Load();
  }

  void Type(std::u16string_view text) {
    for (const char16_t c : text) form.UserKey({.text = {&c, 1}});
  }
  void Keys(const std::vector<KeyStroke>& strokes) {
    for (const KeyStroke& stroke : strokes) form.UserKey(stroke);
  }

  Board view;
  bool keep = false;
};

TEST_F(ToolkitTest, LostFocusMayKeepTheFocusAgainstEveryWayToLeave) {
  keep = true;
  list.AddItem(u"a");
  form.UserClick(go);
  form.UserAccess(u'v');
  form.UserClickRow(list, 0);
  form.UserFocus(two);
  EXPECT_EQ(form.Focus(), &one);
  EXPECT_EQ(clicks, 0);
  EXPECT_EQ(list.ListIndex(), -1);
  keep = false;
  EXPECT_TRUE(form.UserAccess(u'V'));
  EXPECT_EQ(clicks, 1);
}

TEST_F(ToolkitTest, WhatIsHiddenOrDisabledTakesNothing) {
  one.SetEnabled(false);
  EXPECT_THROW(one.SetFocus(), Misuse);
  go.Click = [this] { panel.SetVisible(false); };
  form.UserClick(go);
  EXPECT_FALSE(form.UserFocus(two) || form.UserClick(two) || form.UserClickRow(list, 0));
  EXPECT_EQ(form.Focus(), nullptr);
  panel.SetVisible(true);
  go.Click = [this] { go.SetEnabled(false); };
  form.UserClick(go);
  EXPECT_EQ(form.Focus(), &two) << "on in tab order, round the end";
  EXPECT_FALSE(form.UserAccess(u'v'));
}

TEST_F(ToolkitTest, Keys) {
  const KeyStroke left{Key::Left}, home{Key::Home}, back{Key::Backspace}, del{Key::Delete},
      x{.text = u"x"}, shiftEnd{.key = Key::End, .shift = true}, emoji{.text = u"\xD83D\xDE00"};
  const std::tuple<std::vector<KeyStroke>, std::u16string, int> cases[] = {
      {{x, x}, u"abcdx", 5},
      {{left, back}, u"abd", 2},
      {{home, back}, u"abcd", 0},
      {{del}, u"abcd", 4},
      {{x, home, shiftEnd, x}, u"x", 1},
      {{emoji}, u"abcd", 4},
      {{back, emoji}, u"abc\xD83D\xDE00", 5},
      {{back, emoji, back}, u"abc", 3},
  };
  for (const auto& [strokes, remains, caret] : cases) {
    SCOPED_TRACE(text::ToUtf8(remains));
    one.SetText(u"");
    one.SetText(u"abcd");
    form.UserClick(one);
    Keys(strokes);
    EXPECT_EQ(one.Text(), remains);
    EXPECT_EQ(one.SelStart(), caret);
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
  EXPECT_EQ(codes, (std::vector<int>{22, 24, 26, 13}));
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

  two.SetText(u"12");
  form.UserClick(two);
  Type(u"3");
  Keys({{Key::Backspace}, {Key::Delete}});
  form.UserPaste();
  form.UserUndo();
  EXPECT_EQ(two.Text(), u"12") << "a locked box";
}

TEST_F(ToolkitTest, ListRowsAcrossBlocksAndSelection) {
  for (int i = 0; i < 5000; ++i) list.AddItem(text::Decimal(i * 7919));
  for (const int i : {0, 1, 1023, 1024, 4999}) EXPECT_EQ(list.List(i), text::Decimal(i * 7919));
  EXPECT_EQ(list.List(-1), u"");
  EXPECT_THROW(list.List(5000), Misuse);
  EXPECT_FALSE(form.UserClickRow(list, -1)) << "a full list has no empty space";
  int picked = 0;
  list.Click = [&] { ++picked; };
  form.UserFocus(list);
  Keys({{Key::Up}, {Key::Up}, {Key::End}, {Key::PageUp}});
  EXPECT_EQ(list.ListIndex(), 4999 - (list.VisibleRows() - 1));
  EXPECT_EQ(picked, 3) << "a Click only where the row is another one";
}

TEST_F(ToolkitTest, TypingSearchesTheList) {
  form.UserFocus(list);
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"c", u"Como"},        {u"bar", u"bari"}, {u"barl", u"BARLETTA"},
      {u"citta", u"CITTÀ"},   {u"bb", u"bari"},  // the same letter again goes on to the next
      {u"strass", u"Straße"}, {u"łod", u"Lodi"}, {u"z", u""}};
  for (const auto& [letters, found] : cases) {
    list.Clear();
    for (const auto* row :
         {u"Alfa", u"BETA", u"bari", u"Como", u"BARLETTA", u"CITTÀ", u"Straße", u"Lodi"}) {
      list.AddItem(row);
    }
    Type(letters);
    EXPECT_EQ(list.Text(), found) << text::ToUtf8(letters);
  }
}

TEST_F(ToolkitTest, TabGoesToTheOptionThatIsOn) {
  int picked = 0;
  first.Click = [&] { ++picked; };
  form.UserClick(second);
  Keys({{.key = Key::Tab, .shift = true}, {Key::Tab}});
  EXPECT_EQ(form.Focus(), &second);
  Keys({{Key::Down}});
  EXPECT_TRUE(first.Value() && !second.Value());
  EXPECT_EQ(picked, 1);
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

}  // namespace
