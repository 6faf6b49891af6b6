#include <iostream>

#include "archivio/archivio.h"
#include "archivio/interruption.h"
#include "platform/system/child.h"
#include "platform/system/console.h"
#include "platform/system/environment.h"

int main(int argc, char** argv) {
  const std::vector<std::string> words = sys::Arguments(argc, argv);
  sys::ServeAsChild(words, archivio::ChildJobs());
  sys::SpeakUtf8();
  archivio::CatchSignals();
  std::ostream* progress = nullptr;
  if (sys::ErrorsOnTerminal()) {
    progress = &std::cerr;
  }
  return archivio::Run(words, std::cout, std::cerr, progress);
}
