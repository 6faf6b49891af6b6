#include <iostream>

#include "archivio/archivio.h"

int main(int argc, char** argv) {
  return archivio::Run({argv + 1, argv + argc}, std::cout, std::cerr);
}
