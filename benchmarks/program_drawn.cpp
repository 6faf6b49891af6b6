// The program from the start of its process to its drawn window; then it ends,
// and prints how much memory it took at most, in kB.
#include <unistd.h>

#include <QApplication>
#include <cstdio>
#include <fstream>
#include <string>

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
  // The peak that getrusage tells may be that of the process that started us.
  std::ifstream status("/proc/self/status");
  std::string name;
  long peak = 0;
  while (status >> name && name != "VmHWM:") {
  }
  status >> peak;
  std::printf("%ld\n", peak);
  std::fflush(stdout);
  _exit(0);
}
