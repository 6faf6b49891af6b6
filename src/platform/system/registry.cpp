#include "platform/system/registry.h"

#include <algorithm>
#include <array>
#include <string>

#include "platform/system/environment.h"
#include "platform/system/input_file.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace sys {

std::filesystem::path RegistryFile() {
  if (const std::string given = Variable("MORVENNA_REGISTRO"); !given.empty()) {
    return PathOf(given);
  }
  const std::filesystem::path folder = SettingsFolder();
  if (folder.empty() || OwnRegistry() != nullptr) {
    return {};
  }
  return folder / "morvenna" / "registro.reg";
}

namespace {

// An export of one user's settings is smaller; the start can wait for no more.
constexpr std::size_t kMaxFile = std::size_t{8} << 20;

// Empty where there is nothing to read, or too much.
std::string ReadFile(const std::filesystem::path& path) {
  InputFile file;
  std::error_code error = file.Open(path);
  std::string bytes;
  std::array<char, 1 << 16> buffer;
  while (!error) {
    const std::size_t got = file.Read(buffer.data(), buffer.size(), error);
    if (got == 0 && !error) {
      return bytes;
    }
    bytes.append(buffer.data(), got);
    if (bytes.size() > kMaxFile) {
      break;
    }
  }
  return {};
}

char16_t FromWindows1252(unsigned char byte) {
  // 0x80 to 0x9F; the five unassigned codes stand for themselves.
  static constexpr char16_t kUpper[] = {
      0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
  if (byte < 0x80 || byte >= 0xA0) {
    return byte;
  }
  return kUpper[byte - 0x80];
}

std::u16string Decode(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) {
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
      units.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                            static_cast<unsigned char>(bytes[i + 1]) << 8));
    }
    return units;
  }
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    return text::FromUtf8(bytes.substr(3));
  }
  if (text::IsUtf8(bytes)) {
    return text::FromUtf8(bytes);
  }
  std::u16string units;
  for (const char c : bytes) {
    units.push_back(FromWindows1252(static_cast<unsigned char>(c)));
  }
  return units;
}

void AppendUtf16(std::vector<std::uint8_t>& data, char16_t unit) {
  data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
  data.push_back(static_cast<std::uint8_t>(unit >> 8));
}

int HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') {
    return c - u'0';
  }
  const char16_t lower = c | 0x20;
  if (lower >= u'a' && lower <= u'f') {
    return lower - u'a' + 10;
  }
  return -1;
}

// Reads through the text of an export. A Take... that returns false may stop anywhere; NextLine
// still goes on after the line that it returned last. It returns the continuation lines of a value
// too; none of them has the form of a section or a value.
class Reader {
 public:
  explicit Reader(std::u16string_view text) : text_(text) {}

  // The next line without blanks at its ends; false at the end of the text.
  bool NextLine(std::u16string_view& line) {
    if (next_ >= text_.size()) {
      return false;
    }
    at_ = next_;
    const std::size_t end = std::min(text_.find(u'\n', at_), text_.size());
    next_ = end + 1;
    line = text_.substr(at_, end - at_);
    const std::size_t first = line.find_first_not_of(u" \t\r");
    if (first == line.npos) {
      line = {};
      return true;
    }
    at_ += first;
    line = line.substr(first, line.find_last_not_of(u" \t\r") + 1 - first);
    return true;
  }

  bool Take(char16_t c) {
    SkipBlanks();
    if (Peek() != c) {
      return false;
    }
    ++at_;
    return true;
  }

  // `word`, upper and lower case alike, whatever follows it.
  bool TakeWord(std::u16string_view word) {
    SkipBlanks();
    if (text::Upper(text_.substr(at_, word.size())) != text::Upper(word)) {
      return false;
    }
    at_ += word.size();
    return true;
  }

  // A text in quotes, from its opening quote. A backslash before anything but a quote or a
  // backslash stands for itself, so that paths written by hand with single ones can be read.
  bool TakeQuoted(std::u16string& out) {
    out.clear();
    if (!Take(u'"')) {
      return false;
    }
    while (at_ < text_.size() && Peek() != u'\n') {
      char16_t c = text_[at_++];
      if (c == u'"') {
        return true;
      }
      if (c == u'\\' && (Peek() == u'"' || Peek() == u'\\')) {
        c = text_[at_++];
      }
      out.push_back(c);
    }
    return false;
  }

  bool TakeNumber(int max_digits, std::uint32_t& number) {
    number = 0;
    int digits = 0;
    for (int digit; (digit = HexDigit(Peek())) >= 0; ++at_) {
      if (++digits > max_digits) {
        return false;
      }
      number = number << 4 | static_cast<std::uint32_t>(digit);
    }
    return digits > 0;
  }

  // Bytes up to the end of the line, or of its last continuation.
  bool TakeBytes(std::vector<std::uint8_t>& out) {
    out.clear();
    bool separated = true;
    bool promised = false;  // a continuation owes at least one byte
    for (;;) {
      if (Take(u'\\')) {
        if (!AtLineEnd()) {
          return false;
        }
        at_ = std::min(text_.find(u'\n', at_), text_.size() - 1) + 1;
        promised = true;
      } else if (AtLineEnd()) {
        return !promised;
      } else {
        std::uint32_t byte = 0;
        if (!separated || !TakeNumber(2, byte)) {
          return false;
        }
        out.push_back(static_cast<std::uint8_t>(byte));
        separated = Take(u',');
        promised = false;
      }
    }
  }

  // Whether nothing but a comment is left of the line.
  bool AtLineEnd() {
    SkipBlanks();
    return at_ >= text_.size() || Peek() == u'\n' || Peek() == u';';
  }

 private:
  // NUL past the end: no part of the form begins with it.
  char16_t Peek() const { return at_ < text_.size() ? text_[at_] : u'\0'; }

  void SkipBlanks() {
    while (Peek() == u' ' || Peek() == u'\t' || Peek() == u'\r') {
      ++at_;
    }
  }

  std::u16string_view text_;
  std::size_t at_ = 0;
  std::size_t next_ = 0;
};

// The data of a value, from after its equals sign; false if it is malformed. `out` is empty for a
// deleted value.
bool TakeData(Reader& reader, bool legacy, std::optional<RegistryValue>& out) {
  RegistryValue value;
  if (reader.Take(u'-')) {
    out.reset();
    return reader.AtLineEnd();
  }
  if (std::u16string text; reader.TakeQuoted(text)) {
    value.type = kRegSz;
    for (const char16_t unit : text) {
      AppendUtf16(value.data, unit);
    }
    AppendUtf16(value.data, u'\0');
    out = std::move(value);
    return reader.AtLineEnd();
  }
  if (reader.TakeWord(u"dword:")) {
    std::uint32_t number = 0;
    if (!reader.TakeNumber(8, number) || !reader.AtLineEnd()) {
      return false;
    }
    value.type = kRegDword;
    for (int shift = 0; shift < 32; shift += 8) {
      value.data.push_back(static_cast<std::uint8_t>(number >> shift & 0xFF));
    }
    out = std::move(value);
    return true;
  }
  value.type = kRegBinary;
  if (!reader.TakeWord(u"hex") ||
      (reader.Take(u'(') && !(reader.TakeNumber(8, value.type) && reader.Take(u')'))) ||
      !reader.Take(u':') || !reader.TakeBytes(value.data)) {
    return false;
  }
  // The old form keeps the texts among these in the system's 8-bit code.
  constexpr std::uint32_t kRegMultiSz = 7;
  if (legacy && (value.type == kRegSz || value.type == kRegExpandSz || value.type == kRegMultiSz)) {
    std::vector<std::uint8_t> wide;
    for (const std::uint8_t byte : value.data) {
      AppendUtf16(wide, FromWindows1252(byte));
    }
    value.data = std::move(wide);
  }
  out = std::move(value);
  return true;
}

// The key of a section line in upper case, with the minus of a deletion in front; empty if the
// line is malformed.
std::u16string SectionKey(std::u16string_view line) {
  const std::size_t end = line.rfind(u']');
  if (end == line.npos) {
    return {};
  }
  const std::size_t rest = line.find_first_not_of(u" \t", end + 1);
  if (rest != line.npos && line[rest] != u';') {
    return {};
  }
  return text::Upper(line.substr(1, end - 1));
}

std::optional<RegistryValue> Find(std::u16string_view text, const std::u16string& key,
                                  const std::u16string& name) {
  Reader reader(text);
  std::u16string_view line;
  while (reader.NextLine(line) && (line.empty() || line.front() == u';')) {
  }
  const bool legacy = line == u"REGEDIT4";
  if (!legacy && line != u"Windows Registry Editor Version 5.00") {
    return std::nullopt;
  }
  std::optional<RegistryValue> found;
  bool in_key = false;
  std::u16string value_name;
  while (reader.NextLine(line)) {
    if (line.starts_with(u'[')) {
      // Values after a malformed section line belong to no key we know of.
      const std::u16string section = SectionKey(line);
      in_key = section == key;
      if (section.starts_with(u'-') && (key + u'\\').starts_with(section.substr(1) + u'\\')) {
        found.reset();
      }
    } else if (in_key) {
      std::optional<RegistryValue> value;
      value_name.clear();
      if ((reader.Take(u'@') || reader.TakeQuoted(value_name)) && reader.Take(u'=') &&
          text::Upper(value_name) == name && TakeData(reader, legacy, value)) {
        found = std::move(value);
      }
    }
  }
  return found;
}

}  // namespace

std::optional<RegistryValue> ReadRegistry(std::u16string_view hive, std::u16string_view key,
                                          std::u16string_view name) {
  if (const SystemRegistry* const own = OwnRegistry()) {
    return own->Read(hive, key, name);
  }
  const std::u16string text = Decode(ReadFile(RegistryFile()));
  return Find(text, text::Upper(std::u16string(hive) + u'\\' + std::u16string(key)),
              text::Upper(name));
}

}  // namespace sys
