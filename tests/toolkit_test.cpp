// The form's model under the user's hands: focus, keys, lists, boxes.
#include <gtest/gtest.h>

#include <vector>

#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "platform/toolkit/control.h"
#include "platform/toolkit/conversion.h"
#include "platform/toolkit/form.h"

namespace {

using namespace toolkit;

class Clip : public View {
 public:
  int Ask(const Message& message) override {
    asked.push_back(message);
    return message.buttons[0].code;
  }
  void Beep() override {}
  void Repaint() override {}
  std::u16string Clipboard() override { return held; }
  void SetClipboard(std::u16string_view text) override { held = text; }
  std::u16string held;
  std::vector<Message> asked;
};

// Two boxes, a list, two buttons and a pair of options in a panel.
class ToolkitTest : public testing::Test {
 protected:
  ToolkitTest() {
    App() = Application{};
    App().view = &view;
    const std::vector<Placed> table = {
        {panel, nullptr, nullptr, {.Left = 100, .Top = 100, .Width = 3000, .Height = 3000}},
        {one, &panel, nullptr, {.Width = 1000, .Height = 300, .TabIndex = 1, .MaxLength = 5}},
        {two,
         &panel,
         nullptr,
         {.Top = 400, .Width = 1000, .Height = 300, .TabIndex = 2, .MaxLength = 3, .Locked = true}},
        {list, &panel, nullptr, {.Top = 800, .Width = 1000, .Height = 900, .TabIndex = 3}},
        {first, &panel, nullptr, {.TabIndex = 4}},
        {second, &panel, nullptr, {.TabIndex = 5}},
        {go,
         nullptr,
         nullptr,
         {.Left = 200,
          .Top = 4000,
          .Width = 900,
          .Height = 400,
          .Caption = u"&Via",
          .TabIndex = 6}},
        {cover,
         nullptr,
         nullptr,
         {.Left = 100, .Top = 100, .Width = 600, .Height = 300, .Visible = false}},
    };
    form.Build(table, u"prova", kWhite);
    one.Change = [this] { log.push_back(u"change " + one.Text()); };
    one.LostFocus = [this] {
      log.push_back(u"lost");
      if (keep) one.SetFocus();
    };
    one.GotFocus = [this] { log.push_back(u"got"); };
    go.Click = [this] { ++clicks; };
    list.Click = [this] { log.push_back(u"row " + list.Text()); };
    form.Load();
    log.clear();
  }

  void Type(std::u16string_view text) {
    for (const char16_t c : text) form.UserKey({.text = {&c, 1}});
  }

  Clip view;
  Form form{u"F"};
  Frame panel{u"panel"}, cover{u"cover"};
  TextBox one{u"one"}, two{u"two"};
  ListBox list{u"list"};
  OptionButton first{u"first"}, second{u"second"};
  CommandButton go{u"go"};
  bool keep = false;
  int clicks = 0;
  std::vector<std::u16string> log;
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
  EXPECT_FALSE(form.UserClick(two));
  EXPECT_FALSE(form.UserClickRow(list, 0));
  EXPECT_EQ(form.Focus(), &go);
  panel.SetVisible(true);
  go.Click = [this] { go.SetEnabled(false); };
  form.UserClick(go);
  EXPECT_EQ(form.Focus(), &two) << "on in tab order, round the end";
  EXPECT_FALSE(form.UserAccess(u'v'));
}

TEST_F(ToolkitTest, WritingTextRaisesChangeOnceAndPutsTheCaretAtTheStart) {
  one.SetText(u"abc");
  one.SetSelStart(99);
  EXPECT_EQ(one.SelStart(), 3);
  one.SetText(u"abc");
  EXPECT_EQ(one.SelStart(), 3);
  one.SetText(u"longer than MaxLength");
  EXPECT_EQ(one.SelStart(), 0);
  EXPECT_EQ(log, (std::vector<std::u16string>{u"change abc", u"change longer than MaxLength"}));
}

TEST_F(ToolkitTest, Keys) {
  struct Case {
    std::vector<KeyStroke> strokes;
    std::u16string text;
    int caret;
  };
  const KeyStroke left{Key::Left}, home{Key::Home}, back{Key::Backspace}, del{Key::Delete},
      enter{Key::Enter}, x{.text = u"x"}, shiftEnd{.key = Key::End, .shift = true},
      emoji{.text = u"\xD83D\xDE00"}, escape{Key::Escape};
  const std::vector<Case> cases = {
      {{x}, u"abcdx", 5},
      {{x, x}, u"abcdx", 5},
      {{home, x}, u"xabcd", 1},
      {{enter, escape}, u"abcd", 4},
      {{left, back}, u"abd", 2},
      {{home, back}, u"abcd", 0},
      {{home, del}, u"bcd", 0},
      {{del}, u"abcd", 4},
      {{home, shiftEnd, x}, u"x", 1},
      {{x, home, shiftEnd, x}, u"x", 1},
      {{emoji}, u"abcd", 4},
      {{back, emoji}, u"abc\xD83D\xDE00", 5},
      {{back, emoji, back}, u"abc", 3},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    one.SetText(u"abcd");
    form.UserClick(one);
    for (const KeyStroke& stroke : cases[i].strokes) form.UserKey(stroke);
    EXPECT_EQ(one.Text(), cases[i].text) << i;
    EXPECT_EQ(one.SelStart(), cases[i].caret) << i;
    one.SetText(u"");
  }
}

TEST_F(ToolkitTest, KeyPressDecidesOnEditingKeysToo) {
  std::vector<int> codes;
  bool refuse = true;
  one.KeyPress = [&](std::int16_t& code) {
    codes.push_back(code);
    if (refuse) code = 0;
  };
  view.held = u"12345678";
  form.UserPaste();
  form.UserSelectAll();
  form.UserCut();
  form.UserUndo();
  form.UserKey({Key::Enter});
  form.UserKey({Key::Escape});
  EXPECT_EQ(codes, (std::vector<int>{22, 24, 26, 13, 27}));
  EXPECT_EQ(one.Text(), u"");
  refuse = false;
  form.UserPaste();
  EXPECT_EQ(one.Text(), u"12345") << "a paste stops at MaxLength";
  form.UserSelectAll();
  form.UserCut();
  EXPECT_EQ(one.Text(), u"");
  EXPECT_EQ(view.held, u"12345");
  form.UserUndo();
  EXPECT_EQ(one.Text(), u"12345");
  form.UserUndo();
  EXPECT_EQ(one.Text(), u"");
  view.held = u"a\tb\r\nc";
  form.UserPaste();
  EXPECT_EQ(one.Text(), u"ab") << "one line, no control characters";
  one.KeyPress = [](std::int16_t& code) { code = code == 'q' ? 8 : code; };
  Type(u"q");
  EXPECT_EQ(one.Text(), u"a") << "the code left there is what counts";
}

TEST_F(ToolkitTest, LockedBoxTakesNoEditButRaisesKeyPress) {
  int keys = 0;
  two.KeyPress = [&](std::int16_t&) { ++keys; };
  two.SetText(u"12");
  form.UserClick(two);
  view.held = u"9";
  Type(u"3");
  form.UserKey({Key::Backspace});
  form.UserKey({Key::Delete});
  form.UserPaste();
  form.UserUndo();
  EXPECT_EQ(two.Text(), u"12");
  EXPECT_EQ(keys, 4);
}

TEST_F(ToolkitTest, ListRowsAcrossBlocksAndSelection) {
  std::u16string row;
  for (int i = 0; i < 5000; ++i) list.AddItem(row = text::Decimal(i * 7919));
  for (const int i : {0, 1, 1023, 1024, 4999}) EXPECT_EQ(list.List(i), text::Decimal(i * 7919));
  EXPECT_EQ(list.List(-1), u"");
  EXPECT_THROW(list.List(5000), Misuse);
  EXPECT_FALSE(form.UserClickRow(list, -1)) << "a full list has no empty space";
  form.UserFocus(list);
  form.UserKey({Key::Up});
  EXPECT_EQ(list.ListIndex(), 0);
  form.UserKey({Key::Up});
  form.UserKey({Key::End});
  form.UserKey({Key::PageUp});
  EXPECT_EQ(list.ListIndex(), 4999 - (list.VisibleRows() - 1));
  EXPECT_EQ(log.size(), 4u) << "lost, then a Click only where the row is another one";
  list.Clear();
  EXPECT_EQ(list.Text(), u"");
}

TEST_F(ToolkitTest, TypingSearchesTheList) {
  for (const auto* row : {u"Alfa", u"BETA", u"bari", u"Como", u"BARLETTA", u"CITTÀ"})
    list.AddItem(row);
  form.UserFocus(list);
  const auto search = [&](std::u16string_view letters) {
    list.Clear();
    for (const auto* row : {u"Alfa", u"BETA", u"bari", u"Como", u"BARLETTA", u"CITTÀ"})
      list.AddItem(row);
    Type(letters);
    return std::u16string(list.Text());
  };
  EXPECT_EQ(search(u"c"), u"Como");
  EXPECT_EQ(search(u"bar"), u"bari");
  EXPECT_EQ(search(u"barl"), u"BARLETTA");
  EXPECT_EQ(search(u"bb"), u"bari") << "the same letter again goes on to the next";
  EXPECT_EQ(search(u"citta"), u"CITTÀ");
  EXPECT_EQ(search(u"z"), u"");
}

TEST_F(ToolkitTest, OptionsOfOneFrameSwitchOneAnotherOff) {
  int picked = 0;
  first.Click = [&] { ++picked; };
  first.SetValue(true);
  EXPECT_EQ(picked, 1);
  form.UserClick(second);
  EXPECT_FALSE(first.Value());
  EXPECT_TRUE(second.Value());
  form.UserKey({.key = Key::Tab, .shift = true});
  form.UserKey({Key::Tab});
  EXPECT_EQ(form.Focus(), &second) << "Tab goes to the one that is on";
  form.UserKey({Key::Down});
  EXPECT_TRUE(first.Value());
  EXPECT_EQ(picked, 2);
}

TEST_F(ToolkitTest, ClicksMeetWhatLiesOnTop) {
  const auto free = form.PlaceToClick(one);
  ASSERT_TRUE(free);
  cover.SetVisible(true);
  const auto beside = form.PlaceToClick(one);
  ASSERT_TRUE(beside);
  EXPECT_GE(beside->x, 700);
  cover.SetWidth(1200);
  EXPECT_FALSE(form.PlaceToClick(one));
  EXPECT_TRUE(form.PlaceToClick(two));
}

TEST_F(ToolkitTest, MessageBoxesByFlags) {
  struct Case {
    int flags;
    std::vector<int> codes;
    MessageIcon icon;
    int escape;
  };
  for (const Case& c :
       {Case{16, {1}, MessageIcon::Critical, 1}, Case{20, {6, 7}, MessageIcon::Critical, 0},
        Case{35, {6, 7, 2}, MessageIcon::Question, 2}, Case{36, {6, 7}, MessageIcon::Question, 0},
        Case{64, {1}, MessageIcon::Information, 1},
        Case{68, {6, 7}, MessageIcon::Information, 0}}) {
    EXPECT_EQ(MsgBox(u"t", c.flags, u"titolo"), c.codes[0]);
    const Message& m = view.asked.back();
    std::vector<int> codes;
    for (const auto& button : m.buttons) codes.push_back(button.code);
    EXPECT_EQ(codes, c.codes);
    EXPECT_EQ(m.icon, c.icon);
    EXPECT_EQ(m.escape, c.escape);
  }
}

TEST_F(ToolkitTest, EndStopsTheHandlerAndEverythingAfterIt) {
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

TEST_F(ToolkitTest, AnExceptionOfAHandlerIsToldAndTheFormLivesOn) {
  std::string told;
  App().unhandled = [&](const std::exception& e) { told = e.what(); };
  Screen.MousePointer = 11;
  go.Click = [] { throw std::runtime_error("guasto"); };
  form.UserClick(go);
  EXPECT_EQ(told, "guasto");
  EXPECT_EQ(Screen.MousePointer, 0);
  EXPECT_TRUE(form.UserClick(one));
}

TEST(Conversion, NumbersAndDates) {
  const std::vector<std::pair<std::u16string, bool>> numbers = {
      {u"12345678901", true}, {u"  007 ", true}, {u"-1", true},    {u"+1,5", true},
      {u"1.234,5", true},     {u",5", true},     {u"1.23", false}, {u"1234.567", false},
      {u"", false},           {u"   ", false},   {u"12A", false},  {u"1E5", false},
      {u"1 2", false},        {u"-", false},     {u",", false},    {u"1,2,3", false}};
  for (const auto& [text, numeric] : numbers) {
    EXPECT_EQ(IsNumeric(text), numeric) << text::ToUtf8(text);
  }
  const std::vector<std::pair<std::u16string, bool>> dates = {
      {u"29/02/1960", true},  {u"29/02/1900", false},  {u"29/02/2000", true},
      {u"31/04/2014", false}, {u"31/12/2999", true},   {u"01/13/2014", false},
      {u"00/01/2014", false}, {u"1/1/2014", false},    {u"//", false},
      {u"01-01-2014", false}, {u"01/01/20145", false}, {u"0a/01/2014", false}};
  for (const auto& [text, date] : dates) {
    EXPECT_EQ(IsDate(text), date) << text::ToUtf8(text);
  }
  const std::vector<std::pair<std::u16string, double>> values = {
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
