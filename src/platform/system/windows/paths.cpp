#include "platform/system/paths.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <array>

#include "platform/system/environment.h"
#include "platform/system/windows/native.h"
#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMost = 32'000;  // units of a whole name
// From here on a name is written so that the old limit of 260 doesn't hold for it, nor for
// names of its folder that are somewhat longer.
constexpr std::size_t kLong = 200;

constexpr std::wstring_view kPlain = L"\\\\?\\";
constexpr std::wstring_view kPlainShare = L"\\\\?\\UNC\\";

std::wstring WholeName(const std::wstring& name) {
  std::wstring whole(kMost + 1, L'\0');
  whole.resize(
      GetFullPathNameW(name.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr));
  return whole.size() > kMost ? std::wstring() : whole;
}

// A name of any length, taken as it is: without this the system would cut it or refuse it.
std::wstring AnyLength(const std::wstring& name) {
  const std::wstring whole = WholeName(name);
  if (whole.size() < kLong || whole.starts_with(kPlain) || whole.starts_with(L"\\\\.\\")) {
    return name;
  }
  return whole.starts_with(L"\\\\") ? std::wstring(kPlainShare) + whole.substr(2)
                                    : std::wstring(kPlain) + whole;
}

fs::path UserFolder(const char* variable, const KNOWNFOLDERID& folder) {
  const fs::path given = PathOf(Variable(variable));
  if (given.is_absolute() || given.has_root_directory()) {
    return given;
  }
  PWSTR found = nullptr;
  fs::path path;
  if (SHGetKnownFolderPath(folder, KF_FLAG_DEFAULT, nullptr, &found) == S_OK) {
    path = found;
  }
  CoTaskMemFree(found);
  return path;
}

}  // namespace

// The system itself finds a file whatever the case of its letters. Two separators in front
// are a share's.
fs::path ResolvePath(std::u16string_view name) {
  if (name.size() >= kMost) {
    std::wstring part = Wide(name.substr(0, kMost));
    std::ranges::replace_if(
        part, [](wchar_t c) { return c == L'\\' || c == L'/' || c == L':'; }, L'_');
    return part;
  }
  std::wstring path;
  for (wchar_t c : Wide(name)) {
    c = c == L'/' ? L'\\' : c;
    if (c != L'\\' || path.size() < 2 || path.back() != L'\\') {
      path += c;
    }
  }
  return path.find(L'\0') == path.npos ? AnyLength(path) : path;
}

fs::path SettingsFolder() { return UserFolder("XDG_CONFIG_HOME", FOLDERID_RoamingAppData); }
fs::path StateFolder() { return UserFolder("XDG_STATE_HOME", FOLDERID_LocalAppData); }

fs::path DiskOf(const fs::path& path) {
  std::wstring disk(kMost, L'\0');
  if (GetVolumePathNameW(path.c_str(), disk.data(), static_cast<DWORD>(disk.size())) == 0) {
    return path.root_path();
  }
  return disk.c_str();
}

std::u16string PathText(const fs::path& path) {
  std::wstring_view name = path.native();
  if (name.starts_with(kPlainShare)) {
    return u"\\\\" + FromWide(name.substr(kPlainShare.size()));
  }
  return FromWide(name.starts_with(kPlain) ? name.substr(kPlain.size()) : name);
}

}  // namespace sys
