// What the fuzz targets share. A target is one function that takes any bytes;
// a property that doesn't hold aborts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void Must(bool holds, const char* what) {
  if (!holds) {
    std::cerr << "Fault: " << what << std::endl;
    std::abort();
  }
}

// Any text out of the input: a byte for a plain character, 0xFF and a unit,
// its low byte first, for any other. Behind the end there are zeros.
inline std::u16string Text(const std::uint8_t* data, std::size_t size) {
  std::u16string out;
  std::size_t at = 0;
  const auto byte = [&] { return at < size ? data[at++] : 0; };
  while (at < size) {
    int unit = byte();
    if (unit == 0xFF) {
      unit = byte();
      unit |= byte() << 8;
    }
    out.push_back(static_cast<char16_t>(unit));
  }
  return out;
}
