#include "archivio/demonstration.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <span>
#include <stdexcept>

#include "archivio/interruption.h"
#include "archivio/progress.h"
#include "archivio/reference_data.h"
#include "identity/identity.h"
#include "platform/text/text.h"
#include "record/regole.h"

namespace archivio {

namespace {

using Texts = std::span<const std::string_view>;

// clang-format off
constexpr std::string_view kSurnames[] = {
    "ROSSI", "RUSSO", "FERRARI", "ESPOSITO", "BIANCHI", "ROMANO", "COLOMBO", "RICCI", "MARINO",
    "GRECO", "BRUNO", "GALLO", "CONTI", "DE LUCA", "MANCINI", "COSTA", "GIORDANO", "RIZZO",
    "LOMBARDI", "MORETTI", "BARBIERI", "FONTANA", "SANTORO", "MARIANI", "RINALDI", "CARUSO",
    "FERRARA", "GALLI", "MARTINI", "LEONE", "LONGO", "GENTILE", "MARTINELLI", "VITALE", "LOMBARDO",
    "SERRA", "COPPOLA", "DE SANTIS", "D'ANGELO", "MARCHETTI", "PARISI", "VILLA", "CONTE",
    "FERRARO", "FERRI", "FABBRI", "BIANCO", "MARINI", "GRASSO", "VALENTINI", "MESSINA", "SALA",
    "DE ANGELIS", "GATTI", "PELLEGRINI", "PALUMBO", "SANNA", "FARINA", "RIZZI", "MONTI",
    "CATTANEO", "MORELLI", "AMATO", "SILVESTRI", "MAZZA", "TESTA", "GRASSI", "PELLEGRINO",
    "CARBONE", "GIULIANI", "BENEDETTI", "BARONE", "ROSSETTI", "CAPUTO", "MONTANARI", "GUERRA",
    "PALMIERI", "BERNARDI", "MARTINO", "FIORE", "DE ROSA", "FERRETTI", "BELLINI", "BASILE", "RIVA",
    "DONATI", "PIRAS", "VITALI", "BATTAGLIA", "SARTORI", "NERI", "COSTANTINI", "MILANI", "PAGANO",
    "RUGGIERO", "SORRENTINO", "D'AMICO", "ORLANDO", "NEGRI", "MANTOVANI", "DELL'ORTO", "DALLA VALLE",
    "FO", "RE", "AIELLO", "UGHI", "JACHIA", "KOFLER", "WALTHER", "NICOLÒ", "SALÀ", "FORTÈ",
    "D'ACQUISTO-BELLI", "QUARTAPELLE", "ZUCCHERELLI MONTEBUGNOLI"};
constexpr std::string_view kMen[] = {
    "GIUSEPPE", "GIOVANNI", "ANTONIO", "MARIO", "LUIGI", "FRANCESCO", "ANGELO", "VINCENZO",
    "PIETRO", "SALVATORE", "CARLO", "FRANCO", "DOMENICO", "BRUNO", "PAOLO", "MICHELE", "GIORGIO",
    "ALDO", "SERGIO", "LUCIANO", "MARCO", "ANDREA", "ROBERTO", "STEFANO", "CLAUDIO", "MAURIZIO",
    "ENRICO", "FABIO", "ALESSANDRO", "MASSIMO", "NICOLÒ", "GIOSUÈ", "NOÈ", "UGO", "LEO", "IVO",
    "ELIO", "GIAN LUCA", "PIER PAOLO", "GABRIELE", "TOMMASO", "EMANUELE", "ALBERTO", "RENATO"};
constexpr std::string_view kWomen[] = {
    "MARIA", "ANNA", "GIUSEPPINA", "ROSA", "ANGELA", "GIOVANNA", "TERESA", "LUCIA", "CARMELA",
    "CATERINA", "FRANCESCA", "ANTONIETTA", "CARLA", "ELENA", "CONCETTA", "RITA", "MARGHERITA",
    "FRANCA", "PAOLA", "LAURA", "GIULIA", "SILVIA", "CHIARA", "SARA", "ELISA", "VALENTINA",
    "MARTINA", "ALESSANDRA", "FEDERICA", "BARBARA", "LIA", "EVA", "ADA", "IDA", "ZOÈ", "MARIA JOSÈ",
    "ANNA MARIA", "MARIA GRAZIA", "PATRIZIA", "CRISTINA", "BEATRICE", "ISABELLA", "DONATELLA"};
// @ stands for a surname.
constexpr std::string_view kCompanies[] = {
    "@ COSTRUZIONI S.R.L.", "@ S.N.C. DI @ E @", "STUDIO ASSOCIATO @", "AUTOTRASPORTI @ S.A.S.",
    "STUDIO TECNICO @ E @", "EDILIZIA @ & FIGLI S.R.L.", "@ IMPIANTI S.P.A.", "AGENZIA @ S.A.S.",
    "SOCIETÀ AGRICOLA @ DI @", "L'ARTIGIANA DI @ S.N.C.", "@ CONSULTING S.R.L.", "TIPOGRAFIA @",
    "SOCIETÀ COOPERATIVA SOCIALE @", "DITTA @ RAPPRESENTANZE", "@ INFORMATICA S.R.L.",
    "CONSULENTI DEL LAVORO @ ASSOCIATI"};
constexpr std::string_view kPersonCategories[] = {"A", "C", "F", "H", "K", "M", "V"};
constexpr std::string_view kCompanyCategories[] = {"A", "R", "S"};
constexpr std::string_view kForeignCategories[] = {"N", "T1"};
constexpr std::string_view kCauses[] = {"A", "B", "C", "H", "M", "O", "Q", "R", "V"};
// clang-format on

// States that people are born in, with their registry codes.
struct BirthState {
  std::string_view name;
  std::string_view code;
};
constexpr BirthState kBirthStates[] = {
    {"ALBANIA", "Z100"},   {"BELGIO", "Z103"},  {"FRANCIA", "Z110"},
    {"GERMANIA", "Z112"},  {"POLONIA", "Z127"}, {"REGNO UNITO", "Z114"},
    {"ROMANIA", "Z129"},   {"SPAGNA", "Z131"},  {"SVIZZERA", "Z133"},
    {"MAROCCO", "Z330"},   {"TUNISIA", "Z352"}, {"STATI UNITI D'AMERICA", "Z404"},
    {"ARGENTINA", "Z600"}, {"BRASILE", "Z602"}};

// Where those live who don't live in Italy; the state by its name in the table of states.
struct Residence {
  std::string_view state;
  std::string_view town;
  std::string_view street;
};
constexpr Residence kResidences[] = {
    {"FRANCIA", "LYON", "RUE DE L'EGLISE "},   {"FRANCIA", "NICE", "AVENUE DES OLIVIERS "},
    {"GERMANIA", "MÜNCHEN", "LINDENSTRASSE "}, {"GERMANIA", "KÖLN", "AM ALTEN MARKT "},
    {"SVIZZERA", "LUGANO", "VIA AL LAGO "},    {"AUSTRIA", "INNSBRUCK", "BAHNHOFSTRASSE "},
    {"SPAGNA", "A CORUÑA", "CALLE DEL MAR "},  {"REGNO UNITO", "BRISTOL", "CHURCH LANE "},
    {"BELGIO", "LIEGE", "RUE DU PONT "},       {"SLOVENIA", "NOVA GORICA", "VIPAVSKA CESTA "}};

constexpr std::chrono::sys_days kFirstBirth = std::chrono::year{1930} / 1 / 1;
constexpr std::chrono::sys_days kEndOfBirths = std::chrono::year{1995} / 1 / 1;
constexpr auto kBirthDays = static_cast<std::uint64_t>((kEndOfBirths - kFirstBirth).count());

// Steps through 0 .. range - 1 without meeting a number twice, for every range
// that has no factor in common with this prime.
constexpr std::uint64_t kStride = 2'654'435'761;

// Splitmix64. The distributions of the library may differ from one to another.
class Random {
 public:
  // 0 to range - 1.
  std::size_t Below(std::size_t range) {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return static_cast<std::size_t>((z ^ (z >> 31)) % range);
  }
  bool Percent(std::size_t percent) { return Below(100) < percent; }
  template <typename List>
  const auto& Pick(const List& list) {
    return list[Below(std::size(list))];
  }

 private:
  std::uint64_t state_ = 770'2015;
};

std::string Digits(std::uint64_t number, std::size_t width) {
  const std::string digits = std::to_string(number);
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

// The letters that a code is made from: A to Z, without accents.
std::u16string PlainLetters(std::u16string_view name) {
  constexpr std::u16string_view kAccented = u"ÀÈÉÌÒÙ";
  constexpr std::u16string_view kPlain = u"AEEIOU";
  std::u16string letters;
  for (char16_t c : name) {
    if (const std::size_t at = kAccented.find(c); at != std::u16string_view::npos) {
      c = kPlain[at];
    }
    if (c >= u'A' && c <= u'Z') {
      letters.push_back(c);
    }
  }
  return letters;
}

// Three letters of a surname or, with `first_name`, of a first name: the consonants, of four or
// more in a first name not the second; then the vowels, then X.
std::u16string NameLetters(std::string_view name, bool first_name) {
  std::u16string consonants;
  std::u16string vowels;
  for (const char16_t c : PlainLetters(text::FromUtf8(name))) {
    const bool vowel = std::u16string_view(u"AEIOU").find(c) != std::u16string_view::npos;
    if (vowel) {
      vowels.push_back(c);
    } else {
      consonants.push_back(c);
    }
  }
  if (first_name && consonants.size() >= 4) {
    consonants.erase(1, 1);
  }
  return (consonants + vowels + u"XX").substr(0, 3);
}

std::u16string CheckedPersonCode(std::u16string code) {
  for (code.push_back(u'A'); CONTROLLOCF(code) != 0; ++code.back()) {
  }
  return code;
}

std::u16string CheckedCompanyCode(std::u16string code) {
  for (code.push_back(u'0'); CONTROLLOPIVA(code) != 0; ++code.back()) {
  }
  return code;
}

constexpr std::size_t kColumns = regole::kUltimoCampo + 1;

// By the columns' numbers, 0 the code. Without a value: columns 10 and 15.
using Recipient = std::array<std::string, kColumns>;

class Inventor {
 public:
  Recipient Next() {
    Recipient recipient;
    const bool person = random_.Percent(75);
    Texts categories;
    if (person) {
      FillPerson(recipient);
      categories = kPersonCategories;
    } else {
      FillCompany(recipient);
      categories = kCompanyCategories;
    }
    const bool abroad = random_.Percent(3);
    if (abroad) {
      FillResidence(recipient);
      categories = kForeignCategories;
    } else if (recipient[7].empty()) {
      FillMunicipality(recipient, random_.Pick(municipalities_));
    }
    if (abroad || random_.Percent(8)) {
      recipient[9] = random_.Pick(categories);
    }
    if (random_.Percent(3)) {
      recipient[16] = std::to_string(1 + random_.Below(8));
    }
    return recipient;
  }

  // A certification after its code and number: year, cause, gross amount,
  // taxable amount, withholding.
  std::array<std::string, 5> NextCertification() {
    const std::uint64_t gross = 10'000 + random_.Below(2'500'000);
    std::uint64_t taxable = gross;
    if (random_.Percent(20)) {
      taxable /= 2;
    }
    return {"2014", std::string(random_.Pick(kCauses)), Euro(gross), Euro(taxable),
            Euro(taxable / 5)};
  }

  std::size_t CertificationCount() { return random_.Below(4); }

 private:
  static std::string Euro(std::uint64_t cents) {
    return std::to_string(cents / 100) + "," + Digits(cents % 100, 2);
  }

  // Day and place of a birth as one number. No two people share both, so no two have the same code.
  static std::uint64_t NextBirth(std::uint64_t& drawn, std::size_t places) {
    return ++drawn * kStride % (kBirthDays * places);
  }

  void FillPerson(Recipient& recipient) {
    const bool woman = random_.Percent(48);
    recipient[1] = random_.Pick(kSurnames);
    recipient[2] = random_.Pick(woman ? Texts(kWomen) : Texts(kMen));
    recipient[3] = woman ? "F" : "M";

    const bool foreign = random_.Percent(5);
    std::uint64_t birth = 0;
    if (foreign) {
      birth = NextBirth(foreigners_, std::size(kBirthStates));
    } else {
      birth = NextBirth(natives_, municipalities_.size());
    }
    const std::chrono::year_month_day date =
        kFirstBirth + std::chrono::days(static_cast<int>(birth % kBirthDays));
    const std::size_t place = static_cast<std::size_t>(birth / kBirthDays);

    const auto year = static_cast<std::uint64_t>(static_cast<int>(date.year()));
    const unsigned month = static_cast<unsigned>(date.month());
    const unsigned day = static_cast<unsigned>(date.day());
    recipient[4] = Digits(year, 4) + Digits(month, 2) + Digits(day, 2);
    std::string_view place_code;
    if (foreign) {
      place_code = kBirthStates[place].code;
      recipient[5] = kBirthStates[place].name;
      recipient[6] = "EE";
    } else {
      const ReferenceRow& municipality = municipalities_[place];
      place_code = municipality[0];
      recipient[5] = municipality[1];
      recipient[6] = municipality[2];
      if (random_.Percent(60)) {
        FillMunicipality(recipient, municipality);
      }
    }
    recipient[0] = text::ToUtf8(
        CheckedPersonCode(NameLetters(recipient[1], false) + NameLetters(recipient[2], true) +
                          text::FromUtf8(Digits(year % 100, 2) + "ABCDEHLMPRST"[month - 1] +
                                         Digits(day + (woman ? 40 : 0), 2)) +
                          text::FromUtf8(place_code)));
  }

  void FillCompany(Recipient& recipient) {
    // A name that is too long for the first column goes on in the second one, with a new word.
    constexpr std::size_t kWidth = 30;
    constexpr std::size_t kContinuation = 20;
    std::u16string name;
    std::size_t end = 0;
    do {
      name = text::FromUtf8(CompanyName());
      end = name.size();
      if (end > kWidth) {
        end = name.rfind(u' ', kWidth);
      }
    } while (name.size() > end + 1 + kContinuation);
    recipient[1] = text::ToUtf8(name.substr(0, end));
    recipient[2] = text::ToUtf8(text::Mid(name, end + 2));
    recipient[4] = "00000000";
    // A number of its own, then that of the office which issued it.
    const std::uint64_t number = 1 + ++companies_ * kStride % 9'999'998;
    recipient[0] = text::ToUtf8(
        CheckedCompanyCode(text::FromUtf8(Digits(number, 7) + Digits(1 + random_.Below(100), 3))));
  }

  std::string CompanyName() {
    std::string name;
    for (const char c : random_.Pick(kCompanies)) {
      if (c == '@') {
        name += random_.Pick(kSurnames);
      } else {
        name += c;
      }
    }
    return name;
  }

  static void FillMunicipality(Recipient& recipient, const ReferenceRow& municipality) {
    recipient[7] = municipality[1];
    recipient[8] = municipality[2];
    recipient[17] = municipality[0];
  }

  void FillResidence(Recipient& recipient) {
    const Residence& residence = random_.Pick(kResidences);
    recipient[7].clear();
    recipient[8] = "EE";
    recipient[17].clear();
    recipient[11] = Digits(random_.Below(10'000'000'000), 10);
    recipient[12] = residence.town;
    recipient[13] = std::string(residence.street) + std::to_string(1 + random_.Below(150));
    for (const ReferenceRow& state : states_) {
      if (state[1] == residence.state) {
        recipient[14] = state[0];
      }
    }
  }

  Random random_;
  std::vector<ReferenceRow> municipalities_ = ReferenceRows(comuni_csv);
  std::vector<ReferenceRow> states_ = ReferenceRows(stati_esteri_csv);
  std::uint64_t natives_ = 0;
  std::uint64_t foreigners_ = 0;
  std::uint64_t companies_ = 0;
};

}  // namespace

void AddRecipients(sqlite::Connection& database, long recipients, std::ostream* progress) {
  std::string names;
  for (const regole::CampoPercettore& field : regole::kCampi) {
    text::AppendItem(names, text::ToUtf8(field.colonna));
  }
  sqlite::Statement recipient_insert(database, "INSERT INTO PERCPARCELLE (" + names + ") VALUES (" +
                                                   sqlite::Parameters(regole::kCampi.size()) + ")");
  sqlite::Statement certification_insert(database,
                                         "INSERT INTO QUADROLAUT VALUES (?, ?, ?, ?, ?, ?, ?)");
  Inventor inventor;
  Progress shown(progress, "Percettori inventati", static_cast<std::uint64_t>(recipients));
  for (long n = 0; n < recipients; ++n) {
    CheckInterrupted();
    shown.Show(static_cast<std::uint64_t>(n), static_cast<std::uint64_t>(n));
    const Recipient recipient = inventor.Next();
    int place = 0;
    for (const regole::CampoPercettore& field : regole::kCampi) {
      recipient_insert.Bind(++place, recipient[static_cast<std::size_t>(field.indice)]);
    }
    recipient_insert.Next();
    const std::size_t certifications = inventor.CertificationCount();
    for (std::size_t number = 1; number <= certifications; ++number) {
      const std::string number_text = std::to_string(number);
      const std::array<std::string, 5> values = inventor.NextCertification();
      certification_insert.Bind(1, recipient[0]).Bind(2, number_text);
      for (std::size_t i = 0; i < values.size(); ++i) {
        certification_insert.Bind(static_cast<int>(i) + 3, values[i]);
      }
      certification_insert.Next();
    }
  }
}

}  // namespace archivio
