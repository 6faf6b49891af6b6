// The rows of an archive, for the commands that do the same with one of any kind.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "reference/righe.h"

namespace archivio {

// A reading of one table. The views are good until the next call.
class Rows {
 public:
  virtual ~Rows() = default;
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  // False after the last row.
  virtual bool Next() = 0;
  // Identifies the row; 0 where the table's rows have no number.
  virtual std::int64_t Number() const = 0;
  // By the place among the columns asked for. Nothing for Null; a number as its text.
  virtual std::optional<std::string_view> Text(std::size_t column) const = 0;
  // Whether the value is declared to be no text; to be called before Text.
  virtual bool Binary(std::size_t column) const = 0;

 protected:
  Rows() = default;
};

enum class Order { kNumber, kFirstColumn };

// An open archive, all of it as it is at one moment; with Access::kWrite nobody else writes to it
// from then on. What isn't committed is undone. Calls throw what those of archivio.h do.
class AnyArchive {
 public:
  enum class Access { kRead, kWrite };
  using Values = std::span<const std::optional<std::string_view>>;

  virtual ~AnyArchive() = default;
  AnyArchive(const AnyArchive&) = delete;
  AnyArchive& operator=(const AnyArchive&) = delete;

  // Names of a table's columns, in its order; none where there is no such table.
  virtual std::vector<std::string> Columns(std::string_view table) = 0;
  // Upper and lower case in the columns' names are alike; an empty name is a column of empty texts.
  virtual std::unique_ptr<Rows> Read(std::string_view table,
                                     const std::vector<std::string>& columns, Order order) = 0;

  // --- The recipients. `Columns` are those that Insert and Update set, their `code` aside,
  // which Update leaves alone. Both return how many rows they have changed, or 1 where that shows
  // later and is then a Failure.
  virtual void Prepare(const std::vector<std::string>& columns, std::size_t code) = 0;
  virtual int Insert(Values values) = 0;
  virtual int Update(std::int64_t row, Values values) = 0;
  virtual void Commit() = 0;

 protected:
  AnyArchive() = default;
};

// The columns of which a lookup table's rows are made, in their order.
std::unique_ptr<Rows> ReadLookup(AnyArchive& archive, const regole::Fonte& source);

std::unique_ptr<AnyArchive> OpenFile(const std::filesystem::path& file, AnyArchive::Access access);

}  // namespace archivio
