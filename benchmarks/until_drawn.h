#pragma once

#include <QApplication>
#include <QEvent>
#include <QWidget>

// Runs the event loop until a shown window has been painted.
inline void UntilDrawn(QWidget& window) {
  class Paints : public QObject {
   public:
    bool eventFilter(QObject*, QEvent* event) override {
      seen = seen || event->type() == QEvent::Paint;
      return false;
    }
    bool seen = false;
  } paints;
  window.installEventFilter(&paints);
  while (!paints.seen) {
    QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
}
