// anagparc: the program. Its whole command line is text for the status bar.
#include "frame/ANAGPARC.h"

#include <QApplication>
#include <QIcon>
#include <QTimer>

#include "platform/desktop/desktop.h"
#include "platform/text/text.h"

int main(int argc, char** argv) {
  std::string commandLine;
  for (int i = 1; i < argc; ++i) {
    commandLine += (i > 1 ? " " : "") + std::string(argv[i]);
  }
  int one = 1;  // nothing of it is for Qt
  QApplication application(one, argv);
  ANAGPARC::PREPARAPROGRAMMA(text::FromUtf8(commandLine));
  desktop::Window window(ANAGPARC::Me);
  toolkit::App().view = &window;
  if (ANAGPARC::Me.Load()) {
    window.Show();
    // Looking an icon up in the desktop's themes takes a fifth of the start: the
    // window comes first.
    QTimer::singleShot(200, [] { QApplication::setWindowIcon(QIcon::fromTheme("anagparc")); });
    QApplication::exec();
  }
  toolkit::App().view = nullptr;
  return toolkit::App().status;
}
