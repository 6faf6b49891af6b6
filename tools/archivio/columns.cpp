#include "archivio/columns.h"

#include <algorithm>

#include "platform/text/text.h"
#include "record/regole.h"

#include "platform/text/text.h"

namespace archivio {

namespace {

// True when `text` has digits where `form` has a 0, and is else equal to it.
bool HasForm(std::string_view text, std::string_view form) {
  return std::ranges::equal(
      text, form, [](char c, char f) { return f == '0' ? c >= '0' && c <= '9' : c == f; });
}

}  // namespace

std::string ReadableName(std::string_view column) {
  const auto* const found =
      std::ranges::find(regole::kCampi, text::FromUtf8(column), &regole::CampoPercettore::colonna);
  return found == regole::kCampi.end() ? std::string(column) : text::ToUtf8(found->nome);
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
