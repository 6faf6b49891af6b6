#include "platform/system/new_file.h"

#include <windows.h>
#include <bcrypt.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/system/errors.h"
#include "platform/system/paths.h"
#include "platform/system/windows/native.h"
#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

constexpr std::wstring_view kHidden = L".anagparc-";
constexpr std::size_t kDigits = 16;
// The mark of a growing file, beside its name: it is hidden and a system's file until it
// has its own name. It outlives a kill, unlike the handle, which keeps others from removing
// the file.
constexpr DWORD kMark = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

bool IsHiddenName(std::wstring_view name) {
  return name.size() == kHidden.size() + kDigits && name.starts_with(kHidden) &&
         name.find_first_not_of(L"0123456789abcdef", kHidden.size()) == name.npos;
}

// Another one's reading and writing goes on beside the handle, but not its removing.
Handle Open(const fs::path& path, DWORD rights, DWORD how, SECURITY_ATTRIBUTES* security) {
  return Handle(CreateFileW(path.c_str(), rights, FILE_SHARE_READ | FILE_SHARE_WRITE, security, how,
                            how == CREATE_NEW ? kMark : FILE_ATTRIBUTE_NORMAL, nullptr));
}

// Nothing where there is none.
std::wstring NameOnDisk(const fs::path& path, DWORD& attributes) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    return {};
  }
  FindClose(search);
  attributes = found.dwFileAttributes;
  return found.cFileName;
}

}  // namespace

class NewFile::Growth {
 public:
  Growth(std::u16string_view name, Access access, Existing existing);
  ~Growth();
  Growth(const Growth&) = delete;
  Growth& operator=(const Growth&) = delete;

  void Write(std::string_view bytes);
  std::error_code WriteRest(InputFile& source);
  void Place();

  const fs::path file;
  fs::path growing;  // empty when there is none

 private:
  void CheckTarget(const std::wstring& wanted);
  void AwaitTurn();
  void RemoveLeftovers();
  bool Create();
  [[noreturn]] void Fail(const std::error_code& error = LastError()) const {
    FailCreating(file, error);
  }

  Access access_;
  Existing existing_;
  fs::path path_;  // of the folder
  Handle turn_;    // the folder's lock
  Handle handle_;
};

NewFile::NewFile(std::u16string_view name, Access access, Existing existing)
    : growth_(std::make_unique<Growth>(name, access, existing)) {}
NewFile::~NewFile() = default;
const fs::path& NewFile::Name() const { return growth_->file; }
const fs::path& NewFile::Growing() const { return growth_->growing; }
void NewFile::Write(std::string_view bytes) { growth_->Write(bytes); }
std::error_code NewFile::WriteRest(InputFile& source) { return growth_->WriteRest(source); }
void NewFile::Place() { growth_->Place(); }

NewFile::Growth::Growth(std::u16string_view name, Access access, Existing existing)
    : file(ResolvePath(name)), access_(access), existing_(existing) {
  CheckTarget(Wide(name));
  RemoveLeftovers();
  while (!Create()) {
  }
}

NewFile::Growth::~Growth() {
  handle_ = Handle();
  if (!growing.empty()) {
    DeleteFileW(growing.c_str());
  }
  if (turn_) {
    ReleaseMutex(turn_.Get());
  }
}

void NewFile::Growth::CheckTarget(const std::wstring& wanted) {
  const std::wstring name = file.filename().native();
  if (name.empty() || name == L"." || name == L".." ||
      name.find_first_of(std::wstring_view(L"<>:\"|?*\0", 8)) != name.npos) {
    Fail(std::make_error_code(std::errc::invalid_argument));
  }
  path_ = file.has_parent_path() ? file.parent_path() : fs::path(L".");
  const DWORD folder = GetFileAttributesW(path_.c_str());
  if (folder == INVALID_FILE_ATTRIBUTES || (folder & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    Fail(folder == INVALID_FILE_ATTRIBUTES ? LastError()
                                           : std::make_error_code(std::errc::not_a_directory));
  }
  // Naming refuses an existing target too; here it saves the work.
  constexpr DWORD kOdd = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  DWORD attributes = 0;
  const std::wstring found = NameOnDisk(file, attributes);
  if (!found.empty() &&
      (existing_ == Existing::kRefused || (attributes & kOdd) != 0 || !wanted.ends_with(found))) {
    Fail(std::make_error_code(std::errc::file_exists));
  }
  if (existing_ == Existing::kReplaced) {
    AwaitTurn();
  }
}

// A mutex of the folder's name, for the programs of this session. Where another one takes too
// long, nobody waits: at worst the older of two files made at the same moment stands.
void NewFile::Growth::AwaitTurn() {
  constexpr DWORD kPatience = 5000;  // milliseconds
  std::wstring name = fs::absolute(path_).native();
  std::ranges::replace(name, L'\\', L'/');
  name = Wide(text::Upper(FromWide(name)));
  constexpr std::size_t kMost = 200;  // units
  name.erase(0, name.size() - std::min(name.size(), kMost));
  turn_ = Handle(CreateMutexW(nullptr, FALSE, (L"Local\\anagparc." + name).c_str()));
  if (turn_ && WaitForSingleObject(turn_.Get(), kPatience) == WAIT_TIMEOUT) {
    turn_ = Handle();
  }
}

// What isn't surely ours, or can't be looked at, stays; what a living process holds can't be
// removed.
void NewFile::Growth::RemoveLeftovers() {
  std::error_code error;
  for (fs::directory_iterator entry(path_, error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path& found = entry->path();
    if (!IsHiddenName(found.filename().native())) {
      continue;
    }
    const DWORD attributes = GetFileAttributesW(found.c_str());
    constexpr DWORD kOdd = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & (kMark | kOdd)) != kMark) {
      continue;
    }
    if (const Handle held = Open(found, READ_CONTROL, OPEN_EXISTING, nullptr);
        !held || !IsOurs(held.Get())) {
      continue;
    }
    DeleteFileW(found.c_str());
  }
}

// False when the name was taken.
bool NewFile::Growth::Create() {
  std::uint64_t number = 0;
  if (BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(&number), sizeof number,
                      BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) {
    Fail(std::make_error_code(std::errc::io_error));
  }
  std::wstring name(kHidden);
  for (std::size_t i = 0; i < kDigits; ++i, number >>= 4) {
    name += L"0123456789abcdef"[number & 15];
  }
  OwnerOnly owner;
  handle_ = Open(path_ / name, GENERIC_READ | GENERIC_WRITE, CREATE_NEW,
                 access_ == Access::kOwner ? owner.Get() : nullptr);
  if (!handle_) {
    if (GetLastError() != ERROR_FILE_EXISTS) {
      Fail();
    }
    return false;
  }
  growing = path_ / name;
  return true;
}

void NewFile::Growth::Write(std::string_view bytes) {
  constexpr std::size_t kStep = std::size_t{1} << 26;
  while (!bytes.empty()) {
    DWORD put = 0;
    if (WriteFile(handle_.Get(), bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kStep)),
                  &put, nullptr) == 0) {
      Fail();
    }
    bytes.remove_prefix(put);
  }
}

std::error_code NewFile::Growth::WriteRest(InputFile& source) {
  std::vector<char> buffer(std::size_t{1} << 20);
  std::error_code error;
  while (const std::size_t got = source.Read(buffer.data(), buffer.size(), error)) {
    Write({buffer.data(), got});
  }
  return error;
}

// The system renames no file that a handle keeps from being removed. So the mark goes first:
// between the closing and the naming nobody takes the file for a leftover.
void NewFile::Growth::Place() {
  if (FlushFileBuffers(handle_.Get()) == 0 ||
      SetFileAttributesW(growing.c_str(), FILE_ATTRIBUTE_NORMAL) == 0) {
    Fail();
  }
  handle_ = Handle();
  const DWORD replace = existing_ == Existing::kReplaced ? MOVEFILE_REPLACE_EXISTING : 0;
  if (MoveFileExW(growing.c_str(), file.c_str(), MOVEFILE_WRITE_THROUGH | replace) == 0) {
    Fail();
  }
  growing.clear();
}

}  // namespace sys
