#include "archivio/progress.h"

#include <algorithm>
#include <ostream>

namespace archivio {

bool Progress::Due() {
  if (out_ == nullptr || Clock::now() < next_) {
    return false;
  }
  next_ = Clock::now() + std::chrono::milliseconds(500);
  shown_ = true;
  return true;
}

void Progress::Show(std::uint64_t count, std::uint64_t done) {
  if (!Due()) {
    return;
  }
  *out_ << '\r' << what_ << ": " << count;
  if (whole_ > 0) {
    *out_ << " (" << std::min<std::uint64_t>(done * 100 / whole_, 100) << "%)";
  }
  *out_ << std::flush;
}

void Progress::ShowTime() {
  if (Due()) {
    const auto passed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begun_);
    *out_ << '\r' << what_ << " da " << passed.count() << " s" << std::flush;
  }
}

void Progress::Clear() {
  if (shown_) {
    *out_ << '\r' << std::string(60, ' ') << '\r' << std::flush;
    shown_ = false;
  }
}

}  // namespace archivio
