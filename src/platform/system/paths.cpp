#include "platform/system/paths.h"

namespace sys {

namespace fs = std::filesystem;

fs::path Beside(const fs::path& path, std::string_view ending) {
  fs::path beside = path;
  return beside += ending;
}

std::string PathBytes(const fs::path& path) {
  const std::u8string bytes = path.u8string();
  return {bytes.begin(), bytes.end()};
}

fs::path PathOf(std::string_view bytes) { return std::u8string(bytes.begin(), bytes.end()); }

}  // namespace sys
