// Tables as text: RFC 4180, and what spreadsheets make of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace archivio {

// Bytes of a row, a bound against files that aren't tables at all.
inline constexpr std::size_t kLongestRow = std::size_t{1} << 20;

struct CsvField {
  std::string text;
  bool quoted = false;

  bool Null() const { return !quoted && text.empty(); }
};

class CsvReader {
 public:
  // Fills a buffer with up to so many bytes and returns their number, 0 at the end.
  using Source = std::function<std::size_t(char* bytes, std::size_t most)>;

  // `name` is what messages call the file. Columns are separated by what comes
  // first outside of quotes: comma, semicolon or tab. A file of a kind that
  // spreadsheets write, but no text in UTF-8, is Failure.
  CsvReader(Source source, std::string name);

  // The next row; false at the end. Empty lines and the mark of UTF-8 in front of the text are
  // passed over, and a line may end in LF alone. Where it isn't certain where a row ends (quotes
  // left open or out of place, a stray CR, an endless row), nothing that follows can be trusted:
  // throws Failure.
  bool Next(std::vector<CsvField>& fields);

  // The line on which the last row began, from 1.
  std::size_t Line() const { return row_line_; }
  std::uint64_t BytesRead() const { return read_; }

 private:
  static constexpr int kEnd = -1;

  int Peek() {
    if (at_ >= size_ && !Load()) {
      return kEnd;
    }
    return static_cast<unsigned char>(buffer_[at_]);
  }
  int Take();
  bool Load();
  void CheckKind() const;
  void FindSeparator();
  void TakeRow(std::vector<CsvField>& fields);
  void TakeQuoted(std::string& text);
  [[noreturn]] void Fail(const char* cause) const;

  Source source_;
  std::string name_;
  int separator_ = ',';
  std::unique_ptr<char[]> buffer_;
  std::size_t at_ = 0;
  std::size_t size_ = 0;
  std::uint64_t read_ = 0;
  std::size_t line_ = 1;
  std::size_t row_line_ = 0;
  std::size_t row_size_ = 0;
};

// Reads `bytes`, which must live as long as the reader.
CsvReader::Source FromBytes(std::string_view bytes);

// Appends a field to `row`; nothing is Null. Every text is in quotes: a spreadsheet can be set
// to leave such texts as they are.
void AppendField(std::string& row, std::optional<std::string_view> text);

}  // namespace archivio
