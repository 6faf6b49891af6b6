#include "platform/desktop/desktop.h"

#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>
#include <mutex>

#include "platform/desktop/accessible.h"
#include "platform/desktop/input.h"
#include "platform/desktop/look.h"
#include "platform/desktop/messagebox.h"
#include "platform/desktop/print.h"
#include "platform/desktop/view.h"

namespace desktop {

Window::Window(toolkit::Form& form) {
  SetZoom(1);
  QApplication::setStyle(MakeStyle());
  QApplication::setPalette(MakePalette());
  UseFonts();
  // A message box may be the last window that closes, long before the program ends.
  QGuiApplication::setQuitOnLastWindowClosed(false);
  static std::once_flag taught;
  std::call_once(taught, TeachAccessibility);
  if (const QScreen* screen = QGuiApplication::primaryScreen()) {
    toolkit::Screen.Width = screen->size().width() * kTwipsPerPixel;
    toolkit::Screen.Height = screen->size().height() * kTwipsPerPixel;
  }
  view_ = std::make_unique<FormView>(form);
  input_ = std::make_unique<Input>(form, *view_);
}

Window::~Window() = default;

void Window::Show() { view_->Show(); }
void Window::Sync() { view_->Sync(); }
QWidget& Window::Widget() { return view_->Root(); }
QWidget* Window::WidgetOf(const Control& control) const { return view_->WidgetOf(control); }

QPoint Window::PixelOf(toolkit::Point place) const {
  return QPoint(WholePixels(place.x), WholePixels(place.y));
}

std::optional<QPoint> Window::ShowRow(toolkit::ListBox& list, int row) {
  return view_->ShowRow(list, row);
}

QAbstractButton* Window::AnswerButton(const QMessageBox& box, int code) {
  return desktop::AnswerButton(box, code);
}

// The handler that asks has to end first, which takes it some turns of the event loop.
void Window::Leave() {
  if (leaving_) {
    return;
  }
  leaving_ = true;
  auto* again = new QTimer(&Widget());
  QObject::connect(again, &QTimer::timeout, &Widget(), [this] {
    if (auto* box = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
      box->done(QDialog::Rejected);
    } else {
      Widget().close();
    }
  });
  again->start(0);
}

std::u16string Window::Print(const toolkit::Document& document) {
  if (leaving_) {
    return u"";
  }
  view_->Sync();
  view_->ShowBusy(false);
  input_->SetBlocked(true);
  std::u16string failure =
      PrintDocument(&view_->Root(), document, [&](bool busy) { view_->ShowBusy(busy); });
  input_->SetBlocked(false);
  view_->ShowBusy(toolkit::Screen.MousePointer == 11);
  view_->ExpectUncovering();
  view_->Uncover(longestWait);
  return failure;
}

int Window::Ask(const toolkit::Message& message) {
  if (leaving_) {
    return LeastAnswer(message);
  }
  view_->Sync();
  view_->ShowBusy(false);
  QWidget* parent = view_->Shown() ? &view_->Root() : nullptr;
  input_->SetBlocked(true);
  const int answer = ShowMessage(parent, message, boxRest, [&](QMessageBox& box) {
    // The desktop may take the box away before its event loop has ended.
    QObject::connect(&box, &QDialog::finished, view_.get(), &FormView::ExpectUncovering);
    if (whenAsked) {
      whenAsked(box, message);
    }
  });
  input_->SetBlocked(false);
  view_->ShowBusy(toolkit::Screen.MousePointer == 11);
  if (parent != nullptr) {
    view_->Uncover(longestWait);
  }
  return answer;
}

void Window::Hide() {
  input_->SetBlocked(true);
  view_->Hide();
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void Window::Beep() { QApplication::beep(); }
void Window::Repaint() { view_->Repaint(); }

std::u16string Window::Clipboard() { return QGuiApplication::clipboard()->text().toStdU16String(); }

void Window::SetClipboard(std::u16string_view text) {
  QGuiApplication::clipboard()->setText(
      QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size())));
}

}  // namespace desktop
