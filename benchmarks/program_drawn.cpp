// The program from the start of its process to its drawn window; then it ends,
// and prints how much memory it took at most, in kB.
#include <sys/resource.h>
#include <unistd.h>

#include <QApplication>
#include <cstdio>

#include "frame/ANAGPARC.h"
#include "platform/desktop/desktop.h"
#include "until_drawn.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  ANAGPARC::PREPARAPROGRAMMA(u"/R bench");
  desktop::Window window(ANAGPARC::Me);
  toolkit::App().view = &window;
  if (!ANAGPARC::Me.Load()) {
    return 1;
  }
  window.Show();
  UntilDrawn(window.Widget());
  rusage used = {};
  getrusage(RUSAGE_SELF, &used);
  std::printf("%ld\n", used.ru_maxrss);
  std::fflush(stdout);
  _exit(0);
}
