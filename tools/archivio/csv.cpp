#include "archivio/csv.h"

#include <utility>

#include "archivio/archivio.h"

namespace archivio {

namespace {

constexpr std::size_t kBuffer = std::size_t{1} << 16;

}  // namespace

CsvReader::CsvReader(std::istream& stream, std::string name, char separator)
    : stream_(stream), name_(std::move(name)), separator_(separator), buffer_(new char[kBuffer]) {
  if (Load() && std::string_view(buffer_.get(), size_).starts_with("\xEF\xBB\xBF")) {
    at_ = 3;
  }
}

bool CsvReader::Load() {
  stream_.read(buffer_.get(), kBuffer);
  if (stream_.bad()) {
    throw Failure("Impossibile leggere il file " + name_ + ".");
  }
  at_ = 0;
  size_ = static_cast<std::size_t>(stream_.gcount());
  read_ += size_;
  return size_ > 0;
}

int CsvReader::Take() {
  const int c = Peek();
  if (c != kEnd) {
    ++at_;
    line_ += c == '\n' ? 1 : 0;
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
  if (!text->empty() && text->find_first_of(",\"\r\n") == text->npos) {
    row += *text;
    return;
  }
  row += '"';
  for (const char c : *text) {
    row.append(c == '"' ? 2 : 1, c);
  }
  row += '"';
}

}  // namespace archivio
