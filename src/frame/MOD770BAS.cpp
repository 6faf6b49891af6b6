#include "frame/MOD770BAS.h"

#include "platform/system/process.h"
#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "record/LibrAgg770.h"

namespace MOD770BAS {

std::u16string PercorsoArchivi;
std::u16string PercorsoProgrammi;
bool ArchivioCreato = false;

engine::Database DbDichiarazione;
#define TAB(name, ...) engine::Recordset Tab##name;
TABLES_OF_THE_ARCHIVE(TAB)
#undef TAB
engine::Recordset RecLista;

std::int16_t FlagVariazioni = 0;
std::int16_t FlagErroreCampi = 0;
std::int16_t FlagNuovaAnagrafica = 0;
std::int16_t RispostaUtente = 0;
double IndiceCampo = 0;

// --- Folders

namespace {

template <class... Parts>
std::u16string Join(Parts... parts) {
  return (std::u16string() + ... + std::u16string(parts));
}

}  // namespace

std::u16string ArchivioModello() {
  return Join(PercorsoArchivi, u"\\", text::FromUtf8(archivio::kTemplateName));
}
std::u16string ArchivioAnnuale() {
  return Join(PercorsoArchivi, u"\\", text::FromUtf8(archivio::kYearName));
}
std::u16string ProgrammaPadre() { return Join(PercorsoProgrammi, u"\\", kTitoloPadre, u".EXE"); }

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
    engine::CreateDatabase(ArchivioModello(), ArchivioAnnuale());
    ArchivioCreato = true;
  }
}

// --- The year database

namespace {

// The recordsets, in the order of archivio::Tables().
constexpr engine::Recordset* kRecordset[] = {
#define TAB(name, ...) &Tab##name,
    TABLES_OF_THE_ARCHIVE(TAB)
#undef TAB
};

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

engine::Recordset* RECORDSET(std::u16string_view tabella) {
  const archivio::Table* const trovata = archivio::FindTable(text::ToUtf8(tabella));
  if (trovata == nullptr) {
    return nullptr;
  }
  return kRecordset[trovata - archivio::Tables().data()];
}

void APRIDATABASE() { DbDichiarazione = engine::OpenDatabase(ArchivioAnnuale()); }

void APRITABELLE() {
  engine::Recordset* const* recordset = kRecordset;
  for (const archivio::Table& tabella : archivio::Tables()) {
    **recordset = DbDichiarazione.OpenRecordset(text::FromUtf8(tabella.name));
    std::string_view indice;
    for (const archivio::Index& chiave : tabella.indexes) {
      if (chiave.use != archivio::Use::kOrder) {
        indice = chiave.name;
      }
    }
    if (!indice.empty()) {
      (*recordset)->Index(text::FromUtf8(indice));
    }
    ++recordset;
  }
}

std::vector<std::u16string> TRIGGERESTRANEI() {
  std::vector<std::u16string> righe;
  for (const auto& [nome, tabella] : DbDichiarazione.Triggers()) {
    if (archivio::FindTable(text::ToUtf8(tabella)) != nullptr) {
      righe.push_back(Join(nome, u" (tabella ", tabella, u")"));
    }
  }
  return righe;
}

void CHIUDITABELLE() {
  auto chiudi = [](engine::Recordset& recordset) {
    return Chiudi(recordset, {engine::kNoObject, engine::kClosed});
  };
  for (engine::Recordset* recordset : kRecordset) {
    if (recordset == &TabTABhelpDIP) {
      break;  // from here on the order is another one
    }
    if (!chiudi(*recordset)) {
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
  std::vector<std::u16string> forme = {CHIAVECODICE(codice)};
  while (forme.back().ends_with(u' ') && !text::Trim(forme.back()).empty()) {
    forme.push_back(u' ' + forme.back().substr(0, forme.back().size() - 1));
  }
  TabPERCPARCELLE.Seek(u"=", forme);
  return !TabPERCPARCELLE.NoMatch();
}

void AZZERASTATO() {
  PercorsoArchivi.clear();
  PercorsoProgrammi.clear();
  ArchivioCreato = false;
  for (engine::Recordset* recordset : kRecordset) {
    *recordset = {};
  }
  RecLista = {};
  DbDichiarazione = {};
  FlagVariazioni = FlagErroreCampi = FlagNuovaAnagrafica = RispostaUtente = 0;
  IndiceCampo = 0;
}

}  // namespace MOD770BAS
