#include "frame/MOD770BAS.h"

#include <algorithm>
#include <array>

#include "platform/system/files.h"
#include "platform/system/process.h"
#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "record/LibrAgg770.h"

namespace MOD770BAS {

std::u16string PercorsoArchivi;
std::u16string PercorsoProgrammi;
bool ArchivioCreato = false;

engine::Database DbDichiarazione;
engine::Recordset TabFRONTESPIZIO, TabANAGSOSTITUTI, TabPERCPARCELLE, TabPERCETTORI, TabQUADROLAUT,
    TabQUADROLDIP1, TabQUADROLDIP2, TabQUADROLDIP3, TabQUADROLDIP4, TabQUADROLDIP5, TabQUADROST,
    TabQUADROSV, TabQUADROSX, TabQUADROSS, TabQUADROSY, TabRELEASE, TabTABMIN_PROV, TabTABMIN_SA,
    TabTABMIN_SB, TabTABMIN_SC, TabTABMIN_SD, TabTABMIN_SE, TabTABMIN_SF, TabTABMIN_SG,
    TabTABhelpDIP, TabANAFORNMAGNETICO, TabTABCOMUNI, TabTABAPPOSTAMPA, TabSUPPMAGNETICO;
engine::Recordset RecLista;

std::int16_t FlagVariazioni = 0;
std::int16_t FlagErroreCampi = 0;
std::int16_t FlagNuovaAnagrafica = 0;
std::int16_t RispostaUtente = 0;
double IndiceCampo = 0;

// --- Folders

namespace {

constexpr std::u16string_view kAnno = u"2015";

template <class... Parts>
std::u16string Join(Parts... parts) {
  return (std::u16string() + ... + std::u16string(parts));
}

}  // namespace

std::u16string ArchivioModello() { return Join(PercorsoArchivi, u"\\SQ4RXXXX.MDB"); }
std::u16string ArchivioAnnuale() { return Join(PercorsoArchivi, u"\\S770", kAnno, u".MDB"); }
std::u16string ProgrammaPadre() { return Join(PercorsoProgrammi, u"\\770", kAnno, u".EXE"); }

void LEGGIPERCORSIREGISTRO() {
  if (sys::PrevInstance()) {
    toolkit::End();
  }
  PercorsoArchivi = LEGGIVALOREREGISTRO(kRadice, kChiave, kValoreArchivi);
  PercorsoProgrammi = LEGGIVALOREREGISTRO(kRadice, kChiave, u"PERCORSOPROGRAMMI");
}

void IMPOSTAPERCORSI() {
  PercorsoArchivi.clear();
  PercorsoProgrammi.clear();
  LEGGIPERCORSIREGISTRO();
  if (PercorsoArchivi.empty()) {
    toolkit::MsgBox(u"Non trovata procedura Morvenna\r\rContattare Calvenza Servizi",
                    toolkit::kCritical, u"Controllo procedura 770/2015 Semplificato");
    toolkit::End();
  }
  if (!LibrAgg770::ESISTEFILE(ArchivioModello())) {
    toolkit::MsgBox(Join(u"Attenzione !!!!\rNon esiste file ", ArchivioModello(),
                         u"\rContattare la Calvenza servizi"),
                    toolkit::kCritical, kTitoloProcedura);
    toolkit::End();
  }
  if (!LibrAgg770::ESISTEFILE(ArchivioAnnuale())) {
    // The engine would play the rest of an interrupted write into the new file.
    if (engine::WriteCutOff(ArchivioAnnuale())) {
      throw sys::FileError(Join(u"Manca l'archivio ", ArchivioAnnuale(),
                                u", ma è rimasto il suo file di una scrittura interrotta: ",
                                engine::SideFile(ArchivioAnnuale())));
    }
    try {
      sys::RefuseUnreadable(ArchivioAnnuale());
    } catch (const sys::FileError& ostacolo) {
      throw sys::FileError(Join(ostacolo.Text(),
                                u"\r\rÈ l'archivio dell'anno: non va cancellato "
                                u"né sostituito con il modello."));
    }
    sys::FileCopy(ArchivioModello(), ArchivioAnnuale());
    ArchivioCreato = true;
  }
}

// --- The year database

namespace {

struct Tabella {
  engine::Recordset& recordset;
  std::u16string_view nome;
  std::u16string_view indice;  // empty: none
};

// In the order of opening.
const std::array<Tabella, 29>& Tabelle() {
  static const std::array<Tabella, 29> tabelle{{
      {TabFRONTESPIZIO, u"FRONTESPIZIO", u"CHIAVE"},
      {TabANAGSOSTITUTI, u"ANAGSOSTITUTI", u"CHIAVE"},
      {TabPERCPARCELLE, u"PERCPARCELLE", u"CHIAVE"},
      {TabPERCETTORI, u"PERCETTORI", u"CHIAVE"},
      {TabQUADROLAUT, u"QUADROLAUT", u"CHIAVE"},
      {TabQUADROLDIP1, u"QUADROLDIP1", u"CHIAVE"},
      {TabQUADROLDIP2, u"QUADROLDIP2", u"CHIAVE"},
      {TabQUADROLDIP3, u"QUADROLDIP3", u"CHIAVE"},
      {TabQUADROLDIP4, u"QUADROLDIP4", u"CHIAVE"},
      {TabQUADROLDIP5, u"QUADROLDIP5", u"CHIAVE"},
      {TabQUADROST, u"QUADROST", u"CHIAVE"},
      {TabQUADROSV, u"QUADROSV", u"CHIAVE"},
      {TabQUADROSX, u"QUADROSX", u"CHIAVE"},
      {TabQUADROSS, u"QUADROSS", u"CHIAVE"},
      {TabQUADROSY, u"QUADROSY", u"CHIAVE"},
      {TabRELEASE, u"RELEASE", u""},
      {TabTABMIN_PROV, u"TABMIN_PROV", u"CHIAVE"},
      {TabTABMIN_SA, u"TABMIN_SA", u"CHIAVE"},
      {TabTABMIN_SB, u"TABMIN_SB", u"CHIAVE"},
      {TabTABMIN_SC, u"TABMIN_SC", u"CHIAVE"},
      {TabTABMIN_SD, u"TABMIN_SD", u"CHIAVE"},
      {TabTABMIN_SE, u"TABMIN_SE", u"CHIAVE"},
      {TabTABMIN_SF, u"TABMIN_SF", u"CHIAVE"},
      {TabTABMIN_SG, u"TABMIN_SG", u"CHIAVE2"},
      {TabTABhelpDIP, u"TABhelpDIP", u"CHIAVE"},
      {TabANAFORNMAGNETICO, u"ANAFORNMAGNETICO", u"CHIAVE"},
      {TabTABCOMUNI, u"TABCOMUNI", u"CHIAVE"},
      {TabTABAPPOSTAMPA, u"TABAPPOSTAMPA", u""},
      {TabSUPPMAGNETICO, u"SUPPMAGNETICO", u""},
  }};
  return tabelle;
}

// Closes; false when the closing has to end here.
template <class T>
bool Chiudi(T& oggetto, std::initializer_list<int> sorvola) {
  try {
    oggetto.Close();
  } catch (const engine::Error& e) {
    for (const int numero : sorvola) {
      if (e.Number() == numero) {
        return true;
      }
    }
    return false;
  }
  return true;
}

}  // namespace

void APRIDATABASE() { DbDichiarazione = engine::OpenDatabase(ArchivioAnnuale()); }

void APRITABELLE() {
  for (const Tabella& tabella : Tabelle()) {
    tabella.recordset = DbDichiarazione.OpenRecordset(tabella.nome);
    if (!tabella.indice.empty()) {
      tabella.recordset.Index(tabella.indice);
    }
  }
}

std::vector<std::u16string> TRIGGERESTRANEI() {
  std::vector<std::u16string> righe;
  for (const auto& [nome, tabella] : DbDichiarazione.Triggers()) {
    if (std::ranges::any_of(Tabelle(), [&t = tabella](const Tabella& nostra) {
          return text::Upper(nostra.nome) == text::Upper(t);
        })) {
      righe.push_back(Join(nome, u" (tabella ", tabella, u")"));
    }
  }
  return righe;
}

void CHIUDITABELLE() {
  auto chiudi = [](engine::Recordset& recordset) {
    return Chiudi(recordset, {engine::kNoObject, engine::kClosed});
  };
  for (const Tabella& tabella : Tabelle()) {
    if (&tabella.recordset == &TabTABhelpDIP) {
      break;  // from here on the order is another one
    }
    if (!chiudi(tabella.recordset)) {
      return;
    }
  }
  for (engine::Recordset* recordset : {&TabTABAPPOSTAMPA, &TabSUPPMAGNETICO, &RecLista,
                                       &TabTABCOMUNI, &TabTABhelpDIP, &TabANAFORNMAGNETICO}) {
    if (!chiudi(*recordset)) {
      return;
    }
  }
}

void CHIUDIDATABASE() {
  CHIUDITABELLE();
  Chiudi(DbDichiarazione, {engine::kNoObject});
}

std::u16string CHIAVECODICE(std::u16string_view codice) {
  return text::Fit(text::Trim(codice), 16);
}

bool CERCAPERCETTORE(std::u16string_view codice) {
  const std::u16string chiave = CHIAVECODICE(codice);
  std::u16string cercata = chiave;
  TabPERCPARCELLE.Seek(u"=", cercata);
  while (TabPERCPARCELLE.NoMatch() && cercata.ends_with(u' ') && !text::Trim(cercata).empty()) {
    cercata.insert(0, 1, u' ');
    cercata.pop_back();
    TabPERCPARCELLE.Seek(u"=", cercata);
  }
  if (TabPERCPARCELLE.NoMatch() && cercata != chiave) {
    TabPERCPARCELLE.Seek(u"=", chiave);  // for the neighbours
  }
  return !TabPERCPARCELLE.NoMatch();
}

void AZZERASTATO() {
  PercorsoArchivi.clear();
  PercorsoProgrammi.clear();
  ArchivioCreato = false;
  for (const Tabella& tabella : Tabelle()) {
    tabella.recordset = {};
  }
  RecLista = {};
  DbDichiarazione = {};
  FlagVariazioni = FlagErroreCampi = FlagNuovaAnagrafica = RispostaUtente = 0;
  IndiceCampo = 0;
}

}  // namespace MOD770BAS
