// The program's message boxes, as Qt shows them.
#pragma once

#include <functional>

#include "platform/toolkit/application.h"

class QAbstractButton;
class QMessageBox;
class QWidget;

namespace desktop {

// Shows the box over `parent` (null: by itself) and waits; gives the code of the
// button pressed, or LeastAnswer where the box was closed without one. `whenUp` is called once the
// box waits.
int ShowMessage(QWidget* parent, const toolkit::Message& message,
                const std::function<void(QMessageBox&)>& whenUp);

// The answer by which least is done: Cancel, else No, else OK.
int LeastAnswer(const toolkit::Message& message);

// The button of a box that answers `code`; null if none does.
QAbstractButton* AnswerButton(const QMessageBox& box, int code);

}  // namespace desktop
