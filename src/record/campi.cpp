// The record screen: one recipient's row in the texts of Text1.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "record/LibrAgg770.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

constexpr int kUltimoCampo = 17, kCampoData = 4;

// The empty screen. The date's colours are left to its Change.
void SVUOTACAMPI() {
  for (IndiceCampo = 0; IndiceCampo <= kUltimoCampo; ++IndiceCampo) {
    if (!ESISTECAMPO(IndiceCampo)) {
      continue;
    }
    toolkit::TextBox& campo = Text1(static_cast<int>(IndiceCampo));
    if (IndiceCampo == kCampoData) {
      campo.SetText(LibrAgg770::kMascheraData);
    } else {
      campo.SetText(u"");
      ASPETTONORMALE(campo);
    }
  }
}

// YYYYMMDD as DD/MM/YYYY, cut by position: what is missing stays empty.
std::u16string DATAASCHERMO(std::u16string_view valore) {
  std::u16string data(text::Mid(valore, 7, 2));
  data += u'/';
  data += text::Mid(valore, 5, 2);
  data += u'/';
  data += text::Mid(valore, 1, 4);
  return data;
}

// The column as the field shows it.
std::u16string TESTOCAMPO(int indice) {
  std::u16string valore = TabPERCPARCELLE.Fields(COLONNA(indice)).Text();
  switch (indice) {
    case kCampoData:
      return DATAASCHERMO(valore);
    case 12:
    case 13: {
      const std::u16string_view senzaSpazi = text::Trim(valore);
      const bool soloZeri = senzaSpazi.find_first_not_of(u'0') == senzaSpazi.npos;
      return soloZeri ? std::u16string() : std::u16string(senzaSpazi);
    }
    default:
      return valore;
  }
}

}  // namespace

void ASPETTONORMALE(toolkit::TextBox& casella) {
  casella.SetForeColor(toolkit::kBlack);
  casella.SetBackColor(toolkit::kWhite);
}

void ASPETTOERRORE(toolkit::TextBox& casella) {
  casella.SetForeColor(toolkit::kBlack);
  casella.SetBackColor(toolkit::kYellow);
}

bool ESISTECAMPO(double indice) { return Text1.Has(static_cast<int>(indice)); }

std::u16string COLONNA(int indice) {
  return indice == 0 ? std::u16string(u"CFP") : u"APARC_" + text::Decimal(indice);
}

void SistemaToolTipText() {
  static constexpr struct {
    int indice;
    const char16_t* casella;
  } kCaselle[] = {{1, u"02"},  {2, u"03"},  {3, u"04"},  {4, u"05"},  {5, u"06"},
                  {6, u"07"},  {7, u"20"},  {8, u"21"},  {9, u"08"},  {11, u"40"},
                  {12, u"41"}, {13, u"42"}, {14, u"43"}, {16, u"09"}, {17, u"22"}};
  for (const auto& [indice, casella] : kCaselle) {
    Text1(indice).SetToolTipText(std::u16string(u"Casella ") + casella);
  }
}

void PROVARIGA() {
  for (int indice = 0; indice <= kUltimoCampo; ++indice) {
    if (ESISTECAMPO(indice)) {
      TESTOCAMPO(indice);
    }
  }
}

void CARICADATI() {
  SVUOTACAMPI();
  for (IndiceCampo = 0; IndiceCampo <= kUltimoCampo; ++IndiceCampo) {
    if (ESISTECAMPO(IndiceCampo)) {
      const int indice = static_cast<int>(IndiceCampo);
      Text1(indice).SetText(TESTOCAMPO(indice));
    }
  }
  FlagVariazioni = 0;
}

void IMPOSTATESTATA() {
  CFCorrente = TabPERCPARCELLE.Fields(u"CFP").Text();
  LabCF.SetCaption(u" " + CFCorrente);
  LabCOGNODEN.SetCaption(u" " + TabPERCPARCELLE.Fields(u"APARC_1").Text() + u" " +
                         TabPERCPARCELLE.Fields(u"APARC_2").Text());
  LabCOGNODEN.Refresh();
  LabCF.Refresh();
}

void PULISCICAMPI() {
  SVUOTACAMPI();
  FlagVariazioni = 0;
}

}  // namespace ANAGPARC
