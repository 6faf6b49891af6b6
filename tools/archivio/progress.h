// How far a long work is, shown from time to time on one line of a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>

namespace archivio {

class Progress {
 public:
  // `out` may be none. `what` is counted: "Righe lette". `whole` is what `done`
  // reaches at the end; 0 where that isn't known.
  Progress(std::ostream* out, std::string what, std::uint64_t whole = 0)
      : out_(out), what_(std::move(what)), whole_(whole) {}
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(std::uint64_t count, std::uint64_t done);
  // For work that can't be counted: the seconds since its beginning.
  void ShowTime();
  // Clears the line for something else.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;

  bool Due();

  std::ostream* out_;
  std::string what_;
  std::uint64_t whole_;
  Clock::time_point begun_ = Clock::now();
  Clock::time_point next_ = begun_ + std::chrono::milliseconds(500);
  bool shown_ = false;
};

}  // namespace archivio
