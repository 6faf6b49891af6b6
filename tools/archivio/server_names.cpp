#include "archivio/server_names.h"

#include <algorithm>
#include <map>

#include "platform/text/text.h"

namespace archivio {

namespace {

constexpr std::size_t kLongest = 63;  // bytes
// Every table of the server has columns of these names already.
constexpr std::string_view kOfServer[] = {"tableoid", "ctid", "xmin", "cmin", "xmax", "cmax"};

class Finder {
 public:
  std::vector<std::string> Run(const std::vector<NewTable>& tables) {
    Names relations;
    for (const NewTable& table : tables) {
      Check("La tabella " + table.name, ServerName(table.name), relations);
    }
    for (const NewTable& table : tables) {
      Names columns;
      for (const NewColumn& column : table.columns) {
        CheckColumn("La colonna " + table.name + "." + column.name, ServerName(column.name),
                    columns);
      }
      for (const NewIndex& index : table.indexes) {
        for (const std::string& name : ServerIndexNames(table, index)) {
          Check("L'indice " + index.name, name, relations);
        }
      }
    }
    return std::move(found_);
  }

 private:
  // What bears each name on the server, within a sentence.
  using Names = std::map<std::string, std::string>;

  void CheckColumn(const std::string& what, const std::string& name, Names& names) {
    if (std::ranges::find(kOfServer, name) != std::end(kOfServer)) {
      found_.push_back(what + " ha un nome che il server usa per sé.");
    } else {
      Check(what, name, names);
    }
  }

  void Check(const std::string& what, const std::string& name, Names& names) {
    const auto [other, added] = names.try_emplace(name, "l" + what.substr(1));
    if (name.empty()) {
      found_.push_back(what + " non ha un nome.");
    } else if (!text::IsUtf8(name)) {
      found_.push_back(what + " ha un nome che non è un testo UTF-8.");
    } else if (name.size() > kLongest) {
      found_.push_back(what + " sul server avrebbe un nome di " + std::to_string(name.size()) +
                       " byte, e può averne al massimo " + std::to_string(kLongest) + ": " + name +
                       ".");
    } else if (!added) {
      found_.push_back(what + " sul server si chiamerebbe " + name + ", come " + other->second +
                       ".");
    }
  }

  std::vector<std::string> found_;
};

}  // namespace

std::vector<std::string> UnfitNames(const std::vector<NewTable>& tables) {
  return Finder().Run(tables);
}

}  // namespace archivio
