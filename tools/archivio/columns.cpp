#include "archivio/columns.h"

#include <algorithm>

#include "platform/text/text.h"
#include "record/regole.h"

namespace archivio {

namespace {

// True when `text` has digits where `form` has a 0, and otherwise the same characters.
bool HasForm(std::string_view text, std::string_view form) {
  return std::ranges::equal(
      text, form, [](char c, char f) { return c == f || (f == '0' && c >= '0' && c <= '9'); });
}

constexpr std::string_view kOnScreen = "00/00/0000";

std::string_view WithoutMarks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of('\''), text.size()));
}

// Whether a spreadsheet would run it if it had no apostrophes in front.
bool Runs(std::string_view text) {
  text = WithoutMarks(text);
  return !text.empty() && std::string_view("=+-@\t\r\n").find(text.front()) != text.npos;
}

}  // namespace

std::string HarmlessText(std::string_view stored) {
  if (Runs(stored)) {
    return '\'' + std::string(stored);
  }
  return std::string(stored);
}

std::string StoredText(std::string_view harmless) {
  if (harmless.starts_with('\'') && Runs(harmless)) {
    harmless.remove_prefix(1);
  }
  return std::string(harmless);
}

std::string ReadableName(std::string_view column) {
  const auto* const found =
      std::ranges::find(regole::kCampi, text::FromUtf8(column), &regole::CampoPercettore::colonna);
  if (found == regole::kCampi.end()) {
    return std::string(column);
  }
  return text::ToUtf8(found->nome);
}

std::string Shown(std::string_view bytes) {
  constexpr std::size_t kMost = 40;
  std::u16string units = text::FromUtf8(bytes.substr(0, kMost));
  std::replace_if(units.begin(), units.end(), text::IsControl, u'?');
  if (bytes.size() > kMost) {
    units += u"...";
  }
  return text::ToUtf8(units);
}

std::string DateOnScreen(std::string_view stored) {
  std::string date(stored);
  if (HasForm(stored, "00000000")) {
    return text::ToUtf8(
        regole::TESTOASCHERMO(*regole::CAMPO(regole::kNascita), text::FromUtf8(stored)));
  }
  if (HasForm(WithoutMarks(stored), kOnScreen)) {
    date.insert(0, 1, '\'');
  }
  return date;
}

std::string StoredDate(std::string_view on_screen) {
  std::string date(on_screen);
  if (HasForm(on_screen, kOnScreen)) {
    return text::ToUtf8(
        regole::VALOREDISALVATAGGIO(*regole::CAMPO(regole::kNascita), text::FromUtf8(on_screen)));
  }
  if (HasForm(WithoutMarks(on_screen), kOnScreen)) {
    date.erase(0, 1);
  }
  return date;
}

}  // namespace archivio
