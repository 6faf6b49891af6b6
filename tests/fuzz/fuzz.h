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
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool AtEnd() const { return size_ == 0; }
  std::uint8_t Byte() {
    if (size_ == 0) {
      return 0;
    }
    --size_;
    return *data_++;
  }
  int UpTo(int n) { return Byte() % n; }
  char16_t Unit() {
    const std::uint8_t low = Byte();
    return static_cast<char16_t>(low | Byte() << 8);
  }
  // One byte for a plain character; 0xFF and a unit for any other.
  char16_t Character() {
    const std::uint8_t byte = Byte();
    return byte == 0xFF ? Unit() : byte;
  }
  std::u16string Text(std::size_t length) {
    std::u16string out;
    while (out.size() < length && !AtEnd()) {
      out.push_back(Character());
    }
    return out;
  }
  std::u16string Text() { return Text(size_); }
  std::string Bytes() {
    std::string out(reinterpret_cast<const char*>(data_), size_);
    size_ = 0;
    return out;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};
