#include "archivio/jet/stream.h"

#include <bit>
#include <chrono>

namespace archivio::jet {

namespace {

constexpr std::size_t kMany = std::size_t{1} << 16;
constexpr std::int64_t kOften = 1;  // seconds

std::int64_t Seconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

Damaged BadMessage() { return Damaged("il lettore dà messaggi non validi"); }

std::string_view Cut(std::string_view& rest, std::size_t size) {
  if (size > rest.size()) {
    throw BadMessage();
  }
  const std::string_view part = rest.substr(0, size);
  rest.remove_prefix(size);
  return part;
}

std::uint64_t CutNumber(std::string_view& rest, std::size_t bytes) {
  std::uint64_t number = 0;
  for (const char c : Cut(rest, bytes)) {
    number = (number << 8) | static_cast<unsigned char>(c);
  }
  return number;
}

std::string_view CutText(std::string_view& rest) {
  return Cut(rest, static_cast<std::size_t>(CutNumber(rest, 4)));
}

}  // namespace

void Sender::Number(std::uint64_t number, std::size_t bytes) {
  for (std::size_t i = bytes; i > 0; --i) {
    buffer_ += static_cast<char>((number >> (8 * (i - 1))) & 0xFF);
  }
}

void Sender::Text(std::string_view text) {
  Number(text.size(), 4);
  buffer_ += text;
}

void Sender::Head(Kind kind) {
  start_ = buffer_.size();
  Number(static_cast<std::uint8_t>(kind), 1);
  Number(0, 4);
}

void Sender::End() {
  std::size_t length = buffer_.size() - start_ - kHeadSize;
  for (std::size_t i = kHeadSize - 1; i > 0; --i, length >>= 8) {
    buffer_[start_ + i] = static_cast<char>(length & 0xFF);
  }
  if (buffer_.size() >= kMany || Seconds() >= sent_at_ + kOften) {
    Flush();
  }
}

void Sender::Drop() { buffer_.resize(start_); }

void Sender::Send(Kind kind, std::string_view text) {
  Head(kind);
  buffer_ += text;
  End();
}

void Sender::SendTable(const OldTable& table) {
  Head(Kind::kTable);
  Text(table.name);
  Number(table.rows, 4);
  Number(table.columns.size(), 1);
  for (const OldColumn& column : table.columns) {
    Text(column.name);
    Number(static_cast<std::uint8_t>(column.type), 1);
  }
  Number(table.indexes.size(), 1);
  for (const OldIndex& index : table.indexes) {
    Text(index.name);
    Number(static_cast<std::uint64_t>(index.unique), 1);
    Number(index.columns.size(), 1);
    for (const std::uint8_t column : index.columns) {
      Number(column, 1);
    }
  }
  End();
}

void Sender::Begin() { Head(Kind::kRow); }

void Sender::Null() { Number(static_cast<std::uint8_t>(Value::Kind::kNull), 1); }

void Sender::Add(std::int64_t integer) {
  Number(static_cast<std::uint8_t>(Value::Kind::kInteger), 1);
  Number(static_cast<std::uint64_t>(integer), 8);
}

void Sender::Add(double real) {
  Number(static_cast<std::uint8_t>(Value::Kind::kReal), 1);
  Number(std::bit_cast<std::uint64_t>(real), 8);
}

void Sender::Add(Value::Kind kind, std::string_view bytes) {
  Number(static_cast<std::uint8_t>(kind), 1);
  Text(bytes);
}

void Sender::Flush() {
  parent_.Write(buffer_);
  buffer_.clear();
  sent_at_ = Seconds();
}

OldTable ReadTable(std::string_view message) {
  OldTable table;
  table.name = CutText(message);
  table.rows = static_cast<std::uint32_t>(CutNumber(message, 4));
  table.columns.resize(CutNumber(message, 1));
  for (OldColumn& column : table.columns) {
    column.name = CutText(message);
    const std::uint64_t type = CutNumber(message, 1);
    if (type > static_cast<std::uint64_t>(Type::kBinary)) {
      throw BadMessage();
    }
    column.type = static_cast<Type>(type);
  }
  table.indexes.resize(CutNumber(message, 1));
  for (OldIndex& index : table.indexes) {
    index.name = CutText(message);
    index.unique = CutNumber(message, 1) != 0;
    index.columns.resize(CutNumber(message, 1));
    if (index.columns.empty()) {
      throw BadMessage();
    }
    for (std::uint8_t& column : index.columns) {
      column = static_cast<std::uint8_t>(CutNumber(message, 1));
      if (column >= table.columns.size()) {
        throw BadMessage();
      }
    }
  }
  if (!message.empty()) {
    throw BadMessage();
  }
  return table;
}

Value RowReader::Next() {
  Value value;
  const std::uint64_t kind = CutNumber(rest_, 1);
  value.kind = static_cast<Value::Kind>(kind);
  switch (value.kind) {
    case Value::Kind::kNull:
      return value;
    case Value::Kind::kInteger:
      value.integer = static_cast<std::int64_t>(CutNumber(rest_, 8));
      return value;
    case Value::Kind::kReal:
      value.real = std::bit_cast<double>(CutNumber(rest_, 8));
      return value;
    case Value::Kind::kText:
    case Value::Kind::kBinary:
      value.bytes = CutText(rest_);
      return value;
  }
  throw BadMessage();
}

void RowReader::CheckEnd() const {
  if (!rest_.empty()) {
    throw BadMessage();
  }
}

}  // namespace archivio::jet
