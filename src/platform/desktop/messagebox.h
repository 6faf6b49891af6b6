// The program's message boxes, as Qt shows them.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "platform/toolkit/application.h"

class QAbstractButton;
class QKeyEvent;
class QMessageBox;
class QWidget;

namespace desktop {

// Tells the presses that a held key repeats from those of a hand.
class Repeats {
 public:
  // True for a repeat. To be shown all presses and releases that a window gets. X11 sends a
  // repeat as a release and a press at once, which Qt sees only where both have come in.
  bool Is(const QKeyEvent& event);

 private:
  std::uint32_t key_ = 0;       // released last; 0: none that the system has numbered
  std::uint64_t released_ = 0;  // when, in milliseconds
};

// Shows the box over `parent` (null: on its own) and waits; returns the code of the
// button pressed, or LeastAnswer where the box was closed without one. It takes nothing from keys
// and mouse before it has been on the screen for `rest`. `whenUp` is called once the box waits.
int ShowMessage(QWidget* parent, const toolkit::Message& message, std::chrono::milliseconds rest,
                const std::function<void(QMessageBox&)>& whenUp);

// The answer by which least is done: Cancel, else No, else OK.
int LeastAnswer(const toolkit::Message& message);

// The button of a box whose code is `code`; null if there is none.
QAbstractButton* AnswerButton(const QMessageBox& box, int code);

}  // namespace desktop
