#include "platform/desktop/waiting.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPainter>
#include <QScreen>
#include <QWindow>

#include "platform/desktop/look.h"

namespace desktop {

WaitingWindow::WaitingWindow(const QString& title) : QWidget(nullptr, Qt::SplashScreen) {
  setWindowTitle(title);
  setCursor(Qt::WaitCursor);
  resize(Pixels(8400), Pixels(1500));
  move(screen()->availableGeometry().center() - rect().center());
}

void WaitingWindow::Tell(const QString& progress) {
  progress_ = progress;
  if (!isVisible()) {
    show();
    constexpr int kLongest = 250;  // milliseconds; a desktop that never shows it holds nothing up
    QElapsedTimer waited;
    for (waited.start(); !windowHandle()->isExposed() && !waited.hasExpired(kLongest);) {
      QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 10);
    }
  }
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  repaint();
}

void WaitingWindow::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), palette().color(QPalette::Window));
  DrawFrame(painter, rect(), Highlight(), 2);
  const QRect room = rect().adjusted(Pixels(300), Pixels(300), -Pixels(300), -Pixels(300));
  painter.setPen(Highlight());
  painter.setFont(FaceFont(toolkit::Font::Bold, 12));
  painter.drawText(room, Qt::AlignTop | Qt::AlignLeft | Qt::TextWordWrap, windowTitle().trimmed());
  painter.setPen(palette().color(QPalette::WindowText));
  painter.setFont(BoxFont());
  painter.drawText(room, Qt::AlignBottom | Qt::AlignLeft, progress_);
}

}  // namespace desktop
