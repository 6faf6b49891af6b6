// An empty main window of the program's size, or one with a word in it, drawn;
// then it ends.
#include <unistd.h>

#include <QApplication>
#include <QLabel>
#include <QMainWindow>

#include "until_drawn.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QMainWindow window;
  window.setFixedSize(801, 583);
  if (argc > 1) {
    new QLabel(argv[1], &window);
  }
  window.show();
  UntilDrawn(window);
  _exit(0);
}
