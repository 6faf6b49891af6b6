#include "archives.h"

#include <stdlib.h>

#include <fstream>
#include <iostream>
#include <string>

#include "archivio/archivio.h"
#include "platform/sqlite/sqlite.h"

namespace bench {

namespace fs = std::filesystem;

namespace {

fs::path folder;

fs::path Make(const fs::path& place, long recipients) {
  fs::path year = place / archivio::kYearName;
  if (!fs::exists(year)) {
    std::cerr << "Making " << year.native() << "...\n";
    fs::remove_all(place);
    archivio::Create(place, recipients, std::cerr);
  }
  return year;
}

}  // namespace

void SetFolder(const fs::path& path) {
  folder = fs::absolute(path);
  BeginSession("session");
}

void BeginSession(const std::string& name) {
  const fs::path session = folder / name;
  fs::create_directories(session);
  fs::permissions(session, fs::perms::owner_all);
  setenv("XDG_RUNTIME_DIR", session.c_str(), 1);
  setenv("XDG_STATE_HOME", session.c_str(), 1);
}

fs::path Archive(long recipients) { return Make(folder / std::to_string(recipients), recipients); }

fs::path ArchiveOfCertifications() {
  const fs::path place = folder / "certifications";
  const bool exists = fs::exists(place / archivio::kYearName);
  fs::path year = Make(place, 200);
  if (!exists) {
    sqlite::Connection database(year, sqlite::Mode::kWrite);
    sqlite::Statement(
        database,
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 10000) "
        "INSERT INTO QUADROLAUT SELECT p.CFP, n.i, '2014', 'A', '1000,00', '1000,00', "
        "'200,00' FROM n, (SELECT CFP FROM PERCPARCELLE ORDER BY CFP LIMIT 1) AS p")
        .Next();
  }
  return year;
}

void Choose(const fs::path& archive) {
  const fs::path registry = folder / "registro.reg";
  std::ofstream(registry) << "Windows Registry Editor Version 5.00\n\n"
                             "[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\MORVENNA]\n"
                             "\"PERCORSOARCHIVI\"=\""
                          << archive.parent_path().native() << "\"\n";
  setenv("MORVENNA_REGISTRO", registry.c_str(), 1);
}

}  // namespace bench
