// File names of the suite on this system. The names come as texts with
// backslashes between folders; each means the folder separator here, and a
// file or folder is found whatever the case of its letters.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace sys {

// The path that `name` means, which may also begin with a drive or a server where the system has
// those: each part as it is written if it exists, else the existing entry that differs in letter
// case only (the first by code where there are several), else, or where the folder may not be read,
// as it is written. Slashes separate, too; several in a row are one. A name that is too long for
// the system is returned cut, as one part that is too long in any folder.
std::filesystem::path ResolvePath(std::u16string_view name);

// The folder where the disk that holds `path` is mounted. `path` itself, or folders
// at its end, need not exist.
std::filesystem::path DiskOf(const std::filesystem::path& path);

// Where this user's settings and a program's own notes lie; empty where the user has no home.
// $XDG_CONFIG_HOME and $XDG_STATE_HOME; by default ~/.config and ~/.local/state, under Windows the
// user's folders for programs' data, the roaming and the local one.
std::filesystem::path SettingsFolder();
std::filesystem::path StateFolder();

// The path as a text for the user.
std::u16string PathText(const std::filesystem::path& path);

// The file of the same name with `ending` after it.
std::filesystem::path Beside(const std::filesystem::path& path, std::string_view ending);

// The path in UTF-8, as libraries take names; where the system's names are bytes, those
// bytes, which need not be UTF-8. PathOf is its inverse.
std::string PathBytes(const std::filesystem::path& path);
std::filesystem::path PathOf(std::string_view bytes);

}  // namespace sys
