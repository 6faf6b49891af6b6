// MOD770BAS: what the form and the other procedures share. The suite's
// folders, the year database with its tables, the flags of the record screen.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frame/schema.h"
#include "platform/engine/engine.h"

namespace MOD770BAS {

// --- Folders, set once at start. Texts of the registry, unchanged; a file's
// name brings its own leading backslash.

extern std::u16string PercorsoArchivi;    // template and year database
extern std::u16string PercorsoProgrammi;  // the parent's executable; may be empty
extern bool ArchivioCreato;               // this start has made the year database

inline constexpr std::u16string_view kTitoloProcedura =
    u" Gestione Modello 770/2015 (Semplificato) - ";

// The names that follow from the folders and the year.
std::u16string ArchivioModello();  // the template
std::u16string ArchivioAnnuale();  // the year database
std::u16string ProgrammaPadre();
inline constexpr std::u16string_view kTitoloPadre = u"7702015";

// Where the registry names the folders.
inline constexpr std::u16string_view kRadice = u"HKEY_CURRENT_USER";
inline constexpr std::u16string_view kChiave = u"SOFTWARE\\CALVENZA\\MORVENNA";
inline constexpr std::u16string_view kValoreArchivi = u"PERCORSOARCHIVI";
inline constexpr std::u16string_view kValoreCopie = u"PERCORSOCOPIE";

// Text of a registry value under the given hive and key: of a text what stands
// before its first NUL, of a number its low 16 bits with sign, in decimal; ""
// for anything else, a missing value and any failure.
std::u16string LEGGIVALOREREGISTRO(std::u16string_view radice, std::u16string_view chiave,
                                   std::u16string_view nome);
// Ends the process if another copy runs; then reads both folders.
void LEGGIPERCORSIREGISTRO();
// Folders, template and year database, as far as the start needs them. Ends the process,
// after a message, where the suite isn't there; makes the year database from
// the template where it is missing. Throws text::Error when that fails.
void IMPOSTAPERCORSI();

// --- The year database

extern engine::Database DbDichiarazione;
// A recordset for each table: TabPERCPARCELLE and its like.
#define TAB(name, ...) extern engine::Recordset Tab##name;
TABLES_OF_THE_ARCHIVE(TAB)
#undef TAB
// The recordset of the table with this name; null where the archive has none.
engine::Recordset* RECORDSET(std::u16string_view tabella);
// For short-lived queries; closed by the procedure that opened it.
extern engine::Recordset RecLista;

// Both throw engine::Error at the first thing that is missing.
void APRIDATABASE();
void APRITABELLE();
// What other programs have put into the archive to run with each write to one of
// these tables, one line each. Throws engine::Error.
std::vector<std::u16string> TRIGGERESTRANEI();
// Pass over what was never opened or is closed already; any other failure ends
// the closing, in silence.
void CHIUDITABELLE();
void CHIUDIDATABASE();

// Copies the year database, which is closed, into the folder of the registry value
// PERCORSOCOPIE as the copy of this day, and removes the oldest copies there above thirty;
// does nothing without the value, nor where the archive is on a server. A failure is left to the
// next start, see COPIAMANCATA.
void COPIAARCHIVIO();
// What the user should know of a copy that failed, told once; empty where there is nothing.
std::u16string COPIAMANCATA();

// A transaction on the year database, which no other program can write to while it lasts: so it
// must not wait for the user. What is written in it stands when CONFERMA returns, and else not at
// all. Throws engine::Error.
class TRANSAZIONE {
 public:
  TRANSAZIONE() { DbDichiarazione.BeginTrans(); }
  ~TRANSAZIONE() { DbDichiarazione.Rollback(); }
  TRANSAZIONE(const TRANSAZIONE&) = delete;
  TRANSAZIONE& operator=(const TRANSAZIONE&) = delete;
  void CONFERMA() { DbDichiarazione.CommitTrans(); }
};

// A code without blanks at either end, filled up or cut to 16 characters: what
// every search by code passes.
std::u16string CHIAVECODICE(std::u16string_view codice);

// Places TabPERCPARCELLE on the recipient with this code, in whatever of its forms, and returns
// whether there is one. The search passes the key form; a code stored with blanks in front, as an
// insertion may take it in, is found all the same, so that no recipient of the list is out of
// reach. Without a match the table's moves go to the neighbours of the key form.
bool CERCAPERCETTORE(std::u16string_view codice);

// --- State of the record screen

extern std::int16_t FlagVariazioni;       // 1: keys or picks since the last load or save
extern std::int16_t FlagErroreCampi;      // 1: the last test of the fields found a fault
extern std::int16_t FlagNuovaAnagrafica;  // 1: a new recipient, not saved since
extern std::int16_t RispostaUtente;       // button that closed the last question
extern double IndiceCampo;  // index of every loop over Text1, and the outcome of a code's check

// As a process finds it at its start.
void AZZERASTATO();

}  // namespace MOD770BAS
