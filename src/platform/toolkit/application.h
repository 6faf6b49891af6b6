// What surrounds the form: the screen, message boxes, the end of the
// process, other programs. One of each in the process.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/toolkit/document.h"

namespace toolkit {

struct MessageButton {
  int code;
  std::u16string caption;
};

enum class MessageIcon { None, Critical, Question, Exclamation, Information };

struct Message {
  std::u16string text;  // lines divided by code 13
  int flags = 0;
  std::u16string title;
  // The last one does least: Cancel, else No, else OK. Escape chooses it.
  std::vector<MessageButton> buttons;
  MessageIcon icon = MessageIcon::None;
  int preset = 0;  // the code of the default button, which Enter presses
};

// A screen. Its members are called while an event runs.
class View {
 public:
  virtual ~View() = default;
  // Shows the box and waits for the user; returns the code of a button.
  virtual int Ask(const Message& message) = 0;
  virtual void Beep() = 0;
  // Takes the form from the screen, now and for good.
  virtual void Hide() {}
  // Shows what has changed, now.
  virtual void Repaint() = 0;
  // A handler goes on, which may take long; nothing has to be shown but that.
  virtual void StillWorking() {}
  virtual std::u16string Clipboard() = 0;
  virtual void SetClipboard(std::u16string_view text) = 0;
};

// Is called with all that the program does towards the outside.
class Witness {
 public:
  virtual ~Witness() = default;
  virtual void MessageShown(const Message& message, int answer) = 0;
  virtual void Beeped() = 0;
  // In the middle of a handler the form has been painted as it is now: at a Refresh, and at a
  // message box.
  virtual void Painted() = 0;
  virtual void Activated(std::u16string_view title, bool found) = 0;
  virtual void Started(std::u16string_view path) = 0;
  virtual void Printed(const Document& document) = 0;
  virtual void ManualAsked(std::u16string_view chapter) = 0;
  virtual void Ended(int status) = 0;
};

// Set up once by the program's main function, before the form is loaded.
struct Application {
  View* view = nullptr;  // null: no screen; MsgBox returns the default button
  Witness* witness = nullptr;
  std::u16string command_line;  // after the program's name
  std::function<bool(std::u16string_view title)> activate;
  std::function<bool(std::u16string_view path)> start;
  // As Print, below.
  std::function<std::u16string(const Document& document)> print;
  // As ShowManual, below.
  std::function<std::u16string(std::u16string_view chapter)> manual;
  // The clock for TimeOfDay; the computer's where there is none.
  std::function<std::chrono::milliseconds()> clock;
  // Called when an event has run to its end, and before a message box or the printing waits.
  std::function<void()> at_rest;
  // Called with an exception that left a handler.
  std::function<void(const std::exception&)> unhandled;
  // Since when a handler has been at work without waiting for the user; empty between two.
  std::optional<std::chrono::steady_clock::time_point> working;
  bool ended = false;
  int status = 0;
};
Application& App();

struct ScreenObject {
  int Width = 28800, Height = 16200;  // twips
  int MousePointer = 0;               // 0 normal, 11 busy
};
extern ScreenObject Screen;

// Flags of a message box: buttons plus icon, plus kDefaultSecond where there are two buttons or
// more and the second is to be the default. Results: the button's code.
constexpr int kOkOnly = 0, kYesNoCancel = 3, kYesNo = 4;
constexpr int kCritical = 16, kQuestion = 32, kExclamation = 48, kInformation = 64;
constexpr int kDefaultSecond = 256;
constexpr int kOk = 1, kCancel = 2, kYes = 6, kNo = 7;

// To be called now and then by what takes long.
void StillWorking();

// Since midnight, local time.
std::chrono::milliseconds TimeOfDay();

// Modal message box; a line end in the text is code 13.
int MsgBox(std::u16string_view text, int flags, std::u16string_view title);
void Beep();
// False when there is no window of that title.
bool AppActivate(std::u16string_view title);
// Starts a program, hidden, without waiting; false when it can't be started.
bool Shell(std::u16string_view path);

// Prints where and how the user chooses in the system's dialog, or not at all. Returns what
// went wrong, in Italian; "" when nothing did.
std::u16string Print(const Document& document);

// Shows the manual at the chapter of that name, its heading's as links in the manual have it, and
// returns at once. Returns what went wrong, in Italian; "" when nothing did.
std::u16string ShowManual(std::u16string_view chapter);

// Ends the program here: no handler goes on. It is an exception so that what
// is open is closed; only the form's events catch it.
struct ProgramEnd {
  int status;
};
[[noreturn]] void End(int status = 0);

}  // namespace toolkit
