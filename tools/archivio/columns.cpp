#include "archivio/columns.h"

#include <algorithm>

#include "platform/text/text.h"
#include "record/regole.h"

namespace archivio {

namespace {

// True when `text` has digits where `form` has a 0, and is else equal to it.
bool HasForm(std::string_view text, std::string_view form) {
  return std::ranges::equal(
      text, form, [](char c, char f) { return f == '0' ? c >= '0' && c <= '9' : c == f; });
}

constexpr std::string_view kOnScreen = "00/00/0000";

std::string_view WithoutMarks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of('\''), text.size()));
}

// Whether it would be run but for apostrophes in front.
bool Runs(std::string_view text) {
  text = WithoutMarks(text);
  return !text.empty() && std::string_view("=+-@\t\r\n").find(text.front()) != text.npos;
}

}  // namespace

std::string HarmlessText(std::string_view stored) {
  return (Runs(stored) ? "'" : "") + std::string(stored);
}

std::string StoredText(std::string_view harmless) {
  const bool marked = harmless.starts_with('\'') && Runs(harmless);
  return std::string(harmless.substr(marked ? 1 : 0));
}

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
  const std::string date(stored);
  if (HasForm(stored, "00000000")) {
    return text::ToUtf8(
        regole::TESTOASCHERMO(*regole::CAMPO(regole::kNascita), text::FromUtf8(stored)));
  }
  return HasForm(WithoutMarks(stored), kOnScreen) ? '\'' + date : date;
}

std::string StoredDate(std::string_view on_screen) {
  const std::string date(on_screen);
  if (HasForm(on_screen, kOnScreen)) {
    return text::ToUtf8(
        regole::VALOREDISALVATAGGIO(*regole::CAMPO(regole::kNascita), text::FromUtf8(on_screen)));
  }
  return HasForm(WithoutMarks(on_screen), kOnScreen) ? date.substr(1) : date;
}

}  // namespace archivio
