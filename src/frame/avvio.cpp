// Start and end of the program.
#include <algorithm>

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/engine/engine.h"
#include "platform/system/process.h"
#include "platform/system/signals.h"
#include "platform/text/text.h"
#include "record/record.h"
#include "selection/selection.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

constexpr int kAltezza = 9120, kLarghezza = 12120;  // twips

constexpr std::u16string_view kRimedio =
    u" Controllare i permessi del file, ripristinare l'archivio da una copia di sicurezza, oppure "
    u"contattare Calvenza Servizi.";

// Without its data the program shows no form: one box that says what is wrong
// and what to do, then the end, with status 1 so that the caller can tell.
[[noreturn]] void AVVIOIMPOSSIBILE(const std::u16string& causa,
                                   std::u16string_view rimedio = kRimedio) {
  toolkit::MsgBox(causa + u"\r\rIl programma non può essere avviato." + std::u16string(rimedio),
                  toolkit::kCritical, Titolo());
  CHIUDIDATABASE();
  toolkit::End(1);
}

// A year database made just now from a template that can't be used goes again:
// it would stand in the way of a mended template. True when it went.
bool TOGLIARCHIVIOCREATO(const engine::Error& errore) {
  if (!ArchivioCreato || !errore.DatabaseUnfit()) {
    return false;
  }
  CHIUDIDATABASE();
  engine::RemoveDatabase(ArchivioAnnuale());
  return true;
}

void AVVIO() {
  StatusBar1.Panels(2).SetText(u"Apertura dell'archivio");
  IMPOSTAPERCORSI();
  APRIDATABASE();
  APRITABELLE();
  SistemaToolTipText();
  IMPOSTAFRAME();
  Me.SetHeight(kAltezza);
  Me.SetWidth(kLarghezza);
  Me.SetLeft((toolkit::Screen.Width - Me.Width()) / 2);
  Me.SetTop((toolkit::Screen.Height - Me.Height()) / 2);
  FlagFormCaricato = 0;
  Option1(0).SetValue(true);
  LISTAPERCETTORI();
  FlagFormCaricato = 1;
  StatusBar1.Panels(1).SetText(u"Release " +
                               std::u16string(text::Mid(toolkit::App().command_line, 3)));
  TabellaAperta = 0;
  FlagVariazioni = 0;
  FlagErroreCampi = 0;
}

// The suite's own programs may have put triggers there on purpose, and the archive may be
// wrong without what they do: so they run, and the archive opens. What they do to a row of ours
// isn't hidden: a write that doesn't change exactly that row fails, and a save shows the row
// as it then is.
std::u16string AVVISOTRIGGER() {
  constexpr std::size_t kRighe = 5;
  const std::vector<std::u16string> trigger = TRIGGERESTRANEI();
  if (trigger.empty()) {
    return u"";
  }
  std::u16string avviso =
      u"Un altro programma ha messo nell'archivio istruzioni che vengono eseguite a ogni scrittura "
      u"(trigger) e possono cambiare altri dati:";
  for (std::size_t i = 0; i < std::min(trigger.size(), kRighe); ++i) {
    avviso += u"\r- " + trigger[i];
  }
  if (trigger.size() > kRighe) {
    avviso += u"\re altre " + text::Decimal(static_cast<long>(trigger.size() - kRighe)) + u".";
  }
  return avviso + u"\rSe non sono volute, contattare Calvenza Servizi.";
}

std::u16string AVVISONOMI() {
  if (!engine::HasOtherNames(ArchivioAnnuale())) {
    return u"";
  }
  return u"L'archivio " + ArchivioAnnuale() +
         u" ha anche altri nomi (collegamenti fisici). Aperto con un altro nome dopo "
         u"un'interruzione si rovina, e i nomi in più non sono copie: quello che si scrive qui "
         u"cambia anche là. Lasciargli un nome solo; per le copie usare anagparc-archivio copia.";
}

bool SCRITTO() {
  try {
    return DbDichiarazione.Written();
  } catch (const engine::Error&) {
    return false;  // it was never opened
  }
}

}  // namespace

void PREPARAPROGRAMMA(std::u16string rigaDiComando) {
  sys::IgnoreFileSizeSignal();
  toolkit::Application& app = toolkit::App();
  app.command_line = std::move(rigaDiComando);
  app.activate = sys::ActivateWindow;
  app.start = sys::StartProgram;
  app.at_rest = engine::Rest;
  engine::WhileWorking(toolkit::StillWorking);
  engine::WhileWaiting([] {
    StatusBar1.Panels(2).SetText(u"In attesa del server");
    StatusBar1.Refresh();
  });
  app.unhandled = ERRORENONPREVISTO;
  app.ended = false;
  CARICAMODULO();
}

void Form_Load() {
  Me.SetCaption(std::u16string(kTitoloProcedura) + std::u16string(text::Trim(Me.Caption())));
  try {
    AVVIO();
  } catch (const engine::Error& e) {
    if (e.Number() == engine::kOldFormat) {
      AVVIOIMPOSSIBILE(e.Text(), u"");  // which names the remedy
    }
    std::u16string causa = e.Text();
    if (TOGLIARCHIVIOCREATO(e)) {
      causa = u"Il modello " + ArchivioModello() +
              u" non è utilizzabile; la sua copia è stata tolta.\r\r" + causa;
    }
    AVVIOIMPOSSIBILE(causa);
  } catch (const text::Error& e) {
    AVVIOIMPOSSIBILE(e.Text());
  } catch (const std::exception& e) {  // no memory, say: half a list is none
    AVVIOIMPOSSIBILE(u"Errore interno: " + text::FromUtf8(e.what()));
  }
}

void Form_Activate() {
  std::u16string avvisi;
  for (const std::u16string& avviso : {COPIAMANCATA(), AVVISOTRIGGER(), AVVISONOMI()}) {
    if (!avvisi.empty() && !avviso.empty()) {
      avvisi += u"\r\r";
    }
    avvisi += avviso;
  }
  if (!avvisi.empty()) {
    toolkit::MsgBox(avvisi, toolkit::kExclamation, Titolo());
  }
}

void Form_Resize() {}

// The copy comes when the user is back in the parent and the window has gone: nobody
// waits for it, not even for a disk that hangs, and the program can be started again meanwhile.
// It opens the archive anew, as any other program would.
void Form_Unload() {
  const bool scritto = SCRITTO();
  CHIUDITABELLE();
  CHIUDIDATABASE();
  if (!toolkit::AppActivate(kTitoloPadre)) {
    toolkit::Shell(ProgrammaPadre());
  }
  if (scritto) {
    Me.Hide();
    sys::LeaveInstance();
    COPIAARCHIVIO();
  }
  toolkit::End();
}

void ERRORENONPREVISTO(const std::exception& errore) {
  std::u16string causa = u"Errore interno: " + text::FromUtf8(errore.what());
  if (const auto* motore = dynamic_cast<const engine::Error*>(&errore)) {
    causa = motore->Text();
  }
  toolkit::MsgBox(u"Operazione non riuscita.\r\r" + causa, toolkit::kCritical, Titolo());
}

void cmduscita_Click(int Index) {
  if (Index == 1) {  // the selection screen never asks
    FlagVariazioni = 0;
  }
  if (VARIAZIONIRISOLTE()) {
    Me.Unload();
  }
}

void cmduscita_GotFocus(int) { Framecodif.SetVisible(false); }

}  // namespace ANAGPARC
