// What the process that reads an old archive sends to the one that writes the new one. Whoever
// receives it checks every length: a hostile archive may have taken over the sender.
//
// An archive comes as kLinked or kAt and kTable for all its tables, then for
// each kTable, in the same order, kRows and its kRow and kBadRow, and kEnd at
// last. kDoubt may come at any time; so may kFailure, which ends it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "archivio/jet/damaged.h"
#include "platform/system/child.h"

namespace archivio::jet {

enum class Kind : std::uint8_t {
  kLinked,   // the name of a table whose rows are in another file
  kAt,       // the name of the table whose description is read next
  kDoubt,    // an Italian sentence on what contradicts itself
  kTable,    // see SendTable
  kRows,     // nothing: the rows of the next table follow
  kRow,      // a value for each column
  kBadRow,   // why the row can't be read
  kFailure,  // why nothing more can be read
  kEnd,      // nothing
};

enum class Type : std::uint8_t { kText, kInteger, kReal, kBinary };

struct OldColumn {
  std::string name;
  Type type;
};

struct OldIndex {
  std::string name;
  bool unique = false;
  std::vector<std::uint8_t> columns;  // their places in the table
};

struct OldTable {
  std::string name;
  std::uint32_t rows = 0;  // as the old file itself counts them
  std::vector<OldColumn> columns;
  std::vector<OldIndex> indexes;
};

struct Value {
  enum class Kind : std::uint8_t { kNull, kInteger, kReal, kText, kBinary };
  Kind kind = Kind::kNull;
  std::int64_t integer = 0;
  double real = 0;
  std::string_view bytes;  // of a text, UTF-8, or a binary value
};

// Of every message: its kind, and in four bytes, the highest first, the length of what follows.
inline constexpr std::size_t kHeadSize = 5;

// The sending end. Messages are gathered, and sent when there are many and at least every second.
class Sender {
 public:
  explicit Sender(sys::ToParent& parent) : parent_(parent) {}

  void Send(Kind kind, std::string_view text = {});
  void SendTable(const OldTable& table);

  // A row: its values in the order of the columns, then End; or Drop, and nothing of it is sent.
  void Begin();
  void Null();
  void Add(std::int64_t integer);
  void Add(double real);
  void Add(Value::Kind kind, std::string_view bytes);
  void End();
  void Drop();

  void Flush();

 private:
  void Head(Kind kind);
  void Number(std::uint64_t number, std::size_t bytes);
  void Text(std::string_view text);

  sys::ToParent& parent_;
  std::string buffer_;
  std::size_t start_ = 0;  // of the message begun
  std::int64_t sent_at_ = 0;
};

// These take a message apart, and throw Damaged when it isn't as long as it should be.

OldTable ReadTable(std::string_view message);

class RowReader {
 public:
  explicit RowReader(std::string_view message) : rest_(message) {}
  Value Next();
  void CheckEnd() const;

 private:
  std::string_view rest_;
};

}  // namespace archivio::jet
