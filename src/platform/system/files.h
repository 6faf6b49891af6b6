// Operations on whole files. Names are those of paths.h.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text/error.h"

namespace sys {

// A file operation failed. The text names the file and the cause.
class FileError : public text::Error {
 public:
  using text::Error::Error;
};

// True when this user may make and remove files in the folder.
bool CanWriteIn(const std::filesystem::path& folder);

// True when the file can be opened for reading. A folder, a pipe, a device can't.
bool OpensForReading(std::u16string_view name);

// Throws FileError where something of that name is there and can't be opened for reading
// as a plain file.
void RefuseUnreadable(std::u16string_view name);

// Who may read and write a new file.
enum class Access {
  kAsFolder,  // its owner, and in a folder that its group may write that group too
  kOwner,     // its owner alone
};

// How many names the file has in all; 1 where that isn't known. A symbolic link doesn't count.
std::uintmax_t NamesOf(std::u16string_view name);

// Copies the plain file `from` to the new file `to`, in a folder that exists. One that is larger
// than the room on the disk is refused at once. `to` never exists as a half file, even if the
// process is killed, and is on disk when the call returns; only a kill leaves a hidden file of the
// name ".anagparc-" and 16 digits in its folder. An existing `to`, whatever the case of its
// letters, is never touched. Throws FileError: nothing has been created then, or, if only the
// folder's own entry could not be written to disk, the whole file.
void FileCopy(std::u16string_view from, std::u16string_view to, Access access = Access::kAsFolder);

// Names of the plain files in a folder, those that are UTF-8, in no order; none where it
// can't be read.
std::vector<std::u16string> FilesIn(std::u16string_view folder);

// Removes a file. One that isn't there, or can't be removed, is passed over.
void RemoveFile(std::u16string_view name);

}  // namespace sys
