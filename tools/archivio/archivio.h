// Making and checking the suite's archives: the template that year databases
// are copied from, and year databases filled for demonstration.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/schema.h"
#include "platform/system/child.h"
#include "platform/text/error.h"

namespace archivio {

inline constexpr long kMostRecipients = 1'000'000;

// Its text names the file or folder.
class Failure : public text::Error {
 public:
  using text::Error::Error;
};

// All functions throw Failure, sqlite::Error or sys::FileError, whose what() are of
// one kind, and have then written nothing, unless they say otherwise. So they do
// when a signal has come (interruption.h). Names of files and folders are read as
// the program reads its own (platform/system/paths.h). Where an archive is wanted and nothing else
// said, one on a server is good too, named by its address or the file that holds it (place.h);
// what fails there is a postgresql::Error. `out` gets a line for what
// was done, `progress`, if any, the state of long work.

// Writes a new archive with all tables and indexes and the reference tables
// filled. The file appears whole or not at all, and is on disk when the call
// returns; one that exists, whatever its letter case, is never touched.
void WriteTemplate(const std::filesystem::path& file);

// The same with `recipients` invented recipients (0 to kMostRecipients) and
// their certifications. Equal numbers give equal files.
void WriteDemonstration(const std::filesystem::path& file, long recipients);

// Makes `folder` if it is missing and in it the template; with `recipients` also
// a year database for demonstration; a template that exists then stays as it is.
void Create(const std::filesystem::path& folder, std::optional<long> recipients, std::ostream& out,
            std::ostream* progress = nullptr);

// kPages: every page is read as well; kAll: besides, what the program works with but its
// user should know of: triggers of other programs, a file of several names.
enum class Depth { kTables, kPages, kAll };

// What `archive` lacks as one of the program, one Italian sentence each; empty for a sound one.
// One that can't be read is a finding, too. Only reads.
std::vector<std::string> Check(const std::filesystem::path& archive, Depth depth = Depth::kAll,
                               std::ostream* progress = nullptr);

// Throws Failure where the archive lacks something, its tables looked at alone.
struct Place;
void RequireTables(const Place& place);

struct ReviewResult {
  std::size_t recipients = 0;
  std::size_t findings = 0;
};

// Reports what is to be looked at in the recipients, by their codes, a line each: fields
// that contradict the fiscal code, or a municipality, or are asked for and empty
// (record/avvisi.h); then names that stand under more than one code. Changes nothing.
ReviewResult Review(const std::filesystem::path& archive, std::ostream& out,
                    std::ostream* progress = nullptr);

// Copies a sound archive as it is at one moment into a file, also while the program works
// on it; a write to one in a file that was cut off is undone first. `to` may be a folder,
// otherwise the rules of WriteTemplate hold.
void Copy(const std::filesystem::path& from, const std::filesystem::path& to, std::ostream& out,
          std::ostream* progress = nullptr);

// The year database in the folder that the user's registry file names. It exists.
std::filesystem::path YearArchive();

// Writes all columns of all recipients into the new file `csv`, for its owner alone, and returns
// their number: RFC 4180, UTF-8, the columns' names in the first line, all texts in quotes; Null is
// an empty field. `readable`: names and dates as on screen.
std::size_t Export(const std::filesystem::path& archive, const std::filesystem::path& csv,
                   bool readable = false, std::ostream* progress = nullptr);

struct ImportOptions {
  bool skip = false;     // wrong rows are left out; else one of them stops everything
  bool update = false;   // recipients that exist take the row's values, but for the code
  bool confirm = false;  // doubtful rows, see below, go in
};

struct ImportResult {
  std::size_t added = 0;
  std::size_t updated = 0;
  std::size_t wrong = 0;
  bool written = false;
};

// Takes in a file such as Export writes, in one transaction; a write to the archive that was cut
// off is undone first. `report` gets a line for each row that is wrong or doubtful. Columns may
// stand in any order; only those that the program never uses may be missing.
//
// A row is wrong without a code, with one longer than the column, with the code of an earlier row
// or, unless it updates, of a recipient that exists (blanks at the right aside), with a number of
// fields of its own, a NUL or a text that isn't UTF-8. It is doubtful, which counts as wrong unless
// confirmed, where it has what no user can bring about with the form, or only past a question: a
// code that is formally wrong or differs from another one by blanks in front alone, no surname in a
// new recipient, a value that a save refuses, a table code that no pick sets, a text wider than
// its field, a control character. Stored data can be so, and an export of them must find its way
// back. Null is as good as the empty text, but not as a birth date. An unreadable file, quotes out
// of place, columns missing or unknown, and an archive that the program wouldn't open are Failure.
ImportResult Import(const std::filesystem::path& csv, const std::filesystem::path& archive,
                    const ImportOptions& options, std::ostream& report, std::ostream* progress);

// Takes an archive of the old database engine over into the new file `to`, which may be a folder,
// otherwise the rules of WriteTemplate hold. `from` is only read. False, and nothing written, where
// it wouldn't be a working archive: a table, column or index of the program is missing, two
// recipients have one code, rows can't be read. Where the program can mend that, `confirm` lets it
// pass. `report` gets a line for each of these and for each table, with the rows that the old file
// says it has and those read. `progress`: see Import. Throws Failure.
bool Convert(const std::filesystem::path& from, const std::filesystem::path& to, bool confirm,
             std::ostream& report, std::ostream* progress);

// What is done in processes of their own, for main (platform/system/child.h).
std::vector<sys::ChildJob> ChildJobs();

// Puts the archive of a file, all its tables, into the database at `uri`, which has none of them,
// in one transaction. The file stays as it is. `role` gets the rights that the program needs
// there, and no others. False, and nothing written, where values can't stand there: those that
// aren't texts, that have a NUL in them or aren't UTF-8. `report` gets a line for each of these,
// and for what of other programs' stays behind. A signal, or a failure, leaves the database as it
// was.
bool Publish(const std::filesystem::path& archive, const std::string& uri,
             const std::optional<std::string>& role, std::ostream& report, std::ostream* progress);

// Writes the year database of a folder as a file that holds nothing but `uri`, by which the
// program finds an archive on a server; the archive is looked at first. The rules of
// WriteTemplate hold. An address with a password in it is refused.
void Link(const std::filesystem::path& folder, const std::string& uri, std::ostream& out);

// Sets the user up to work on `folder`: makes the folder, the template and the registry file where
// they are missing, and reports each step. What is there stays as it is; a registry file that names
// another folder, or a template that isn't one, is a Failure. What it had made by then stays.
// `copies`, a folder that exists and can be written, is put into the registry file as that of the
// program's own copies, in place of another one too.
void Prepare(const std::filesystem::path& folder,
             const std::optional<std::filesystem::path>& copies, std::ostream& out);

// Runs the command line, without the program's name, and returns the exit
// status: 0 done or sound, 1 failed or not sound, 2 wrong usage, 128 and the
// signal's number when one has come. Failures go to `err`.
int Run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
        std::ostream* progress = nullptr);

}  // namespace archivio
