#include <ostream>
#include <unordered_map>

#include "archivio/archivio.h"
#include "archivio/columns.h"
#include "archivio/files.h"
#include "archivio/progress.h"
#include "archivio/rows.h"
#include "archivio/server.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"
#include "record/avvisi.h"
#include "reference/righe.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

std::string TrimmedShown(std::u16string_view text) { return Shown(text::ToUtf8(text::Trim(text))); }

class Reviewer {
 public:
  Reviewer(const Place& archive, std::ostream& out, std::ostream* progress)
      : database_(OpenAny(archive, AnyArchive::Access::kRead)),
        out_(out),
        progress_(progress, "Percettori controllati") {}

  ReviewResult Run() {
    ReadMunicipalities();
    std::vector<std::string> columns;  // the code first
    columns.reserve(regole::kCampi.size());
    for (const regole::CampoPercettore& field : regole::kCampi) {
      columns.push_back(text::ToUtf8(field.colonna));
    }
    const std::unique_ptr<Rows> rows =
        database_->Read("PERCPARCELLE", columns, Order::kFirstColumn);
    while (rows->Next()) {
      for (std::size_t i = 0; i < columns.size(); ++i) {
        const regole::CampoPercettore& field = regole::kCampi[i];
        texts_[static_cast<std::size_t>(field.indice)] =
            regole::TESTOASCHERMO(field, text::FromUtf8(rows->Text(i).value_or("")));
      }
      ReviewRow();
      progress_.Show(++result_.recipients, 0);
    }
    progress_.Clear();
    out_ << same_names_;
    return result_;
  }

 private:
  void ReadMunicipalities() {
    const std::unique_ptr<Rows> rows =
        ReadLookup(*database_, regole::FONTE(regole::Tabella::kComuni));
    const auto value = [&rows](std::size_t i) {
      return text::FromUtf8(rows->Text(i).value_or(""));
    };
    while (rows->Next()) {
      municipalities_.AGGIUNGI(value(0), value(1), value(2));
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
        values = '"' + TrimmedShown(texts_[place]) + '"';
      }
      if (!known[place].empty()) {
        text::AppendItem(values, "nel codice \"" + TrimmedShown(known[place]) + '"');
      }
      std::string finding = text::ToUtf8(found);
      if (!values.empty()) {
        finding += " (" + values + ')';
      }
      ++result_.findings;
      progress_.Clear();
      out_ << Line(finding);
    }
    const std::u16string& surname = texts_[regole::kCognome];
    if (const std::u16string name = regole::NOMENUDO(surname + texts_[regole::kNome]);
        !name.empty()) {
      const auto [first, added] = codes_.try_emplace(name, TrimmedShown(texts_[0]));
      if (!added) {
        ++result_.findings;
        same_names_ += Line("Stesso nome del codice " + first->second);
      }
    }
  }

  // A line of the report on the row.
  std::string Line(const std::string& finding) const {
    std::string who = TrimmedShown(texts_[0]) + ' ' + TrimmedShown(texts_[regole::kCognome]);
    if (const std::string first_name = TrimmedShown(texts_[regole::kNome]); !first_name.empty()) {
      who += ' ' + first_name;
    }
    return who + ": " + finding + ".\n";
  }

  std::unique_ptr<AnyArchive> database_;
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
  const Place place = PlaceOf(archive);
  RequireTables(place);
  return Reviewer(place, out, progress).Run();
}

}  // namespace archivio
