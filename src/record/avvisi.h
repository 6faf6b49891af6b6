// What the fiscal code says of the other fields, and where fields contradict it or one another.
// A look alone, for the bookkeeper's eyes: it keeps nothing from being saved. Pure functions on
// texts, for the form and for the archive tool.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <unordered_map>

#include "record/regole.h"

namespace regole {

// A recipient's fields as on screen, each at its index.
using Testi = std::array<std::u16string, kUltimoCampo + 1>;

struct Comune {
  std::u16string nome;
  std::u16string provincia;
};

// The municipalities of TABCOMUNI in memory, since the archive finds them by name alone.
class Comuni {
 public:
  // Values of the table's columns. Of two rows with one code the first holds.
  void AGGIUNGI(std::u16string_view codice, std::u16string_view comune,
                std::u16string_view provincia);
  bool VUOTA() const { return per_codice_.empty(); }
  // Null for a code that isn't there.
  const Comune* PERCODICE(const std::u16string& codice) const;
  // The province of the municipalities of that name; empty where there are none, or several.
  std::u16string PROVINCIA(std::u16string_view comune) const;
  // Whether there are municipalities of that name, and none of them in that province.
  bool ALTROVE(std::u16string_view comune, std::u16string_view provincia) const;

 private:
  std::unordered_map<std::u16string, Comune> per_codice_;
  std::unordered_multimap<std::u16string, std::u16string> province_per_nome_;
};

// What two spellings of one name have in common: letters and digits, without case and accents, so
// that FORLI' is FORLÌ.
std::u16string NOMENUDO(std::u16string_view nome);

// The fields that a fiscal code knows, and what they are called.
struct CampoDelCodice {
  int indice;
  std::u16string_view nome, diverso, richiesto;
};
inline constexpr std::array<CampoDelCodice, 4> kCampiDelCodice = {{
    {kSesso, u"sesso", u"Sesso diverso", u"Sesso richiesto"},
    {kNascita, u"data", u"Data diversa", u"Data richiesta"},
    {kComuneNascita, u"comune", u"Comune diverso", u"Comune o Stato richiesto"},
    {kProvinciaNascita, u"provincia", u"Provincia diversa", u"Provincia richiesta"},
}};

// These fields as the code has them, in the form in which they are typed; empty where it says
// nothing. Of a place that isn't in the table only EE is known, and that only where it is abroad.
Testi DALCODICE(std::u16string_view codice, const Comuni& comuni);

// Whether nothing stands in one of these fields. A date without a digit but 0 is none.
bool SENZAVALORE(int indice, std::u16string_view testo);

// Whether there can be an AVVISO of the field.
bool CONAVVISO(int indice);
// What is wrong with the field, for the user; empty where nothing is. `detto` is DALCODICE of the
// record's code. A field contradicts the code, a province isn't its municipality's, or a field is
// empty that the form's note asks for where there is a first name.
std::u16string AVVISO(int indice, const Testi& testi, const Testi& detto, const Comuni& comuni);

}  // namespace regole
