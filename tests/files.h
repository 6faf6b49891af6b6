// A folder of a test's own, and looks into files from outside.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sqlite/sqlite.h"
#include "platform/system/paths.h"

// Goes with all that is in it.
class Folder {
 public:
  // In memory where that can be: each write of an archive waits for the disk otherwise.
  Folder()
      : Folder(std::filesystem::is_directory("/dev/shm") ? "/dev/shm"
                                                         : std::filesystem::temp_directory_path()) {
  }
  explicit Folder(const std::filesystem::path& place) {
    std::random_device number;
    do {
      path_ = std::filesystem::absolute(place) / ("anagparc." + std::to_string(number()));
    } while (!std::filesystem::create_directory(path_));
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

inline std::string Bytes(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline void SetBytes(const std::filesystem::path& file, std::string_view bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

// The last column of the answer, one row a line; the error instead of it.
inline std::string Sql(sqlite::Connection& database, std::string_view sql) {
  std::string answer;
  try {
    while (!sql.empty()) {
      sqlite::Statement statement = sqlite::Statement::First(database, sql);
      while (statement && statement.Next()) {
        answer.append(statement.Text(statement.ColumnCount() - 1).value_or("NULL")).append("\n");
      }
    }
  } catch (const sqlite::Error& error) {
    return error.what();
  }
  return answer;
}

inline std::string Sql(const std::filesystem::path& file, std::string_view sql) {
  std::ofstream(file, std::ios::app);  // makes it where it is missing
  sqlite::Connection database(file, sqlite::Mode::kWrite);
  database.Run("PRAGMA busy_timeout = 0");
  return Sql(database, sql);
}

// Every recipient's texts, in the order written.
inline std::string Rows(const std::filesystem::path& file) {
  std::string columns = "quote(CFP)";
  for (int i = 1; i <= 17; ++i) {
    columns += "||','||quote(APARC_" + std::to_string(i) + ")";
  }
  return Sql(file, "SELECT " + columns + " FROM PERCPARCELLE ORDER BY _rowid_");
}

// Whether the mode of a file says who may read and write it, a link can be made by everybody, and
// a file that is open can be renamed and removed.
#ifdef _WIN32
constexpr bool kPosixFiles = false;
#else
constexpr bool kPosixFiles = true;
#endif

// A registry file that names the folder of the archives, and that of the copies.
inline void SetRegistry(const std::filesystem::path& file, const std::filesystem::path& archives,
                        const std::filesystem::path& copies = "") {
  // A backslash would want another one.
  const auto name = [](const std::filesystem::path& folder) {
    return sys::PathBytes(folder.generic_string<std::filesystem::path::value_type>());
  };
  SetBytes(file,
           "REGEDIT4\n[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\MORVENNA]\n"
           "\"PERCORSOARCHIVI\"=\"" +
               name(archives) + "\"\n\"PERCORSOCOPIE\"=\"" + name(copies) + "\"\n");
}

// Sets a variable of this process's environment.
inline void SetVariable(const char* name, const std::filesystem::path& value) {
#ifdef _WIN32
  _wputenv_s(std::filesystem::path(name).c_str(), value.c_str());
#else
  setenv(name, value.c_str(), 1);
#endif
}

// Runs the program words[0] with the others, none of which has a quote in it, to its end. Returns
// its exit status; where a signal has ended it 128 and the signal's number, as a shell has it.
inline int RunProgram(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    line += '"' + word + "\" ";
  }
#ifdef _WIN32
  return std::system(('"' + line + '"').c_str());  // the shell takes the outer quotes away
#else
  const int status = std::system(line.c_str());
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
#endif
}

inline bool Has(std::string_view text, std::string_view part) {
  return text.find(part) != text.npos;
}
