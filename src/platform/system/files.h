// Whole-file operations.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace sys {

// A file operation failed. Text() is Italian, for the user, and names the file
// and the cause.
class FileError : public std::runtime_error {
 public:
  explicit FileError(std::u16string text);
  const std::u16string& Text() const { return text_; }

 private:
  std::u16string text_;
};

// True when the file can be opened for reading (a folder can't). Names as in
// paths.h.
bool OpensForReading(std::u16string_view name);

// Copies `from` to the new file `to`. `to` never exists as a half file, even
// when the process dies on the way, and is on disk when the call returns. An
// existing `to`, in whatever case of letters, is never touched: the call throws.
// Throws FileError.
enum class Access {
  kAsFolder,  // its owner, and in a folder that its group may write that group too
  kOwner,     // its owner alone
};
void FileCopy(std::u16string_view from, std::u16string_view to, Access access = Access::kAsFolder);

// Removes a file, if it is there and can be removed.
void RemoveFile(std::u16string_view name);

}  // namespace sys
