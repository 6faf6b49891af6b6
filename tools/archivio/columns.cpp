#include "archivio/columns.h"

#include <algorithm>
#include <utility>

#include "platform/text/text.h"

namespace archivio {

namespace {

constexpr std::pair<std::string_view, std::string_view> kNames[] = {
    {"CFP", "Codice Fiscale"},
    {"APARC_1", "Cognome o Denominazione"},
    {"APARC_2", "Nome / continuazione denominazione"},
    {"APARC_3", "Sesso"},
    {"APARC_4", "Data di nascita"},
    {"APARC_5", "Comune (o Stato estero) di nascita"},
    {"APARC_6", "Prov. di nascita"},
    {"APARC_7", "Comune del domicilio fiscale"},
    {"APARC_8", "Prov. del domicilio fiscale"},
    {"APARC_9", "Categorie Particolari"},
    {"APARC_11", "Codice di identificazione fiscale estero"},
    {"APARC_12", "Località di residenza estera"},
    {"APARC_13", "Frazione, via e numero civico"},
    {"APARC_14", "Codice stato estero"},
    {"APARC_16", "Eventi eccezionali"},
    {"APARC_17", "Codice comune"},
};

// True when `text` has digits where `form` has a 0, and is else equal to it.
bool HasForm(std::string_view text, std::string_view form) {
  return std::ranges::equal(
      text, form, [](char c, char f) { return f == '0' ? c >= '0' && c <= '9' : c == f; });
}

}  // namespace

std::string_view ReadableName(std::string_view column) {
  const auto* const found =
      std::ranges::find(kNames, column, [](const auto& n) { return n.first; });
  return found == std::end(kNames) ? column : found->second;
}

std::string Shown(std::string_view bytes) {
  constexpr std::size_t kMost = 40;
  std::u16string units = text::FromUtf8(bytes.substr(0, kMost));
  std::replace_if(units.begin(), units.end(), text::IsControl, u'?');
  return text::ToUtf8(units) + (bytes.size() > kMost ? "..." : "");
}

std::string DateOnScreen(std::string_view stored) {
  std::string date(stored);
  return HasForm(stored, "00000000")
             ? date.substr(6) + '/' + date.substr(4, 2) + '/' + date.substr(0, 4)
             : date;
}

std::string StoredDate(std::string_view on_screen) {
  std::string date(on_screen);
  return HasForm(on_screen, "00/00/0000") ? date.substr(6) + date.substr(3, 2) + date.substr(0, 2)
                                          : date;
}

}  // namespace archivio
