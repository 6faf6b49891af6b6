// The program's message boxes, as Qt shows them.
#pragma once

#include <functional>

#include "platform/toolkit/application.h"

class QAbstractButton;
class QMessageBox;
class QWidget;

namespace desktop {

// Shows the box over `parent` (null: by itself) and waits; gives the code of the
// button pressed. `whenUp` is called once the box waits.
int ShowMessage(QWidget* parent, const toolkit::Message& message,
                const std::function<void(QMessageBox&)>& whenUp);

// The button of a box that answers `code`; null if none does.
QAbstractButton* AnswerButton(const QMessageBox& box, int code);

}  // namespace desktop
