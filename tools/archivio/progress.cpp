#include "archivio/progress.h"

#include <algorithm>
#include <ostream>
<<<<<<< HEAD

namespace archivio {

bool Progress::Due() {
  if (out_ == nullptr || Clock::now() < next_) {
    return false;
  }
  next_ = Clock::now() + std::chrono::milliseconds(500);
  told_ = true;
  return true;
}

void Progress::Tell(std::uint64_t count, std::uint64_t done) {
  if (!Due()) {
    return;
  }
  *out_ << '\r' << what_ << ": " << count;
=======
#include <string>

namespace archivio {

void Progress::Tell(std::size_t rows, std::uint64_t done) {
  const auto now = std::chrono::steady_clock::now();
  if (out_ == nullptr || rows % 1000 != 0 || now < next_) {
    return;
  }
  next_ = now + std::chrono::milliseconds(500);
  told_ = true;
  *out_ << "\rRighe lette: " << rows;
>>>>>>> main
  if (whole_ > 0) {
    *out_ << " (" << std::min<std::uint64_t>(done * 100 / whole_, 100) << "%)";
  }
  *out_ << std::flush;
}

<<<<<<< HEAD
void Progress::TellTime() {
  if (Due()) {
    const auto passed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begun_);
    *out_ << '\r' << what_ << " da " << passed.count() << " s" << std::flush;
  }
}

void Progress::Clear() {
  if (told_) {
    *out_ << '\r' << std::string(60, ' ') << '\r' << std::flush;
=======
void Progress::Clear() {
  if (told_) {
    *out_ << '\r' << std::string(40, ' ') << '\r' << std::flush;
>>>>>>> main
    told_ = false;
  }
}

}  // namespace archivio
