// A file that appears whole or not at all.
#pragma once

#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "platform/system/files.h"
#include "platform/system/input_file.h"

namespace sys {

// Grows under a hidden name in the same folder. A process that is killed leaves it there; the next
// new file of the same user in that folder removes what no living process holds. Such a file is
// recognized by its name, its owner and a mark that only this class sets: nothing else is ever
// removed. All calls throw FileError.
class NewFile {
 public:
  // What becomes of a file of that name.
  enum class Existing {
    kRefused,   // whatever the case of its letters
    kReplaced,  // a plain file in the same letters; anything else is refused
  };
  // `name` as in paths.h. Its folder must exist. Who replaces waits for others that replace
  // in the same folder, up to 5 seconds, so that the one that began last stands in the end.
  NewFile(std::u16string_view name, Access access, Existing existing = Existing::kRefused);
  // Removes the file unless Place has returned.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  const std::filesystem::path& Name() const;
  // The hidden name, for others to write to until Place.
  const std::filesystem::path& Growing() const;

  // Appends to what Write has written.
  void Write(std::string_view bytes);
  // Appends what is left of `source`, and returns why that can't be read.
  std::error_code WriteRest(InputFile& source);
  // Gives the file its name, once it is on disk. Where it throws there is under that name what was
  // there before, or, if only the folder's own entry could not be written to disk, the whole file.
  void Place();

 private:
  class Growth;
  std::unique_ptr<Growth> growth_;
};

}  // namespace sys
