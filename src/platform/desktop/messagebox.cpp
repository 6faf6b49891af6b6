#include "platform/desktop/messagebox.h"

#include <QEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QTimer>
#include <algorithm>

#include "platform/desktop/look.h"

namespace desktop {

namespace {

// Property of a box's button: the code that it answers.
constexpr const char* kAnswer = "answer";

class Box : public QMessageBox {
 public:
  using QMessageBox::QMessageBox;

 protected:
  // Qt widens a box for its title only by the box's own font and up to a part of
  // the screen, but desktops draw titles between buttons, bold and in wider fonts.
  bool event(QEvent* event) override {
    const bool taken = QMessageBox::event(event);
    if (event->type() == QEvent::Show || event->type() == QEvent::LayoutRequest) {
      QFont face = font();
      face.setBold(true);
      const int wanted =
          std::min(QFontMetrics(face).horizontalAdvance(windowTitle()) * 13 / 10 + 120,
                   screen()->availableSize().width() - 40);
      if (width() < wanted) {
        setFixedWidth(wanted);
        adjustPosition(parentWidget());
      }
    }
    return taken;
  }
};

// A path too long for a line may go on in the next one after each slash. Of one without
// end the two ends are shown: laying all of it out would take as long.
QString Breakable(QString text) {
  constexpr qsizetype kEnd = 1000;
  if (text.size() > 2 * kEnd) {
    text = text.left(kEnd) + " … " + text.right(kEnd);
  }
  if (text.contains(QRegularExpression("\\S{60}"))) {
    text.replace(QRegularExpression(R"(([/\\]))"), QString::fromUtf8("\\1\u200B"));
  }
  return text;
}

QMessageBox::ButtonRole RoleOf(int code) {
  switch (code) {
    case toolkit::kYes:
      return QMessageBox::YesRole;
    case toolkit::kNo:
      return QMessageBox::NoRole;
    case toolkit::kCancel:
      return QMessageBox::RejectRole;
    default:
      return QMessageBox::AcceptRole;
  }
}

QMessageBox::Icon IconOf(toolkit::MessageIcon icon) {
  switch (icon) {
    case toolkit::MessageIcon::Critical:
      return QMessageBox::Critical;
    case toolkit::MessageIcon::Question:
      return QMessageBox::Question;
    case toolkit::MessageIcon::Exclamation:
      return QMessageBox::Warning;
    case toolkit::MessageIcon::Information:
      return QMessageBox::Information;
    case toolkit::MessageIcon::None:
      break;
  }
  return QMessageBox::NoIcon;
}

}  // namespace

int ShowMessage(QWidget* parent, const toolkit::Message& message,
                const std::function<void(QMessageBox&)>& whenUp) {
  Box box(parent);
  box.setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                     Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint);
  box.setFont(BoxFont());
  box.setWindowTitle(Display(message.title));
  box.setTextFormat(Qt::PlainText);
  box.setText(Breakable(DisplayLines(message.text)));
  box.setIcon(IconOf(message.icon));
  for (const toolkit::MessageButton& button : message.buttons) {
    QPushButton* made = box.addButton(Display(button.caption), RoleOf(button.code));
    made->setProperty(kAnswer, button.code);
    if (button.code == message.preset) {
      box.setDefaultButton(made);
    }
    if (button.code == LeastAnswer(message)) {
      box.setEscapeButton(made);
    }
  }
  QTimer::singleShot(0, &box, [&] { whenUp(box); });
  box.exec();
  return box.clickedButton() != nullptr ? box.clickedButton()->property(kAnswer).toInt()
                                        : LeastAnswer(message);
}

int LeastAnswer(const toolkit::Message& message) { return message.buttons.back().code; }

QAbstractButton* AnswerButton(const QMessageBox& box, int code) {
  for (QAbstractButton* button : box.buttons()) {
    if (button->property(kAnswer).toInt() == code) {
      return button;
    }
  }
  return nullptr;
}

}  // namespace desktop
