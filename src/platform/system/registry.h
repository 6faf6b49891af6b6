// The user's registry, kept here in a text file of the usual export form
// ("Windows Registry Editor Version 5.00" or "REGEDIT4") at
// $XDG_CONFIG_HOME/morvenna/registro.reg (default ~/.config), or where
// MORVENNA_REGISTRO points. It is read anew at each call and never written.
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

// The file's path, whether it is there or not; empty where the user has no home.
std::filesystem::path RegistryFile();

// Type and raw bytes of a value. Texts are UTF-16, low byte first, with the
// terminating NUL if the file has it ("NAME"="text" always has one; hex(1):
// has what its bytes say). A dword is 4 bytes, low byte first.
struct RegistryValue {
  std::uint32_t type = 0;
  std::vector<std::uint8_t> data;
};

// The value `name` of the key `key` under `hive` ("HKEY_CURRENT_USER"), letter
// case aside; nothing when file, key or value isn't there or can't be read, or the file
// is larger than 8 MB.
// Never throws but for want of memory.
std::optional<RegistryValue> ReadRegistry(std::u16string_view hive, std::u16string_view key,
                                          std::u16string_view name);

}  // namespace sys
