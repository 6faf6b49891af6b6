#include "archivio/csv.h"

#include <utility>

#include "archivio/archivio.h"

namespace archivio {

namespace {

constexpr std::size_t kBuffer = std::size_t{1} << 16;

}  // namespace

CsvReader::Source FromBytes(std::string_view bytes) {
  return [bytes](char* to, std::size_t most) mutable {
    const std::size_t got = bytes.copy(to, most);
    bytes.remove_prefix(got);
    return got;
  };
}

CsvReader::CsvReader(Source source, std::string name)
    : source_(std::move(source)), name_(std::move(name)), buffer_(new char[kBuffer]) {
  Load();
  CheckKind();
  if (std::string_view(buffer_.get(), size_).starts_with("\xEF\xBB\xBF")) {
    at_ = 3;
  }
  FindSeparator();
}

// Fills the whole buffer, as far as there is something, however small the pieces of the source are:
// CheckKind and FindSeparator look at the first bufferful.
bool CsvReader::Load() {
  at_ = 0;
  size_ = 0;
  while (size_ < kBuffer) {
    const std::size_t got = source_(buffer_.get() + size_, kBuffer - size_);
    if (got == 0) {
      break;
    }
    size_ += got;
  }
  read_ += size_;
  return size_ > 0;
}

void CsvReader::CheckKind() const {
  const std::string_view start(buffer_.get(), size_);
  const auto fail = [this](const char* kind) {
    throw Failure("Il file " + name_ + " è " + kind +
                  ": va salvato dal foglio elettronico come testo CSV, in UTF-8.");
  };
  if (start.starts_with("PK\x03\x04")) {
    fail("un foglio elettronico (xlsx, ods) o un file compresso");
  }
  if (start.starts_with("\xD0\xCF\x11\xE0")) {
    fail("un foglio elettronico (xls)");
  }
  // Without a mark, its letters show: each has a byte 0 beside it.
  if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF") ||
      (size_ > 1 && (start[0] == '\0') != (start[1] == '\0'))) {
    fail("un testo in UTF-16");
  }
}

void CsvReader::FindSeparator() {
  bool quoted = false;
  for (std::size_t i = at_; i < size_; ++i) {
    const int c = static_cast<unsigned char>(buffer_[i]);
    quoted ^= c == '"';
    if (!quoted && (c == ',' || c == ';' || c == '\t')) {
      separator_ = c;
      return;
    }
  }
}

int CsvReader::Take() {
  const int c = Peek();
  if (c != kEnd) {
    ++at_;
    if (c == '\n') {
      ++line_;
    }
    if (++row_size_ > kLongestRow) {
      Fail("la riga non finisce più");
    }
  }
  return c;
}

bool CsvReader::Next(std::vector<CsvField>& fields) {
  do {
    row_line_ = line_;
    row_size_ = 0;
    if (Peek() == kEnd) {
      return false;
    }
    TakeRow(fields);
  } while (fields.size() == 1 && fields[0].Null());
  return true;
}

void CsvReader::TakeRow(std::vector<CsvField>& fields) {
  std::size_t count = 0;
  int c = separator_;
  while (c == separator_) {
    if (count == fields.size()) {
      fields.emplace_back();
    }
    CsvField& field = fields[count++];
    field.text.clear();
    field.quoted = Peek() == '"';
    if (field.quoted) {
      TakeQuoted(field.text);
    }
    for (c = Take(); c != separator_ && c != '\n' && c != '\r' && c != kEnd; c = Take()) {
      if (field.quoted || c == '"') {
        Fail("virgolette fuori posto");
      }
      field.text.push_back(static_cast<char>(c));
    }
  }
  if (c == '\r' && Take() != '\n') {
    Fail("ritorno a capo fuori posto");
  }
  fields.resize(count);
}

void CsvReader::TakeQuoted(std::string& text) {
  Take();
  for (;;) {
    const int c = Take();
    if (c == kEnd) {
      Fail("virgolette aperte e non chiuse");
    }
    if (c == '"') {
      if (Peek() != '"') {
        return;
      }
      Take();
    }
    text.push_back(static_cast<char>(c));
  }
}

void CsvReader::Fail(const char* cause) const {
  throw Failure("File " + name_ + ", riga " + std::to_string(row_line_) + ": " + cause +
                "; da qui in poi le righe non si distinguono.");
}

void AppendField(std::string& row, std::optional<std::string_view> text) {
  if (!text) {
    return;
  }
  row += '"';
  for (const char c : *text) {
    row += c;
    if (c == '"') {
      row += c;
    }
  }
  row += '"';
}

}  // namespace archivio
