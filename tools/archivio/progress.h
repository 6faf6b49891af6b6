// How far a long work is, told from time to time on one line of a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace archivio {

class Progress {
 public:
  // `out` may be none. `whole` is what `done` reaches at the end; 0 where that
  // isn't known.
  Progress(std::ostream* out, std::uint64_t whole) : out_(out), whole_(whole) {}
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Tell(std::size_t rows, std::uint64_t done);
  // Makes the line free for something else.
  void Clear();

 private:
  std::ostream* out_;
  std::uint64_t whole_;
  std::chrono::steady_clock::time_point next_ =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
  bool told_ = false;
};

}  // namespace archivio
