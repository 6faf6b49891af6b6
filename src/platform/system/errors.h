// Failures of the system's calls on files as FileError. `error` is errno.
#pragma once

#include <filesystem>

#include "platform/system/files.h"

namespace sys {

[[noreturn]] void FailReading(const std::filesystem::path& path, int error);
// A full disk is named by the folder where it is mounted.
[[noreturn]] void FailCreating(const std::filesystem::path& path, int error);

}  // namespace sys
