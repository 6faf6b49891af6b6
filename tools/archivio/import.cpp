#include <algorithm>
#include <map>
#include <ostream>
#include <unordered_map>
#include <unordered_set>

#include "archivio/archivio.h"
#include "archivio/columns.h"
#include "archivio/csv.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "archivio/progress.h"
#include "frame/schema.h"
#include "platform/sqlite/sqlite.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"
#include "record/regole.h"
#include "reference/righe.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kTable = "PERCPARCELLE";
const std::size_t kCodeWidth = static_cast<std::size_t>(regole::CAMPO(0)->larghezza);

std::string_view TrimRight(std::string_view s) { return s.substr(0, s.find_last_not_of(' ') + 1); }

std::string_view Trim(std::string_view s) {
  s = TrimRight(s);
  return s.substr(std::min(s.find_first_not_of(' '), s.size()));
}

// Where a recipient's code stands already.
struct Known {
  std::int64_t row;  // its number in the table
  std::size_t line;  // of the file; 0 where it came from the archive
};

class Importer {
 public:
  Importer(CsvReader& reader, std::string name, const fs::path& archive,
           const ImportOptions& options, std::ostream& report, Progress& progress)
      : reader_(reader),
        name_(std::move(name)),
        options_(options),
        report_(report),
        progress_(progress),
        database_(archive, sqlite::Mode::kWrite) {}

  ImportResult Run() {
    // EXTRA keeps a power cut after the commit from undoing it.
    database_.Run("PRAGMA synchronous = EXTRA; PRAGMA cache_size = -65536; BEGIN IMMEDIATE");
    ReadHeader();
    row_number_ = database_.RowNumber("PERCPARCELLE", {database_, "SELECT * FROM PERCPARCELLE"});
    ReadArchive();
    sqlite::Statement insert(database_, InsertText());
    sqlite::Statement update(database_, UpdateText());
    std::size_t rows = 0;
    while (reader_.Next(fields_)) {
      CheckInterrupted();
      progress_.Tell(++rows, reader_.BytesRead());
      TakeRow(insert, update);
    }
    result_.written = result_.wrong == 0 || options_.skip;
    // What couldn't be told must not be done either.
    if (!report_.flush()) {
      throw Failure("L'archivio resta com'era.");
    }
    database_.Run(result_.written ? "COMMIT" : "ROLLBACK");
    return result_;
  }

 private:
  void ReadHeader() {
    if (!reader_.Next(fields_)) {
      throw Failure("Il file " + name_ + " è vuoto: manca la riga con i nomi delle colonne.");
    }
    const std::vector<std::string> existing = database_.Columns(kTable);
    for (const CsvField& field : fields_) {
      const auto same = [&field](std::string_view name) {
        return SameName(field.text, name) || SameName(field.text, ReadableName(name));
      };
      const auto found = std::find_if(existing.begin(), existing.end(), same);
      if (found == existing.end()) {
        throw Failure("File " + name_ + ": colonna sconosciuta \"" + Shown(field.text) +
                      "\". La prima riga ha i nomi delle colonne, separati da virgole, punti e "
                      "virgola o tabulazioni.");
      }
      if (std::find(columns_.begin(), columns_.end(), *found) != columns_.end()) {
        throw Failure("File " + name_ + ": due colonne " + *found + ".");
      }
      if (!SameName(field.text, *found)) {
        readable_ = true;
        if (SameName(*found, kDateColumn)) {
          date_ = columns_.size();
        }
      }
      columns_.push_back(*found);
    }
    for (const Table& table : Tables()) {
      for (const Column& column : Columns(table)) {
        if (table.name == kTable && column.needed && !Place(column.name)) {
          throw Failure("File " + name_ + ": manca la colonna " + std::string(column.name) + ".");
        }
      }
    }
    for (const regole::CampoPercettore& rule : regole::kCampi) {
      places_.push_back(*Place(text::ToUtf8(rule.colonna)));
    }
    code_ = places_.front();
  }

  std::optional<std::size_t> Place(std::string_view name) const {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (SameName(columns_[i], name)) {
        return i;
      }
    }
    return std::nullopt;
  }

  void ReadArchive() {
    sqlite::Statement recipients(database_, "SELECT " + row_number_ + ", CFP FROM PERCPARCELLE");
    while (recipients.Next()) {
      Remember(recipients.Bytes(1), {recipients.Number(0), 0});
    }
    for (const regole::CampoPercettore& rule : regole::kCampi) {
      if (rule.tabella != regole::Tabella::kNessuna && !codes_.contains(rule.tabella)) {
        codes_[rule.tabella] = ReadCodes(rule.tabella);
      }
    }
  }

  // A reference table: the codes that a search finds, blanks at the right aside, and those that a
  // pick out of the lookup panel can give.
  struct Codes {
    std::unordered_set<std::u16string> stored;
    std::unordered_set<std::u16string> picked;
  };

  Codes ReadCodes(regole::Tabella table) {
    Codes codes;
    const auto add = [&](std::u16string_view row) {
      if (!regole::ECONTINUAZIONE(table, row)) {
        codes.picked.insert(regole::CODICEDELLARIGA(table, row));
      }
    };
    const regole::Fonte source = regole::FONTE(table);
    if (source.tabella.empty()) {
      regole::COMPONIRIGHE(table, {}, add);
      return codes;
    }
    std::string columns;
    for (const std::u16string_view column : source.colonne) {
      columns += (columns.empty() ? "" : ", ") + (column.empty() ? "''" : text::ToUtf8(column));
    }
    sqlite::Statement rows(database_,
                           "SELECT " + columns + " FROM " + text::ToUtf8(source.tabella));
    std::u16string value;
    const auto column = [&](std::size_t i) {
      return std::u16string_view(value = text::FromUtf8(rows.Bytes(static_cast<int>(i))));
    };
    while (rows.Next()) {
      codes.stored.emplace(text::TrimRight(column(0)));
      regole::COMPONIRIGHE(table, column, add);
    }
    return codes;
  }

  std::string InsertText() const {
    std::string names;
    std::string places;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      names += (i == 0 ? "" : ", ") + sqlite::Identifier(columns_[i]);
      places += (i == 0 ? "?" : ", ?") + std::to_string(i + 1);
    }
    return "INSERT OR ABORT INTO PERCPARCELLE (" + names + ") VALUES (" + places + ")";
  }

  // The code stays in the form in which it is stored, and a value in its own, be it a number or
  // the long form of a fraction, where the file has it as it was exported.
  std::string UpdateText() const {
    std::string values;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (i != code_) {
        const std::string column = sqlite::Identifier(columns_[i]);
        const std::string value = "?" + std::to_string(i + 1);
        values += (values.empty() ? "" : ", ") + column + " = CASE WHEN CAST(" + column +
                  " AS TEXT) COLLATE BINARY IS " + value + " THEN " + column + " ELSE " + value +
                  " END";
      }
    }
    return "UPDATE OR ABORT PERCPARCELLE SET " + values + " WHERE " + row_number_ + " = ?" +
           std::to_string(columns_.size() + 1);
  }

  void TakeRow(sqlite::Statement& insert, sqlite::Statement& update) {
    faults_.clear();
    doubts_.clear();
    Known* known = nullptr;
    if (fields_.size() != columns_.size()) {
      faults_ =
          std::to_string(fields_.size()) + " campi invece di " + std::to_string(columns_.size());
    } else if (CheckTexts()) {
      if (readable_) {
        for (CsvField& field : fields_) {
          field.text = StoredText(field.text);
        }
      }
      if (date_) {
        fields_[*date_].text = StoredDate(fields_[*date_].text);
      }
      known = CheckCode();
      for (std::size_t i = 0; i < regole::kCampi.size(); ++i) {
        CheckField(regole::kCampi[i], places_[i], known == nullptr);
      }
    }
    const bool wrong = !faults_.empty() || (!doubts_.empty() && !options_.confirm);
    if (wrong || !doubts_.empty()) {
      Report(wrong);
    }
    if (wrong) {
      ++result_.wrong;
    } else if (known != nullptr) {
      update.Bind(static_cast<int>(columns_.size()) + 1, known->row);
      Write(update);
      known->line = reader_.Line();
      ++result_.updated;
    } else {
      Write(insert);
      Remember(fields_[code_].text, {0, reader_.Line()});
      ++result_.added;
    }
  }

  static void Add(std::string& list, const std::string& text) {
    list += (list.empty() ? "" : "; ") + text;
  }

  bool CheckTexts() {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      const std::string& bytes = fields_[i].text;
      if (bytes.find('\0') != bytes.npos) {
        Add(faults_, columns_[i] + " contiene un carattere NUL");
      } else if (!text::IsUtf8(bytes)) {
        Add(faults_, columns_[i] + " non è un testo UTF-8");
      }
    }
    return faults_.empty();
  }

  void Remember(std::string_view code, Known known) {
    const std::string key(TrimRight(code));
    known_.try_emplace(key, known);
    if (key.starts_with(' ')) {
      indented_.try_emplace(std::string(Trim(key)), key);
    }
  }

  // The recipient whose code differs in blanks in front alone.
  Known* FindAlike(std::string_view code) {
    const std::string bare(Trim(code));
    auto found = known_.find(bare);
    if (const auto indented = indented_.find(bare);
        found == known_.end() && indented != indented_.end()) {
      found = known_.find(indented->second);
    }
    return found == known_.end() ? nullptr : &found->second;
  }

  // The recipient to update, if it is one.
  Known* CheckCode() {
    const std::u16string code = text::FromUtf8(fields_[code_].text);
    const std::u16string_view trimmed = text::Trim(code);
    if (trimmed.empty()) {
      Add(faults_, "manca il codice");
      return nullptr;
    }
    if (code.size() > kCodeWidth) {
      Add(faults_, "codice più lungo di " + std::to_string(kCodeWidth) + " caratteri");
      return nullptr;
    }
    const auto found = known_.find(std::string(TrimRight(fields_[code_].text)));
    if (found != known_.end()) {
      if (found->second.line != 0) {
        Add(faults_, "lo stesso codice della riga " + std::to_string(found->second.line));
      } else if (!options_.update) {
        Add(faults_, "codice già presente nell'archivio");
      }
      return &found->second;
    }
    if (Known* const alike = FindAlike(fields_[code_].text); alike != nullptr) {
      if (options_.update && alike->line == 0) {
        return alike;
      }
      Add(doubts_, "a parte gli spazi davanti, lo stesso codice " +
                       (alike->line == 0 ? "di un percettore dell'archivio"
                                         : "della riga " + std::to_string(alike->line)));
    }
    switch (regole::ESAMINACODICE(code)) {
      case regole::EsitoCodice::kBuono:
        break;
      case regole::EsitoCodice::kLunghezzaPartitaIva:
        Add(doubts_, "lunghezza partita IVA errata");
        break;
      case regole::EsitoCodice::kPartitaIvaErrata:
        Add(doubts_, "partita IVA formalmente errata");
        break;
      case regole::EsitoCodice::kLunghezzaCodiceFiscale:
        Add(doubts_, "lunghezza codice fiscale errata");
        break;
      case regole::EsitoCodice::kCodiceFiscaleErrato:
        Add(doubts_, "codice fiscale formalmente errato");
        break;
    }
    return nullptr;
  }

  // Whether a user could have brought the value about. Null is as good as the empty text, since
  // the form shows it so.
  void CheckField(const regole::CampoPercettore& rule, std::size_t place, bool added) {
    const std::u16string value = text::FromUtf8(fields_[place].text);
    const auto doubt = [&](const std::string& what) { Add(doubts_, columns_[place] + what); };
    if (std::any_of(value.begin(), value.end(), text::IsControl)) {
      doubt(" contiene un a capo o un altro carattere di controllo");
      return;
    }
    if (rule.genere == regole::Genere::kCodice) {
      return;  // CheckCode has its rules
    }
    if (!regole::DIGITABILE(rule, value)) {
      switch (rule.genere) {
        case regole::Genere::kData:
          doubt(date_ ? " non è una data GG/MM/AAAA né 00/00/0000"
                      : " non è una data AAAAMMGG né 00000000");
          break;
        case regole::Genere::kSesso:
          doubt(" non è M, F, uno spazio o vuoto");
          break;
        default:
          doubt(" ha più di " + std::to_string(rule.larghezza) +
                (rule.larghezza == 1 ? " carattere" : " caratteri"));
      }
      return;
    }
    if (added && rule.indice == regole::kCognome && text::Trim(value).empty()) {
      doubt(" è vuoto: manca il cognome o la denominazione");
    }
    if (rule.tabella == regole::Tabella::kNessuna || regole::SENZACODICE(rule, value)) {
      return;
    }
    const Codes& codes = codes_[rule.tabella];
    const bool stored = codes.stored.contains(std::u16string(text::TrimRight(value)));
    if (rule.genere == regole::Genere::kProvincia
            ? !stored
            : !codes.picked.contains(value) || (regole::DACERCARE(rule, value) && !stored)) {
      doubt(rule.genere == regole::Genere::kProvincia ? " non è una provincia valida"
            : rule.genere == regole::Genere::kCodiceNumerico
                ? " non è un codice di stato estero valido"
                : " non è un codice della sua tabella");
    }
  }

  void Report(bool wrong) {
    std::string text = faults_;
    if (!doubts_.empty()) {
      Add(text, doubts_);
    }
    progress_.Clear();
    report_ << "Riga " << reader_.Line();
    if (fields_.size() == columns_.size()) {
      report_ << " (" << Shown(Trim(fields_[code_].text)) << ')';
    }
    report_ << (wrong ? ": " : ", accettata: ") << text << ".\n";
  }

  void Write(sqlite::Statement& statement) {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (fields_[i].Null()) {
        statement.BindNull(static_cast<int>(i) + 1);
      } else {
        statement.Bind(static_cast<int>(i) + 1, fields_[i].text);
      }
    }
    statement.Next();
    if (const int changed = database_.Changes(); changed != 1) {
      throw Failure("Riga " + std::to_string(reader_.Line()) + ": avrebbe cambiato " +
                    std::to_string(changed) +
                    " percettori invece di uno. L'archivio resta com'era.");
    }
  }

  CsvReader& reader_;
  std::string name_;
  const ImportOptions& options_;
  std::ostream& report_;
  Progress& progress_;
  OpenArchive database_;
  ImportResult result_;
  std::string row_number_;  // the name of the rows' number in SQL

  std::vector<CsvField> fields_;
  std::vector<std::string> columns_;  // by the archive's names, in the file's order
  std::size_t code_ = 0;
  bool readable_ = false;            // a name is that of the form: the file is one for eyes
  std::optional<std::size_t> date_;  // the column of dates as on screen
  std::vector<std::size_t> places_;  // of the form's fields, in the order of their table

  std::unordered_map<std::string, Known> known_;  // by the code without blanks at the right
  // Codes with blanks in front, by the same without them.
  std::unordered_map<std::string, std::string> indented_;
  std::map<regole::Tabella, Codes> codes_;
  std::string faults_;
  std::string doubts_;
};

}  // namespace

ImportResult Import(const fs::path& csv, const fs::path& archive, const ImportOptions& options,
                    std::ostream& report, std::ostream* progress) {
  const fs::path file = sys::ResolvePath(sys::PathText(archive));
  CheckReadable(file);
  // To its end before the archive is locked: others shall not wait for a slow pipe.
  const fs::path source = sys::ResolvePath(sys::PathText(csv));
  const std::string bytes = ReadInput(source);
  if (UndoCutOffWrite(file)) {
    report << "Annullata la scrittura interrotta nel file " << NameOf(file) << ".\n";
  }
  RequireTables(file);
  std::string_view rest = bytes;
  CsvReader reader(
      [&rest](char* to, std::size_t most) {
        const std::size_t got = rest.copy(to, most);
        rest.remove_prefix(got);
        return got;
      },
      NameOf(source));
  Progress shown(progress, "Righe lette", bytes.size());
  return Importer(reader, NameOf(source), file, options, report, shown).Run();
}

}  // namespace archivio
