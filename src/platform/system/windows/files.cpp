#include "platform/system/files.h"

#include <windows.h>

#include <algorithm>

#include "platform/system/errors.h"
#include "platform/system/paths.h"
#include "platform/system/windows/native.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Names such as NUL, COM1 and \\.\pipe\... stand outside of all folders.
bool IsDevice(const fs::path& path, bool& pipe) {
  wchar_t whole[MAX_PATH];
  const DWORD size = GetFullPathNameW(path.c_str(), MAX_PATH, whole, nullptr);
  const std::wstring_view name(whole, size < MAX_PATH ? size : 0);
  pipe = name.starts_with(L"\\\\.\\pipe\\");
  return name.starts_with(L"\\\\.\\");
}

// What keeps what was opened from being one of this kind.
std::error_code Refusal(HANDLE file, InputFile::Kind kind) {
  const DWORD type = GetFileType(file);
  if (type == FILE_TYPE_DISK || (type == FILE_TYPE_PIPE && kind == InputFile::Kind::kPlainOrPipe)) {
    return {};
  }
  return std::make_error_code(std::errc::no_such_device_or_address);
}

}  // namespace

InputFile::InputFile() : native_(std::make_unique<Native>()) {}
InputFile::~InputFile() = default;

// The look before the opening spares a device, and tells a folder from a want of rights.
std::error_code InputFile::Open(const fs::path& path, Kind kind) {
  // A name with a NUL would reach the system cut short, as another name.
  if (path.native().find(L'\0') != std::wstring::npos) {
    return std::make_error_code(std::errc::invalid_argument);
  }
  bool pipe = false;
  if (IsDevice(path, pipe) && !(pipe && kind == Kind::kPlainOrPipe)) {
    return std::make_error_code(std::errc::no_such_device_or_address);
  }
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return std::make_error_code(std::errc::is_a_directory);
  }
  Handle file(CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                          FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (!file) {
    return LastError();
  }
  if (const std::error_code refusal = Refusal(file.Get(), kind)) {
    return refusal;
  }
  LARGE_INTEGER size = {};
  const bool plain = GetFileSizeEx(file.Get(), &size) != 0;
  *native_ = {std::move(file), plain, static_cast<std::uint64_t>(size.QuadPart)};
  return {};
}

std::size_t InputFile::Read(char* bytes, std::size_t most, std::error_code& error) {
  error.clear();
  if (!native_->plain) {
    const Wait wait = AwaitBytes(native_->file.Get(), INFINITE);
    if (wait != Wait::kBytes) {
      error = wait == Wait::kEnd ? error : std::make_error_code(std::errc::interrupted);
      return 0;
    }
  }
  constexpr std::size_t kStep = std::size_t{1} << 30;
  DWORD got = 0;
  if (ReadFile(native_->file.Get(), bytes, static_cast<DWORD>(std::min(most, kStep)), &got,
               nullptr) == 0) {
    error = LastError();
    return 0;
  }
  return got;
}

std::uint64_t InputFile::Size() const { return native_->size; }

// Opening a folder for it asks the system, and makes nothing.
bool CanWriteIn(const fs::path& folder) {
  return bool(Handle(CreateFileW(folder.c_str(), FILE_ADD_FILE, kShareAll, nullptr, OPEN_EXISTING,
                                 FILE_FLAG_BACKUP_SEMANTICS, nullptr)));
}

std::uintmax_t NamesOf(std::u16string_view name) {
  const Handle file(
      CreateFileW(ResolvePath(name).c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
  BY_HANDLE_FILE_INFORMATION info = {};
  return file && GetFileInformationByHandle(file.Get(), &info) != 0 ? info.nNumberOfLinks : 1;
}

bool IsOverQuota(const std::error_code& error) {
  constexpr int kDiskQuotaExceeded = 1295;  // which mingw's headers don't name
  return error.category() == std::system_category() && error.value() == kDiskQuotaExceeded;
}

}  // namespace sys
