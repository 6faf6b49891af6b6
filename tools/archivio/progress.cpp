#include "archivio/progress.h"

#include <algorithm>
#include <ostream>
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
  if (whole_ > 0) {
    *out_ << " (" << std::min<std::uint64_t>(done * 100 / whole_, 100) << "%)";
  }
  *out_ << std::flush;
}

void Progress::Clear() {
  if (told_) {
    *out_ << '\r' << std::string(40, ' ') << '\r' << std::flush;
    told_ = false;
  }
}

}  // namespace archivio
