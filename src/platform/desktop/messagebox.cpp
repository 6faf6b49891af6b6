#include "platform/desktop/messagebox.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "platform/desktop/look.h"

namespace desktop {

namespace {

// Property of a box's button: its code.
constexpr const char* kAnswer = "answer";

// The hands go on with what they were doing until the eyes have seen a box. It takes no key or
// click in its first `rest` on the screen, nor a key that follows a dropped one as fast as the
// letters of a word, nor ever what a held key repeats: each of them makes its frame flash. What
// assistive technology presses was meant for it.
class Box : public QMessageBox {
 public:
  Box(QWidget* parent, std::chrono::milliseconds rest)
      : QMessageBox(parent), rest_(rest), resting_(rest.count() > 0) {
    flash_.setSingleShot(true);
    connect(&flash_, &QTimer::timeout, this, [this] { update(); });
  }

  // Puts the buttons under the text, where the eyes are. To be called after the last one.
  void PlaceButtons() {
    auto& grid = static_cast<QGridLayout&>(*layout());
    auto* buttons = findChild<QDialogButtonBox*>();
    int row = 0, column = 0, under = 0, rows = 0, columns = 0;
    grid.getItemPosition(grid.indexOf(&Text()), &row, &column, &rows, &columns);
    grid.getItemPosition(grid.indexOf(buttons), &under, &row, &rows, &columns);
    grid.removeWidget(buttons);
    grid.addWidget(buttons, under, column, Qt::AlignLeft);
    for (QAbstractButton* button : this->buttons()) {
      button->installEventFilter(this);
    }
  }

  bool eventFilter(QObject* object, QEvent* event) override {
    return Refuses(*event) || QMessageBox::eventFilter(object, event);
  }

 protected:
  bool event(QEvent* event) override {
    if (Refuses(*event)) {
      return true;
    }
    const bool taken = QMessageBox::event(event);
    if (event->type() == QEvent::Show || event->type() == QEvent::LayoutRequest) {
      Narrow();
    }
    return taken;
  }
  void paintEvent(QPaintEvent* event) override {
    QMessageBox::paintEvent(event);
    if (flash_.isActive()) {
      QPainter painter(this);
      DrawFrame(painter, rect(), Alarm(), 4);
    }
    if (!std::exchange(painted_, true) && resting_) {
      // What was typed up to then may still be on its way, but comes before an idle moment.
      QTimer::singleShot(rest_, Qt::PreciseTimer, this,
                         [this] { QTimer::singleShot(0, this, [this] { resting_ = false; }); });
    }
  }
  void closeEvent(QCloseEvent* event) override {
    if (resting_) {
      event->ignore();
      Flash();
    } else {
      QMessageBox::closeEvent(event);
    }
  }

 private:
  QLabel& Text() { return *findChild<QLabel*>("qt_msgbox_label"); }

  // Qt makes a box as wide as its title, which is the form's. This one is as wide as its text,
  // up to half the screen, or as a word that can't be divided.
  void Narrow() {
    Text().setWordWrap(false);
    const int most = screen()->availableSize().width() / 2;
    const int whole = layout()->totalMinimumSize().width();
    Text().setWordWrap(whole > most);
    layout()->activate();
    const int least = layout()->totalMinimumSize().width();
    const int wide = std::max(std::min(whole, most), least);
    int high = layout()->totalMinimumSize().height();
    if (layout()->hasHeightForWidth()) {
      high = layout()->totalHeightForWidth(wide);
    }
    setFixedSize(wide, high);
    QCoreApplication::removePostedEvents(this, QEvent::LayoutRequest);
    adjustPosition(parentWidget());
  }

  void Flash() {
    flash_.start(kFlash);
    update();
  }

  bool Refuses(QEvent& event) {
    constexpr int kWord = 250;  // milliseconds
    switch (event.type()) {
      case QEvent::ShortcutOverride:
      case QEvent::KeyPress: {
        const bool repeated = repeats_.Is(static_cast<QKeyEvent&>(event));
        if (!resting_ && !repeated && (!dropped_.isValid() || dropped_.hasExpired(kWord))) {
          return false;
        }
        dropped_.start();
        break;
      }
      case QEvent::KeyRelease:
        repeats_.Is(static_cast<QKeyEvent&>(event));
        return false;
      case QEvent::MouseButtonPress:
      case QEvent::MouseButtonDblClick:
        if (!resting_) {
          return false;
        }
        break;
      default:
        return false;
    }
    event.accept();
    Flash();
    return true;
  }

  const std::chrono::milliseconds rest_;
  bool resting_;
  bool painted_ = false;
  Repeats repeats_;
  QElapsedTimer dropped_;  // since the last dropped key
  QTimer flash_;           // runs while the frame is lit
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

bool Repeats::Is(const QKeyEvent& event) {
  constexpr std::uint64_t kAtOnce = 3;  // milliseconds
  if (event.type() == QEvent::KeyRelease) {
    key_ = event.nativeScanCode();
    released_ = event.timestamp();
    return false;
  }
  return event.isAutoRepeat() ||
         (key_ != 0 && event.nativeScanCode() == key_ && event.timestamp() - released_ < kAtOnce);
}

int ShowMessage(QWidget* parent, const toolkit::Message& message, std::chrono::milliseconds rest,
                const std::function<void(QMessageBox&)>& whenUp) {
  Box box(parent, rest);
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
  box.PlaceButtons();
  QTimer::singleShot(0, &box, [&] { whenUp(box); });
  box.exec();
  if (box.clickedButton() == nullptr) {
    return LeastAnswer(message);
  }
  return box.clickedButton()->property(kAnswer).toInt();
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
