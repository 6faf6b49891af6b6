// In place of what works on a server, in a build without libpq.
#include "archivio/server.h"

namespace archivio {

namespace {

[[noreturn]] void Refuse() {
  throw Failure(
      "Questo anagparc-archivio non lavora con gli archivi su un server PostgreSQL: è stato "
      "costruito senza libpq.");
}

}  // namespace

std::unique_ptr<AnyArchive> OpenServer(const Place& /*place*/, AnyArchive::Access /*access*/) {
  Refuse();
}

std::vector<std::string> CheckServer(const Place& /*place*/, Depth /*depth*/,
                                     std::ostream* /*progress*/) {
  Refuse();
}

void CopyFromServer(const Place& /*place*/, sqlite::Connection& /*to*/, std::ostream& /*out*/,
                    std::ostream* /*progress*/) {
  Refuse();
}

bool Publish(const std::filesystem::path& /*archive*/, const std::string& /*uri*/,
             const std::optional<std::string>& /*role*/, std::ostream& /*report*/,
             std::ostream* /*progress*/) {
  Refuse();
}

void Link(const std::filesystem::path& /*folder*/, const std::string& /*uri*/,
          std::ostream& /*out*/) {
  Refuse();
}

}  // namespace archivio
