#include "platform/desktop/desktop.h"

#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>
#include <cmath>
#include <mutex>

#include "platform/desktop/accessible.h"
#include "platform/desktop/input.h"
#include "platform/desktop/look.h"
#include "platform/desktop/manual.h"
#include "platform/desktop/messagebox.h"
#include "platform/desktop/print.h"
#include "platform/desktop/view.h"
#include "platform/text/text.h"

namespace desktop {

namespace {
constexpr std::u16string_view kMaximised = u" massima";
}

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
  view_->beforeHiding = [this] {
    if (const std::u16string size = Size(); size_chosen && size != size_) {
      size_chosen(size);
      size_ = size;
    }
  };
  size_ = Size();
  input_ = std::make_unique<Input>(form, *view_);
}

Window::~Window() = default;

std::u16string Window::Size() const {
  std::u16string size = text::Decimal(std::lround(view_->ChosenZoom() * 100));
  if (view_->Maximised()) {
    size += kMaximised;
  }
  return size;
}

void Window::SetSize(std::u16string_view size) {
  size_ = size;
  const bool maximised = size.ends_with(kMaximised);
  if (maximised) {
    size.remove_suffix(kMaximised.size());
  }
  const int percent = Display(size).toInt();  // 0 for what is no number
  if (percent >= 25 && percent <= 400) {
    view_->Choose(percent / 100.0, maximised);
  }
}

void Window::Show() { view_->Show(); }
void Window::Sync() { view_->Sync(); }
QWidget& Window::Widget() { return view_->Root(); }
QWidget* Window::WidgetOf(const Control& control) const { return view_->WidgetOf(control); }

QPoint Window::PixelOf(toolkit::Point place) const {
  return view_->Origin() + QPoint(WholePixels(place.x), WholePixels(place.y));
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
  while (QWidget* menu = QApplication::activePopupWidget()) {
    menu->close();
  }
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
  view_->ShowBusy(view_->Busy());
  view_->ExpectUncovering();
  view_->Uncover(longestWait);
  return failure;
}

std::u16string Window::ShowManual(std::u16string_view chapter) {
  QString expected;
  const QString file = FindManual(expected);
  if (file.isEmpty()) {
    return u"Manca il file " + expected.toStdU16String() +
           u".\r\rReinstallare il programma; se è stato copiato, copiare anche la cartella "
           u"manuale.";
  }
  if (!manual_) {
    manual_ = std::make_unique<Manual>(Widget());
  }
  manual_->ShowChapter(file, Display(chapter));
  return u"";
}

int Window::Ask(const toolkit::Message& message) {
  if (leaving_) {
    return LeastAnswer(message);
  }
  view_->Sync();
  view_->ShowBusy(false);
  view_->EndWaiting();
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
  view_->ShowBusy(view_->Busy());
  if (parent != nullptr) {
    view_->Uncover(longestWait);
  }
  return answer;
}

void Window::Hide() {
  input_->SetBlocked(true);
  manual_.reset();
  view_->Hide();
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void Window::Beep() { QApplication::beep(); }
void Window::Repaint() { view_->Repaint(); }
void Window::StillWorking() { view_->StillWorking(); }

std::u16string Window::Clipboard() { return QGuiApplication::clipboard()->text().toStdU16String(); }

void Window::SetClipboard(std::u16string_view text) {
  QGuiApplication::clipboard()->setText(
      QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size())));
}

}  // namespace desktop
