#include "server.h"

#include <cstdlib>
#include <fstream>
#include <string>

#include "archives.h"
#include "archivio/archivio.h"
#include "measure.h"

namespace bench {

namespace fs = std::filesystem;

namespace {

std::string Socket() {
  const char* const folder = std::getenv("ANAGPARC_SERVER");
  if (folder == nullptr) {
    return {};
  }
  return folder;
}

std::string Uri(const std::string& database) {
  return "postgresql:///" + database + "?host=" + Socket() + "&user=postgres";
}

// Runs statements, or one of psql's own commands.
double Psql(const std::string& database, const std::string& text) {
  return RunProcess({"psql", "-Xq", "-v", "ON_ERROR_STOP=1", "-d", Uri(database), "-c", text})
      .elapsed;
}

std::string Database(long recipients) { return "b" + std::to_string(recipients); }

// The one-line file of an archive published once a run: the server doesn't last longer.
fs::path Published(const fs::path& tool, long recipients) {
  const fs::path file = Archive(recipients);
  fs::path linked = file.parent_path() / "server" / archivio::kYearName;
  const std::string uri = Uri(Database(recipients));
  std::string line;
  std::getline(std::ifstream(linked), line);
  if (line != uri) {
    fs::create_directories(linked.parent_path());
    fs::copy_file(file.parent_path() / archivio::kTemplateName,
                  linked.parent_path() / archivio::kTemplateName,
                  fs::copy_options::overwrite_existing);
    Psql("postgres", "CREATE DATABASE " + Database(recipients));
    RunProcess({tool, "pubblica", file, uri});
    std::ofstream(linked) << uri << '\n';
  }
  return linked;
}

}  // namespace

std::vector<Comparison> ServerComparisons(
    const fs::path& tool,
    const std::function<double(const fs::path& archive, const fs::path& model, bool by_name)>&
        list) {
  std::vector<Comparison> rows;
  if (Socket().empty()) {
    return rows;
  }
  for (const bool large : {false, true}) {
    for (const bool by_name : {false, true}) {
      const long recipients = large ? 1'000'000 : 100'000;
      rows.push_back({std::string("List of ") + (large ? "1,000,000" : "100,000") +
                          " from a server, by " + (by_name ? "name" : "code"),
                      "psql's \\copy of the same rows", 1.5, "time", large ? 3 : 15, [=] {
                        const fs::path archive = Published(tool, recipients);
                        return Pair{[=] { return list(archive, Archive(recipients), by_name); },
                                    [=] {
                                      return Psql(Database(recipients),
                                                  "\\copy (SELECT * FROM percparcelle ORDER BY "
                                                  "cfp) TO /dev/null");
                                    }};
                      }});
    }
  }
  return rows;
}

}  // namespace bench
