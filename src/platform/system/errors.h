// Failures of the system's calls on files as FileError.
#pragma once

#include <filesystem>
#include <system_error>

#include "platform/system/files.h"

namespace sys {

// What has gone wrong with `path`, as a clause for the user. A full disk is named by the folder
// where it is mounted.
std::u16string CauseOf(const std::filesystem::path& path, const std::error_code& error);

// The user's share of the disk is used up, for which std::errc has no name.
bool IsOverQuota(const std::error_code& error);

[[noreturn]] void FailReading(const std::filesystem::path& path, const std::error_code& error);
[[noreturn]] void FailCreating(const std::filesystem::path& path, const std::error_code& error);

}  // namespace sys
