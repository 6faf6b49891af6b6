#pragma once

#include <stdexcept>

namespace archivio::jet {

// An old archive, a part of it, or what its reader sends can't be understood.
// what() is Italian, UTF-8, a clause without a point.
class Damaged : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace archivio::jet
