#include "platform/system/paths.h"

#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

std::u16string PathText(const fs::path& path) { return text::FromUtf8(PathBytes(path)); }

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
