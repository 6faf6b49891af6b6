// Making and checking the suite's archives: the template that year databases
// are copied from, and year databases filled for demonstration.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace archivio {

inline constexpr std::string_view kTemplateName = "SQ4RXXXX.MDB";
inline constexpr std::string_view kYearName = "S7702015.MDB";
inline constexpr long kMostRecipients = 1'000'000;

// what() is Italian, UTF-8, for the user, and names the file or folder.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Names of files and folders to write are read as the program reads its own
// (platform/system/paths.h).

// Writes a new archive with all tables and indexes and the reference tables
// filled. The file appears whole or not at all, and on disk; one that exists,
// whatever its letter case, is never touched. Throws Failure.
void WriteTemplate(const std::filesystem::path& file);

// The same with `recipients` invented recipients (0 to kMostRecipients) and
// their certifications. Equal numbers give equal files.
void WriteDemonstration(const std::filesystem::path& file, long recipients);

// Makes `folder` if it is missing and in it the template; with `recipients` also
// a year database for demonstration. When one of the two exists already, the
// other isn't made either. Throws Failure.
void Create(const std::filesystem::path& folder, std::optional<long> recipients);

// What `file` lacks as an archive of the program, one Italian sentence each;
// empty for a sound one. Opens the file for reading only and changes nothing.
std::vector<std::string> Check(const std::filesystem::path& file);

// The command line behind the program's name; returns the exit status: 0 done
// or sound, 1 failed or not sound, 2 wrong usage.
int Run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace archivio
