// What stands on the screen while the program starts, where that takes long: the form comes
// when its list is whole.
#pragma once

#include <QWidget>

namespace desktop {

class WaitingWindow : public QWidget {
 public:
  explicit WaitingWindow(const QString& title);
  // Shows the window with how far the work is, and paints it before it returns. Keys and
  // clicks wait, and go with the window.
  void Tell(const QString& progress);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString progress_;
};

}  // namespace desktop
