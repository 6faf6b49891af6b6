// The fields of a recipient and the rules for what they may hold: one table and pure functions,
// for the form, the save, the insertion and the exchange of archives. Nothing here knows controls,
// tables or variables of the program, and nothing fails.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace regole {

enum class Genere {
  kCodice,  // the recipient's own code: shown only
  kTesto,
  kTestoSenzaZeri,  // a text; nothing but zeros is shown as empty
  kSesso,
  kData,  // DD/MM/YYYY on screen, YYYYMMDD in the column
  kProvincia,
  kCodiceTabella,   // locked: filled by a pick in the lookup panel
  kCodiceNumerico,  // the same, with the keys of the editor of numbers
};

// Where a field's codes come from.
enum class Tabella { kNessuna, kProvince, kCategorie, kStatiEsteri, kEventi, kComuni };

// A field, in the order of kCampi: all that depends on it but its place on the form.
struct CampoPercettore {
  int indice;  // in Text1 and, for its label, in testate3
  std::u16string_view colonna;
  int larghezza;  // characters that keys can reach, in UTF-16 units
  Genere genere;
  std::u16string_view casella;    // its box on the return; empty: none
  std::u16string_view etichetta;  // the label over it
  std::u16string_view nome;       // where it stands without the others: in a sheet, in a message
  Tabella tabella = Tabella::kNessuna;
  // Codes that are good without standing in the table.
  std::array<std::u16string_view, 2> fuoriTabella = {};
};

inline constexpr int kCognome = 1, kNome = 2, kSesso = 3, kNascita = 4, kComuneNascita = 5,
                     kProvinciaNascita = 6, kComuneDomicilio = 7, kProvinciaDomicilio = 8,
                     kCodiceEstero = 11, kStatoEstero = 14;

// clang-format off
inline constexpr auto kCampi = std::to_array<CampoPercettore>({
    {0, u"CFP", 16, Genere::kCodice, u"", u"Codice Fiscale", u"Codice Fiscale"},
    {1, u"APARC_1", 30, Genere::kTesto, u"02", u"Cognome o Denominazione",
     u"Cognome o Denominazione"},
    {2, u"APARC_2", 20, Genere::kTesto, u"03", u"Nome / continuazione denominazione",
     u"Nome / continuazione denominazione"},
    {3, u"APARC_3", 1, Genere::kSesso, u"04", u"Sesso ( M/F )", u"Sesso"},
    {4, u"APARC_4", 10, Genere::kData, u"05", u"Data di nascita", u"Data di nascita"},
    {5, u"APARC_5", 40, Genere::kTesto, u"06", u"Comune (o Stato estero) di nascita",
     u"Comune (o Stato estero) di nascita"},
    {6, u"APARC_6", 2, Genere::kProvincia, u"07", u"Prov.(sigla)", u"Prov. di nascita",
     Tabella::kProvince, {u"EE"}},
    {7, u"APARC_7", 40, Genere::kTesto, u"20", u"Comune", u"Comune del domicilio fiscale"},
    {8, u"APARC_8", 2, Genere::kProvincia, u"21", u"Prov.(sigla)", u"Prov. del domicilio fiscale",
     Tabella::kProvince, {u"EE", u"PS"}},
    {9, u"APARC_9", 2, Genere::kCodiceTabella, u"08", u"Categorie Particolari",
     u"Categorie Particolari", Tabella::kCategorie},
    {11, u"APARC_11", 30, Genere::kTesto, u"40", u"Codice di identificazione fiscale estero",
     u"Codice di identificazione fiscale estero"},
    {12, u"APARC_12", 40, Genere::kTestoSenzaZeri, u"41", u"Località di residenza estera",
     u"Località di residenza estera"},
    {13, u"APARC_13", 35, Genere::kTestoSenzaZeri, u"42", u"Frazione,via e numero civico",
     u"Frazione, via e numero civico"},
    {14, u"APARC_14", 3, Genere::kCodiceNumerico, u"43", u"Codice stato estero",
     u"Codice stato estero", Tabella::kStatiEsteri},
    {16, u"APARC_16", 1, Genere::kCodiceTabella, u"09", u"Eventi eccezionali",
     u"Eventi eccezionali", Tabella::kEventi},
    {17, u"APARC_17", 4, Genere::kCodiceTabella, u"22", u"Codice comune", u"Codice comune",
     Tabella::kComuni},
});
// clang-format on

inline constexpr int kUltimoCampo = kCampi.back().indice;

// The field with this index; null for one that the record doesn't have.
const CampoPercettore* CAMPO(double indice);

// Keys enter nothing into the field.
constexpr bool BLOCCATO(Genere genere) {
  return genere == Genere::kCodiceTabella || genere == Genere::kCodiceNumerico;
}

// The text of an empty date.
inline constexpr std::u16string_view kMascheraData = u"00/00/0000";
// What the key filter of the sex lets through; besides, the field may be empty.
inline constexpr std::u16string_view kTastiSesso = u"MmFf ";

// --- From the column to the screen and back

// The column's value, Null as the empty text, as the field shows it.
std::u16string TESTOASCHERMO(const CampoPercettore& campo, std::u16string_view valore);
// What a save writes for the field's text.
std::u16string VALOREDISALVATAGGIO(const CampoPercettore& campo, std::u16string_view testo);

// --- The rules of a save, on the field's text

// The mask, or a day of the calendar as DD/MM/YYYY with a year other than 0000.
bool DATAACCETTATA(std::u16string_view testo);
// True where the text must be found in the field's table for a save. A foreign state's
// begins with a number other than 0, a province isn't blank nor good without the table; no
// other field's is looked for.
bool DACERCARE(const CampoPercettore& campo, std::u16string_view testo);

// --- What a field can come to hold

// True where keys, pastes and a save can leave this value in the column. Says nothing of codes
// that stand in a table: see SENZACODICE.
bool DIGITABILE(const CampoPercettore& campo, std::u16string_view valore);
// True for the values of a field with a table that mean no code at all.
bool SENZACODICE(const CampoPercettore& campo, std::u16string_view valore);

// --- Codes of recipients

enum class EsitoCodice {
  kBuono,
  kLunghezzaPartitaIva,
  kPartitaIvaErrata,
  kLunghezzaCodiceFiscale,
  kCodiceFiscaleErrato,
};

// The formal test. The text itself decides its kind: a number is a VAT number of 11 characters,
// anything else a fiscal code of 16, blanks at the ends not counted. The check of the last
// character gets the text as it is given here.
EsitoCodice ESAMINACODICE(std::u16string_view codice);

}  // namespace regole
