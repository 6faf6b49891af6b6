// Files that appear whole or not at all.
#pragma once

#include <filesystem>
#include <string>

#include "platform/system/files.h"

namespace archivio {

// What messages call a file, in UTF-8.
std::string NameOf(const std::filesystem::path& path);

// A file that grows under another name beside its own, and is removed unless it
// is placed. Throws Failure.
class NewFile {
 public:
  // Refuses a name under which there is a file, in any case of letters.
  explicit NewFile(const std::filesystem::path& file);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  static void RefuseExisting(const std::filesystem::path& file);

  const std::filesystem::path& Name() const { return file_; }
  const std::filesystem::path& Growing() const { return growing_; }
  // Appends `bytes`.
  void Write(std::string_view bytes);
  // Gives it its name. It is on disk when the call returns.
  void Place(sys::Access access);

 private:
  std::filesystem::path file_;
  std::filesystem::path growing_;
};

}  // namespace archivio
