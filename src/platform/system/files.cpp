#include "platform/system/files.h"

#include <filesystem>
#include <string>

#include "platform/system/errors.h"
#include "platform/system/input_file.h"
#include "platform/system/new_file.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

// The room is what a program without privileges can use. A disk that doesn't report its size is
// tried all the same.
void RefuseWithoutRoom(std::uint64_t bytes, const NewFile& target) {
  std::error_code error;
  const fs::space_info disk = fs::space(target.Growing(), error);
  if (error || disk.capacity == 0 || bytes <= disk.available) {
    return;
  }
  const auto megabytes = [](std::uintmax_t size) {
    return text::FromUtf8(std::to_string(size / 1'000'000)) + u" MB";
  };
  throw FileError(u"Impossibile creare il file " + PathText(target.Name()) + u": occupa " +
                  megabytes(bytes) + u", e sul disco " + PathText(DiskOf(target.Name())) +
                  u" ne sono liberi " + megabytes(disk.available) + u".");
}

}  // namespace

bool OpensForReading(std::u16string_view name) { return !InputFile().Open(ResolvePath(name)); }

void RefuseUnreadable(std::u16string_view name) {
  const fs::path path = ResolvePath(name);
  std::error_code error;
  if (fs::symlink_status(path, error).type() == fs::file_type::not_found &&
      error == std::errc::no_such_file_or_directory) {
    return;
  }
  error = InputFile().Open(path);
  if (error == std::errc::no_such_file_or_directory) {
    throw FileError(u"Il file " + PathText(path) + u" è un collegamento a un file che non c'è.");
  }
  if (error) {
    FailReading(path, error);
  }
}

void FileCopy(std::u16string_view from, std::u16string_view to, Access access) {
  const fs::path path = ResolvePath(from);
  InputFile source;
  if (const std::error_code error = source.Open(path)) {
    FailReading(path, error);
  }
  NewFile target(to, access);
  RefuseWithoutRoom(source.Size(), target);
  if (const std::error_code error = target.WriteRest(source)) {
    FailReading(path, error);
  }
  target.Place();
}

std::vector<std::u16string> FilesIn(std::u16string_view folder) {
  std::vector<std::u16string> names;
  std::error_code error, ignored;
  for (fs::directory_iterator entry(ResolvePath(folder), error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path name = entry->path().filename();
    if (entry->symlink_status(ignored).type() == fs::file_type::regular &&
        text::ToUtf8(PathText(name)) == PathBytes(name)) {
      names.push_back(PathText(name));
    }
  }
  return names;
}

void RemoveFile(std::u16string_view name) {
  const fs::path path = ResolvePath(name);
  std::error_code ignored;
  if (fs::symlink_status(path, ignored).type() != fs::file_type::directory) {
    fs::remove(path, ignored);
  }
}

}  // namespace sys
