// The archives that the measurements run on; they stay for the next time.
#pragma once

#include <filesystem>
#include <string>

namespace bench {

// Where archives and the session's files lie; to be set first.
void SetFolder(const std::filesystem::path& folder);

// From here on the program runs in a session of that name, one copy in each.
// This process never gives up one in which it has run it.
void BeginSession(const std::string& name);

// Year database of so many invented recipients, made if it is missing.
std::filesystem::path Archive(long recipients);
// One of 200, the first of whom has 10,000 certifications.
std::filesystem::path ArchiveOfCertifications();

// From here on the program finds this archive.
void Choose(const std::filesystem::path& archive);

}  // namespace bench
