#include <iostream>

#include "archivio/archivio.h"
#include "archivio/interruption.h"
#include "platform/system/console.h"

int main(int argc, char** argv) {
  archivio::CatchSignals();
  return archivio::Run({argv + 1, argv + argc}, std::cout, std::cerr,
                       sys::ErrorsOnTerminal() ? &std::cerr : nullptr);
}
