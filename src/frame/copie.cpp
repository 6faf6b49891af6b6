// The copies that the program makes on its own.
#include <algorithm>
#include <chrono>
#include <ctime>

#include "frame/MOD770BAS.h"
#include "platform/system/files.h"
#include "platform/system/state.h"
#include "platform/text/text.h"

namespace MOD770BAS {

namespace {

constexpr std::size_t kCopie = 30;
constexpr std::u16string_view kInizio = u"S7702015-", kFine = u".MDB";

// The day by this computer's clock, as `forma` of strftime says.
std::u16string OGGI(const char* forma) {
  const std::time_t adesso = std::time(nullptr);
  char testo[32] = {};
  if (const std::tm* const giorno = std::localtime(&adesso)) {
    std::strftime(testo, sizeof testo, forma, giorno);
  }
  return text::FromUtf8(testo);
}

// Whether the name is that of a copy: a day of the calendar, in exactly this form.
bool NOMEDICOPIA(std::u16string_view nome) {
  if (nome.size() != kInizio.size() + 10 + kFine.size() || !nome.starts_with(kInizio) ||
      !nome.ends_with(kFine)) {
    return false;
  }
  int parti[3] = {};
  const std::u16string_view giorno = nome.substr(kInizio.size(), 10);
  for (std::size_t i = 0, parte = 0; i < giorno.size(); ++i) {
    if (i == 4 || i == 7) {
      if (giorno[i] != u'-') {
        return false;
      }
      ++parte;
    } else if (giorno[i] < u'0' || giorno[i] > u'9') {
      return false;
    } else {
      parti[parte] = parti[parte] * 10 + (giorno[i] - u'0');
    }
  }
  return std::chrono::year_month_day(std::chrono::year(parti[0]),
                                     std::chrono::month(static_cast<unsigned>(parti[1])),
                                     std::chrono::day(static_cast<unsigned>(parti[2])))
      .ok();
}

// The new copy stays even where a clock set back makes its day the oldest. What can't be
// removed is passed over: one copy too many does no harm.
void TOGLICOPIEVECCHIE(const std::u16string& cartella, const std::u16string& nuova) {
  std::vector<std::u16string> altre = sys::FilesIn(cartella);
  std::erase_if(altre, [&](const auto& nome) { return nome == nuova || !NOMEDICOPIA(nome); });
  std::ranges::sort(altre);
  for (std::size_t i = 0; i + kCopie <= altre.size(); ++i) {
    sys::RemoveFile(cartella + u"\\" + altre[i]);
  }
}

}  // namespace

void COPIAARCHIVIO() {
  const std::u16string cartella = LEGGIVALOREREGISTRO(kRadice, kChiave, kValoreCopie);
  // Of an archive on a server whoever runs it makes the copies.
  if (cartella.empty() || !engine::ServerAddress(ArchivioAnnuale()).empty()) {
    return;
  }
  const std::u16string nome = std::u16string(kInizio) + OGGI("%Y-%m-%d") + std::u16string(kFine);
  try {
    engine::CopyDatabase(ArchivioAnnuale(), cartella + u"\\" + nome);
    TOGLICOPIEVECCHIE(cartella, nome);
    sys::LeaveNote(sys::Note::kWarning, u"");
  } catch (const std::exception& guasto) {
    sys::LeaveNote(
        sys::Note::kWarning,
        u"La copia di sicurezza del " + OGGI("%d/%m/%Y") + u" non è riuscita.\r" +
            text::FromUtf8(guasto.what()) +
            u"\rL'archivio è in ordine. Tolta la causa, la copia si fa all'uscita, dopo la "
            u"prossima registrazione.");
  }
}

std::u16string COPIAMANCATA() {
  std::u16string avviso = sys::LeftNote(sys::Note::kWarning);
  if (!avviso.empty()) {
    sys::LeaveNote(sys::Note::kWarning, u"");
  }
  return avviso;
}

}  // namespace MOD770BAS
