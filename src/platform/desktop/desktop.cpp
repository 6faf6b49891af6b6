#include "platform/desktop/desktop.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QMessageBox>
#include <QScreen>

#include "platform/desktop/accessible.h"
#include "platform/desktop/hands.h"
#include "platform/desktop/look.h"

namespace desktop {

Window::Window(toolkit::Form& form) {
  SetZoom(1);
  QApplication::setStyle(MakeStyle());
  QApplication::setPalette(MakePalette());
  UseFonts();
  // A message box may be the last window that closes, long before the program ends.
  QGuiApplication::setQuitOnLastWindowClosed(false);
  [[maybe_unused]] static const bool taught = (TeachAccessibility(), true);
  if (const QScreen* screen = QGuiApplication::primaryScreen()) {
    toolkit::Screen.Width = screen->size().width() * kTwipsPerPixel;
    toolkit::Screen.Height = screen->size().height() * kTwipsPerPixel;
  }
  hands_ = std::make_unique<Hands>(form, *this);
}

Window::~Window() = default;

void Window::Show() { hands_->Show(); }
void Window::Sync() { hands_->Sync(); }
QWidget& Window::Widget() { return hands_->root; }
QWidget* Window::WidgetOf(const Control& control) const { return hands_->WidgetOf(control); }

QPoint Window::PixelOf(toolkit::Point place) const {
  return QPoint(WholePixels(place.x), WholePixels(place.y));
}

std::optional<QPoint> Window::ShowRow(const toolkit::ListBox& list, int row) {
  return hands_->ShowRow(list, row);
}

QAbstractButton* Window::AnswerButton(const QMessageBox& box, int code) {
  for (QAbstractButton* button : box.buttons()) {
    if (button->property(kAnswer).toInt() == code) {
      return button;
    }
  }
  return nullptr;
}

int Window::Ask(const toolkit::Message& message) { return hands_->Ask(message); }
void Window::Beep() { QApplication::beep(); }
void Window::Repaint() { hands_->Repaint(); }

std::u16string Window::Clipboard() { return QGuiApplication::clipboard()->text().toStdU16String(); }

void Window::SetClipboard(std::u16string_view text) {
  QGuiApplication::clipboard()->setText(
      QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size())));
}

}  // namespace desktop