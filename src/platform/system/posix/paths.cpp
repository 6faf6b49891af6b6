#include "platform/system/paths.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>
#include <system_error>

#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

constexpr std::u16string_view kSeparators = u"\\/";

// The first entry of `folder`, by code, that is `part` but for the case of its
// letters. Names that aren't UTF-8 have no text and match nothing.
std::optional<std::string> EntryAnyCase(const fs::path& folder, std::u16string_view part) {
  const std::u16string wanted = text::Upper(part);
  std::optional<std::string> best;
  std::error_code error;
  fs::directory_iterator it("." / folder, error);
  for (; !error && it != fs::directory_iterator(); it.increment(error)) {
    std::string entry = it->path().filename().native();
    if (best && *best <= entry) {
      continue;
    }
    const std::u16string units = text::FromUtf8(entry);
    if (text::Upper(units) == wanted && text::ToUtf8(units) == entry) {
      best = std::move(entry);
    }
  }
  return best;
}

fs::path UserFolder(const char* variable, const char* in_home) {
  const char* const given = std::getenv(variable);
  if (given != nullptr && *given == '/') {
    return given;
  }
  const char* const home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') {
    return {};
  }
  return fs::path(home) / in_home;
}

}  // namespace

fs::path ResolvePath(std::u16string_view name) {
  // The system refuses such a name by its length; taking it apart would take memory and
  // time without end. One part of that length is refused everywhere.
  if (name.size() >= PATH_MAX) {
    std::string part = text::ToUtf8(name.substr(0, PATH_MAX));
    std::ranges::replace(part, '/', '\\');
    return part;
  }
  std::string path;
  if (name.find_first_of(kSeparators) == 0) {
    path = "/";
  }
  // Below a part that isn't there, nothing can be found.
  bool found = true;
  for (std::size_t at = 0; at < name.size();) {
    const std::size_t end = std::min(name.find_first_of(kSeparators, at), name.size());
    const std::u16string_view part = name.substr(at, end - at);
    at = end + 1;
    if (part.empty()) {
      continue;
    }
    if (!path.empty() && path.back() != '/') {
      path += '/';
    }
    const std::size_t folder = path.size();
    path += text::ToUtf8(part);
    struct stat info;
    if (found && lstat(path.c_str(), &info) != 0) {
      std::optional<std::string> entry;
      if (errno == ENOENT) {
        entry = EntryAnyCase(path.substr(0, folder), part);
      }
      found = entry.has_value();
      if (entry) {
        path.replace(folder, path.npos, *entry);
      }
    }
  }
  // A separator at the end stays: such a name can only be a folder's.
  if (!name.empty() && kSeparators.find(name.back()) != kSeparators.npos && !path.ends_with('/')) {
    path += '/';
  }
  return path;
}

std::u16string PathText(const fs::path& path) { return text::FromUtf8(PathBytes(path)); }

fs::path SettingsFolder() { return UserFolder("XDG_CONFIG_HOME", ".config"); }
fs::path StateFolder() { return UserFolder("XDG_STATE_HOME", ".local/state"); }

fs::path DiskOf(const fs::path& path) {
  std::error_code error;
  fs::path place = fs::weakly_canonical(fs::absolute(path), error);
  struct stat info;
  while (stat(place.c_str(), &info) != 0 && place.has_relative_path()) {
    place = place.parent_path();
  }
  const dev_t disk = info.st_dev;
  while (place.has_relative_path() && stat(place.parent_path().c_str(), &info) == 0 &&
         info.st_dev == disk) {
    place = place.parent_path();
  }
  return place;
}

}  // namespace sys
