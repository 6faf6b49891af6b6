// Files that appear whole or not at all.
#pragma once

#include <filesystem>
#include <string>

#include "platform/system/files.h"

namespace archivio {

// What messages call it.
std::string NameOf(const std::filesystem::path& path);

// A file that grows under another name beside its own: should we die on the
// way, that one is never looked at again.
class NewFile {
 public:
  // Throws Failure when there is a file of that name, in any case of letters.
  explicit NewFile(const std::filesystem::path& file);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  static void RefuseExisting(const std::filesystem::path& file);

  const std::filesystem::path& Name() const { return file_; }
  const std::filesystem::path& Growing() const { return growing_; }
  // Puts `bytes` behind what it has.
  void Write(std::string_view bytes);
  // Puts it on disk under its name.
  void Place(sys::Access access);

 private:
  std::filesystem::path file_;
  std::filesystem::path growing_;
};

}  // namespace archivio
