#include <ostream>
#include <unordered_map>

#include "archivio/archivio.h"
#include "archivio/columns.h"
#include "archivio/files.h"
#include "archivio/progress.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"
#include "record/avvisi.h"
#include "reference/righe.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

// A select list of columns.
template <class Columns>
std::string Join(const Columns& columns) {
  std::string list;
  for (const std::u16string_view column : columns) {
    list += (list.empty() ? "" : ", ") + text::ToUtf8(column);
  }
  return list;
}

std::string Told(std::u16string_view text) { return Shown(text::ToUtf8(text::Trim(text))); }

class Reviewer {
 public:
  Reviewer(const fs::path& archive, std::ostream& out, std::ostream* progress)
      : database_(archive, sqlite::Mode::kRead),
        out_(out),
        progress_(progress, "Percettori controllati") {}

  ReviewResult Run() {
    // Both tables are read as they are at one moment.
    database_.Run("BEGIN");
    ReadMunicipalities();
    std::vector<std::u16string_view> columns;
    columns.reserve(regole::kCampi.size());
    for (const regole::CampoPercettore& field : regole::kCampi) {
      columns.push_back(field.colonna);
    }
    sqlite::Statement rows(database_,
                           "SELECT " + Join(columns) + " FROM PERCPARCELLE ORDER BY CFP");
    while (rows.Next()) {
      for (std::size_t i = 0; i < columns.size(); ++i) {
        const regole::CampoPercettore& field = regole::kCampi[i];
        texts_[static_cast<std::size_t>(field.indice)] =
            regole::TESTOASCHERMO(field, text::FromUtf8(rows.Bytes(static_cast<int>(i))));
      }
      ReviewRow();
      progress_.Tell(++result_.recipients, 0);
    }
    progress_.Clear();
    out_ << same_names_;
    return result_;
  }

 private:
  void ReadMunicipalities() {
    const regole::Fonte source = regole::FONTE(regole::Tabella::kComuni);
    sqlite::Statement rows(
        database_, "SELECT " + Join(source.colonne) + " FROM " + text::ToUtf8(source.tabella));
    while (rows.Next()) {
      municipalities_.AGGIUNGI(text::FromUtf8(rows.Bytes(0)), text::FromUtf8(rows.Bytes(1)),
                               text::FromUtf8(rows.Bytes(2)));
    }
  }

  void ReviewRow() {
    const regole::Testi known = regole::DALCODICE(texts_[0], municipalities_);
    for (const regole::CampoPercettore& field : regole::kCampi) {
      const auto place = static_cast<std::size_t>(field.indice);
      const std::u16string found = regole::AVVISO(field.indice, texts_, known, municipalities_);
      if (found.empty()) {
        continue;
      }
      std::string values;
      if (!regole::SENZAVALORE(field.indice, texts_[place])) {
        values = '"' + Told(texts_[place]) + '"';
      }
      if (!known[place].empty()) {
        values += (values.empty() ? "" : ", ") + ("nel codice \"" + Told(known[place]) + '"');
      }
      ++result_.findings;
      progress_.Clear();
      out_ << Line(text::ToUtf8(found) + (values.empty() ? "" : " (" + values + ')'));
    }
    const std::u16string& surname = texts_[regole::kCognome];
    if (const std::u16string name = regole::NOMENUDO(surname + texts_[regole::kNome]);
        !name.empty()) {
      const auto [first, added] = codes_.try_emplace(name, Told(texts_[0]));
      if (!added) {
        ++result_.findings;
        same_names_ += Line("Stesso nome del codice " + first->second);
      }
    }
  }

  // About the row.
  std::string Line(const std::string& finding) const {
    const std::string first_name = Told(texts_[regole::kNome]);
    return Told(texts_[0]) + ' ' + Told(texts_[regole::kCognome]) +
           (first_name.empty() ? "" : " ") + first_name + ": " + finding + ".\n";
  }

  OpenArchive database_;
  std::ostream& out_;
  Progress progress_;
  ReviewResult result_;
  regole::Comuni municipalities_;
  regole::Testi texts_;                                    // of the row
  std::unordered_map<std::u16string, std::string> codes_;  // the first one under each name
  std::string same_names_;  // lines for the end, where people who only share a name hide nothing
};

}  // namespace

ReviewResult Review(const fs::path& archive, std::ostream& out, std::ostream* progress) {
  const fs::path file = sys::ResolvePath(sys::PathText(archive));
  RequireTables(file);
  return Reviewer(file, out, progress).Run();
}

}  // namespace archivio
