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
#include "archivio/rows.h"
#include "archivio/server.h"
#include "frame/schema.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"
#include "record/regole.h"
#include "reference/righe.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

const std::string kTable = "PERCPARCELLE";
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
  Importer(CsvReader& reader, std::string name, const Place& archive, const ImportOptions& options,
           std::ostream& report, Progress& progress)
      : reader_(reader),
        name_(std::move(name)),
        options_(options),
        report_(report),
        progress_(progress),
        database_(OpenAny(archive, AnyArchive::Access::kWrite)) {}

  ImportResult Run() {
    ReadHeader();
    ReadArchive();
    database_->Prepare(columns_, code_);
    std::size_t rows = 0;
    while (reader_.Next(fields_)) {
      CheckInterrupted();
      progress_.Show(++rows, reader_.BytesRead());
      TakeRow();
    }
    result_.written = result_.wrong == 0 || options_.skip;
    // Where the report can't be written, nothing is done.
    if (!report_.flush()) {
      throw Failure("L'archivio resta com'era.");
    }
    if (result_.written) {
      database_->Commit();
    }
    return result_;
  }

 private:
  void ReadHeader() {
    if (!reader_.Next(fields_)) {
      throw Failure("Il file " + name_ + " è vuoto: manca la riga con i nomi delle colonne.");
    }
    const std::vector<std::string> existing = database_->Columns(kTable);
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
    const std::unique_ptr<Rows> recipients = database_->Read(kTable, {"CFP"}, Order::kNumber);
    while (recipients->Next()) {
      Remember(recipients->Text(0).value_or(""), {recipients->Number(), 0});
    }
    for (const regole::CampoPercettore& rule : regole::kCampi) {
      if (rule.tabella != regole::Tabella::kNessuna && !codes_.contains(rule.tabella)) {
        codes_[rule.tabella] = ReadCodes(rule.tabella);
      }
    }
  }

  // A reference table: the codes that a search finds, blanks at the right aside, and those that a
  // pick in the lookup panel can set.
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
    const std::unique_ptr<Rows> rows = ReadLookup(*database_, source);
    std::u16string value;
    const auto column = [&](std::size_t i) {
      return std::u16string_view(value = text::FromUtf8(rows->Text(i).value_or("")));
    };
    while (rows->Next()) {
      codes.stored.emplace(text::TrimRight(column(0)));
      regole::COMPONIRIGHE(table, column, add);
    }
    return codes;
  }

  void TakeRow() {
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
      RequireOne(database_->Update(known->row, Values()));
      known->line = reader_.Line();
      ++result_.updated;
    } else {
      RequireOne(database_->Insert(Values()));
      Remember(fields_[code_].text, {0, reader_.Line()});
      ++result_.added;
    }
  }

  static void Add(std::string& list, std::string_view text) { text::AppendItem(list, text, "; "); }

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
    if (found == known_.end()) {
      return nullptr;
    }
    return &found->second;
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
      std::string whose = "di un percettore dell'archivio";
      if (alike->line != 0) {
        whose = "della riga " + std::to_string(alike->line);
      }
      Add(doubts_, "a parte gli spazi davanti, lo stesso codice " + whose);
    }
    if (const std::string_view fault = Fault(regole::ESAMINACODICE(code)); !fault.empty()) {
      Add(doubts_, fault);
    }
    return nullptr;
  }

  // Empty for a good code.
  static std::string_view Fault(regole::EsitoCodice code) {
    switch (code) {
      case regole::EsitoCodice::kLunghezzaPartitaIva:
        return "lunghezza partita IVA errata";
      case regole::EsitoCodice::kPartitaIvaErrata:
        return "partita IVA formalmente errata";
      case regole::EsitoCodice::kLunghezzaCodiceFiscale:
        return "lunghezza codice fiscale errata";
      case regole::EsitoCodice::kCodiceFiscaleErrato:
        return "codice fiscale formalmente errato";
      case regole::EsitoCodice::kBuono:
        break;
    }
    return {};
  }

  // Doubts whether a user could have brought the value about. Null is as good as the empty text,
  // since the form shows it so.
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
      doubt(NotTyped(rule));
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
    const bool picked = codes.picked.contains(value) && (stored || !regole::DACERCARE(rule, value));
    if (rule.genere == regole::Genere::kProvincia) {
      if (!stored) {
        doubt(" non è una provincia valida");
      }
    } else if (!picked && rule.genere == regole::Genere::kCodiceNumerico) {
      doubt(" non è un codice di stato estero valido");
    } else if (!picked) {
      doubt(" non è un codice della sua tabella");
    }
  }

  // The doubt about a value that can't be typed into its field.
  std::string NotTyped(const regole::CampoPercettore& rule) const {
    switch (rule.genere) {
      case regole::Genere::kData:
        if (date_) {
          return " non è una data GG/MM/AAAA né 00/00/0000";
        }
        return " non è una data AAAAMMGG né 00000000";
      case regole::Genere::kSesso:
        return " non è M, F, uno spazio o vuoto";
      default:
        return " ha più di " + std::to_string(rule.larghezza) +
               (rule.larghezza == 1 ? " carattere" : " caratteri");
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

  AnyArchive::Values Values() {
    values_.clear();
    for (const CsvField& field : fields_) {
      if (field.Null()) {
        values_.emplace_back();
      } else {
        values_.emplace_back(field.text);
      }
    }
    return values_;
  }

  void RequireOne(int changed) const {
    if (changed != 1) {
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
  std::unique_ptr<AnyArchive> database_;
  ImportResult result_;

  std::vector<CsvField> fields_;
  std::vector<std::optional<std::string_view>> values_;  // what Values returns
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
  const Place place = PlaceOf(archive);
  if (!place.OnServer()) {
    CheckReadable(place.file);
  }
  // Read to its end before the archive is locked: others shall not wait for a slow pipe.
  const fs::path source = sys::ResolvePath(sys::PathText(csv));
  const std::string bytes = ReadInput(source);
  if (!place.OnServer() && UndoCutOffWrite(place.file)) {
    report << "Annullata la scrittura interrotta nel file " << place.Name() << ".\n";
  }
  RequireTables(place);
  CsvReader reader(FromBytes(bytes), NameOf(source));
  Progress shown(progress, "Righe lette", bytes.size());
  return Importer(reader, NameOf(source), place, options, report, shown).Run();
}

}  // namespace archivio
