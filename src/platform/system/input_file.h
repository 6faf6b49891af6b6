// A file read from its beginning to its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <system_error>

namespace sys {

class InputFile {
 public:
  enum class Kind {
    kPlain,
    kPlainOrPipe,  // waits for who writes into the pipe; a signal remembered cuts that short
  };
  InputFile();
  ~InputFile();

  // Anything of another kind is refused at once, with is_a_directory or no_such_device_or_address:
  // a pipe would keep us waiting, and a device may act when it is opened. To be called once.
  std::error_code Open(const std::filesystem::path& path, Kind kind = Kind::kPlain);
  // Reads up to `most` bytes. Returns 0 at the end, and where it fails, with `error` set.
  std::size_t Read(char* bytes, std::size_t most, std::error_code& error);
  // In bytes, when it was opened; meaningless for a pipe.
  std::uint64_t Size() const;

 private:
  friend class NewFile;
  struct Native;
  std::unique_ptr<Native> native_;
};

}  // namespace sys
