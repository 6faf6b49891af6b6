// The user's registry. It is the system's own where the system has one, and else a text file
// of the usual export form ("Windows Registry Editor Version 5.00" or "REGEDIT4"),
// morvenna/registro.reg in the folder of the user's settings (paths.h). Where the variable
// MORVENNA_REGISTRO is set, it is the file that this names, on every system. It is read
// anew at each call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace sys {

enum RegistryType : std::uint32_t {
  kRegSz = 1,
  kRegExpandSz = 2,
  kRegBinary = 3,
  kRegDword = 4,
};

// The file's path, whether it is there or not; empty where the registry is the system's own,
// or the user has no home.
std::filesystem::path RegistryFile();

// Type and raw bytes of a value. Texts are UTF-16, low byte first, with the
// terminating NUL if the file has it ("NAME"="text" always has one; hex(1):
// has what its bytes say). A dword is 4 bytes, low byte first.
struct RegistryValue {
  std::uint32_t type = 0;
  std::vector<std::uint8_t> data;
};

// The system's own.
class SystemRegistry {
 public:
  // As ReadRegistry.
  virtual std::optional<RegistryValue> Read(std::u16string_view hive, std::u16string_view key,
                                            std::u16string_view name) const = 0;
  // Sets a text; makes the key where there is none. Throws FileError.
  virtual void Write(std::u16string_view hive, std::u16string_view key, std::u16string_view name,
                     std::u16string_view text) = 0;

 protected:
  ~SystemRegistry() = default;
};

// Null where a file is the registry.
SystemRegistry* OwnRegistry();

// The value `name` of the key `key` under `hive` ("HKEY_CURRENT_USER"), letter
// case aside; nothing when file, key or value isn't there or can't be read, or the file
// is larger than 8 MB, or the system's value than 1 MB.
// Never throws but for want of memory.
std::optional<RegistryValue> ReadRegistry(std::u16string_view hive, std::u16string_view key,
                                          std::u16string_view name);

}  // namespace sys
