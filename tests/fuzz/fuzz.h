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

// Takes the input apart; gives zeros and empty texts behind its end.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

  bool AtEnd() const { return at_ == end_; }
  std::uint8_t Byte() { return AtEnd() ? 0 : *at_++; }
  int UpTo(int n) { return Byte() % n; }
  // A byte for a plain character; 0xFF and a unit, its low byte first, for any other.
  char16_t Unit() {
    const std::uint8_t byte = Byte(), low = byte == 0xFF ? Byte() : byte;
    return static_cast<char16_t>(low | (byte == 0xFF ? Byte() << 8 : 0));
  }
  std::u16string Text(std::size_t length = std::u16string::npos) {
    std::u16string out;
    while (out.size() < length && !AtEnd()) {
      out.push_back(Unit());
    }
    return out;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};
