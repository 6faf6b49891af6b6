// A folder of a test's own, and looks into files from outside.
#pragma once

#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

// Goes with all that is in it.
class Folder {
 public:
  // In memory where that can be: each write of an archive waits for the disk otherwise.
  Folder() : Folder(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") {}
  explicit Folder(const std::filesystem::path& place) {
    std::string name = place / "anagparc.XXXXXX";
    path_ = mkdtemp(name.data());
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
inline std::string Sql(sqlite3* db, const std::string& sql) {
  std::string answer;
  const auto add = [](void* out, int n, char** values, char**) {
    const char* const value = values[n - 1] != nullptr ? values[n - 1] : "NULL";
    static_cast<std::string*>(out)->append(value).append("\n");
    return 0;
  };
  const int code = sqlite3_exec(db, sql.c_str(), add, &answer, nullptr);
  return code == SQLITE_OK ? answer : sqlite3_errmsg(db);
}

inline std::string Sql(const std::filesystem::path& file, const std::string& sql) {
  sqlite3* db = nullptr;
  sqlite3_open(file.c_str(), &db);
  const std::string answer = Sql(db, sql);
  sqlite3_close(db);
  return answer;
}

// Every recipient's texts, in the order written.
inline std::string Rows(const std::filesystem::path& file) {
  std::string columns = "quote(CFP)";
  for (int i = 1; i <= 17; ++i) {
    columns += "||','||quote(APARC_" + std::to_string(i) + ")";
  }
  return Sql(file, "SELECT " + columns + " FROM PERCPARCELLE ORDER BY rowid");
}

// A registry file that names the folder of the archives.
inline void SetRegistry(const std::filesystem::path& file, const std::filesystem::path& archives) {
  SetBytes(file,
           "REGEDIT4\n[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\MORVENNA]\n"
           "\"PERCORSOARCHIVI\"=\"" +
               archives.native() + "\"\n");
}

inline bool Has(std::string_view text, std::string_view part) {
  return text.find(part) != text.npos;
}
