// The language of anagparc-script: a text of user actions and looks at the
// state, one a line, run on the form ANAGPARC (docs/anagparc-script.md).
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "platform/toolkit/application.h"
#include "platform/toolkit/form.h"

namespace script {

// A wrong line, or one that can't go on. The text doesn't name the line.
struct Error {
  std::u16string text;
};

// Answers for the questions to come, in order.
class Answers {
 public:
  static constexpr int kLeftOpen = 0;  // no button's code

  void Add(int code) { codes_.push_back(code); }
  // A box with one button needs no answer. Otherwise takes the next answer; for kLeftOpen, `open`
  // is to wait for one and Add it. Throws Error where there is none, or the box has no such button.
  int Next(const toolkit::Message& message);

  std::function<void(const toolkit::Message& message)> open;

 private:
  std::deque<int> codes_;
};

// What a user can do, on the model alone or by real events on real widgets. Each member
// does one action and returns whether a user could do it now.
class Actions {
 public:
  virtual ~Actions() = default;
  virtual void Begin() {}  // to be called once the form has been loaded
  virtual bool Click(toolkit::Control& control) = 0;
  virtual bool ClickRow(toolkit::ListBox& list, int row) = 0;
  virtual bool DblClickRow(toolkit::ListBox& list, int row) = 0;
  virtual bool Scroll(toolkit::ListBox& list, int row) = 0;
  // A right click, on a row of a list; the captions that the menu offers go into
  // `offered`, and the one that is `choice`, if any, is chosen.
  virtual bool RightClick(toolkit::Control& control, int row, std::u16string_view choice,
                          std::vector<std::u16string>& offered) = 0;
  virtual bool Focus(toolkit::Control& control) = 0;
  virtual bool Caret(int offset) = 0;
  virtual bool Key(const toolkit::KeyStroke& stroke) = 0;
  virtual bool Paste(std::u16string_view clipboard) = 0;
  virtual bool Access(char16_t letter) = 0;
  virtual bool Close() = 0;
  virtual bool Screenshot(const std::string& file) = 0;
};

// The screen that isn't there.
class NoScreen : public toolkit::View {
 public:
  explicit NoScreen(Answers& answers) : answers_(answers) {}
  int Ask(const toolkit::Message& message) override;
  void Beep() override {}
  void Repaint() override {}
  std::u16string Clipboard() override { return clipboard_; }
  void SetClipboard(std::u16string_view text) override { clipboard_ = text; }

 private:
  Answers& answers_;
  std::u16string clipboard_;
};

class ModelActions : public Actions {
 public:
  bool Click(toolkit::Control& control) override;
  bool ClickRow(toolkit::ListBox& list, int row) override;
  bool DblClickRow(toolkit::ListBox& list, int row) override;
  bool Scroll(toolkit::ListBox& list, int row) override;
  bool RightClick(toolkit::Control& control, int row, std::u16string_view choice,
                  std::vector<std::u16string>& offered) override;
  bool Focus(toolkit::Control& control) override;
  bool Caret(int offset) override;
  bool Key(const toolkit::KeyStroke& stroke) override;
  bool Paste(std::u16string_view clipboard) override;
  bool Access(char16_t letter) override;
  bool Close() override;
  bool Screenshot(const std::string& file) override;
};

// Prints what the program does towards the outside, a line each.
class Printer : public toolkit::Witness {
 public:
  explicit Printer(std::ostream& out) : out_(out) {}
  void MessageShown(const toolkit::Message& message, int answer) override;
  void Beeped() override;
  void Painted() override;
  void Activated(std::u16string_view title, bool found) override;
  void Started(std::u16string_view path) override;
  void Printed(const toolkit::Document& document) override;
  void ManualAsked(std::u16string_view chapter) override;
  void Ended(int status) override;

 private:
  std::ostream& out_;
};

// The time of day of a script, the same in every run: half past twelve, and what it has waited.
std::chrono::milliseconds Clock();

// Something is selected that Ctrl+C copies.
bool CanCopy();

// The text between quotation marks, with \" \\ \r \n; other control characters
// and halves of a surrogate pair as \uXXXX.
std::string Quote(std::u16string_view text);

struct Word {
  std::u16string text;
  bool quoted = false;
};

// The words of a line. Throws Error.
std::vector<Word> Split(std::u16string_view line);

// Ends the process with status 2, after telling the error and the line it is
// about on standard error. Fit for the middle of an event: nothing unwinds.
[[noreturn]] void Fail(const Error& error);

// Runs one line. Throws Error.
void RunLine(std::u16string_view line, std::ostream& out, Answers& answers, Actions& actions);

// Runs the lines until they or the program end; a wrong one ends the process.
// What a line prints is on its way before the next one is read.
void Run(std::istream& lines, std::ostream& out, Answers& answers, Actions& actions);

}  // namespace script
