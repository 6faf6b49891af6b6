#include <unistd.h>

#include <iostream>

#include "archivio/archivio.h"
#include "archivio/interruption.h"

int main(int argc, char** argv) {
  archivio::CatchSignals();
  const bool watched = isatty(STDERR_FILENO) != 0;
  return archivio::Run({argv + 1, argv + argc}, std::cout, std::cerr,
                       watched ? &std::cerr : nullptr);
}
