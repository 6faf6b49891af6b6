#include "archivio/jet/definition.h"

#include <algorithm>
#include <array>
#include <utility>

#include "archivio/jet/values.h"
#include "platform/text/text.h"

namespace archivio::jet {

namespace {

constexpr int kCodePage = 1252;  // of a file that names none
constexpr std::size_t kMostPages = 64;

Damaged BadColumns() { return Damaged("le sue colonne sono danneggiate"); }
Damaged BadIndexes() { return Damaged("i suoi indici sono danneggiati"); }

// Reads numbers and texts one after the other.
class Cursor {
 public:
  Cursor(std::string_view bytes, std::size_t at, bool jet3 = false)
      : bytes_(bytes), at_(at), jet3_(jet3) {}

  std::string_view Take(std::size_t size) {
    if (at_ > bytes_.size() || size > bytes_.size() - at_) {
      throw Damaged("la sua descrizione è più corta di quello che descrive");
    }
    at_ += size;
    return bytes_.substr(at_ - size, size);
  }
  // Passes over bytes that only Jet 4 has.
  void PassJet4(std::size_t size) {
    if (!jet3_) {
      Take(size);
    }
  }
  // A name, after its length.
  std::string_view Name() { return Take(Number(jet3_ ? 1 : 2)); }
  // The lowest byte first.
  std::uint32_t Number(std::size_t size) {
    std::uint32_t number = 0;
    const std::string_view bytes = Take(size);
    for (std::size_t i = size; i > 0; --i) {
      number = number << 8 | static_cast<unsigned char>(bytes[i - 1]);
    }
    return number;
  }

 private:
  std::string_view bytes_;
  std::size_t at_;
  bool jet3_;
};

std::uint32_t NumberAt(std::string_view bytes, std::size_t at, std::size_t size = 4) {
  return Cursor(bytes, at).Number(size);
}

// A description goes over several pages, of which each names the next one.
std::string DescriptionBytes(MdbHandle* mdb, std::uint32_t page) {
  std::string bytes;
  for (std::size_t i = 0; page != 0; ++i) {
    const std::string_view part = PageBytes(mdb, page);
    if (i == kMostPages || part[0] != MDB_PAGE_TABLE) {
      throw Damaged("la sua descrizione è danneggiata");
    }
    bytes += part.substr(i == 0 ? 0 : 8);
    page = NumberAt(part, 4);
  }
  return bytes;
}

const MdbColumn& ColumnAt(const MdbTableDef& table, std::size_t i) {
  return *static_cast<MdbColumn*>(g_ptr_array_index(table.columns, i));
}

// Bytes in the fixed part of a row.
int FixedWidth(const MdbColumn& column) {
  if (column.col_type == MDB_BOOL) {
    return 0;
  }
  return column.col_size;
}

bool IsSound(const MdbColumn& column, bool jet3) {
  constexpr std::array<int, MDB_DATETIME + 1> kWidths = {0, 0, 1, 2, 4, 8, 4, 8, 8};
  constexpr int kLongestText = 510;
  constexpr int kMostDecimals = 28;
  switch (column.col_type) {
    case MDB_BOOL:
      return column.is_fixed != 0;
    case MDB_TEXT:
    case MDB_BINARY:
      return column.col_size <= kLongestText;
    case MDB_MEMO:
    case MDB_OLE:
      return column.is_fixed == 0 && (jet3 || column.col_size == 0);
    case MDB_NUMERIC:
      return DecimalsOf(column) <= kMostDecimals;
    default:
      return column.col_type < MDB_BOOL || column.col_type > MDB_DATETIME ||
             (column.is_fixed != 0 &&
              column.col_size == kWidths[static_cast<std::size_t>(column.col_type)]);
  }
}

// Of Jet 4: texts have an order in which they sort, and only they are compressed.
void CheckText(std::string_view column) {
  constexpr std::size_t kOrder = 11;
  constexpr std::size_t kCompressed = 16;
  const bool text = column[0] == MDB_TEXT || column[0] == MDB_MEMO;
  const bool binary = column[0] == MDB_BINARY || column[0] == MDB_OLE;
  if ((text && NumberAt(column, kOrder, 2) == 0) || (binary && (column[kCompressed] & 1) != 0)) {
    throw BadColumns();
  }
}

// Each column has its own number and its own place in the rows. Where none has
// ever been deleted they leave no gaps.
void CheckColumns(const MdbTableDef& table, const Definition& definition) {
  std::vector<int> numbers;
  std::vector<unsigned> variable;
  std::vector<std::pair<int, int>> fixed;
  for (std::size_t i = 0; i < table.num_cols; ++i) {
    const MdbColumn& column = ColumnAt(table, i);
    if (!IsSound(column, IS_JET3(table.entry->mdb))) {
      throw BadColumns();
    }
    numbers.push_back(column.col_num);
    if (column.is_fixed == 0) {
      variable.push_back(column.var_col_num);
    } else if (FixedWidth(column) > 0) {
      fixed.emplace_back(column.fixed_offset, FixedWidth(column));
    }
  }
  std::ranges::sort(variable);
  std::ranges::sort(fixed);
  const bool complete = definition.most_columns == static_cast<int>(table.num_cols);
  int end = 0;
  for (const auto& [offset, width] : fixed) {
    if (offset < end || (complete && offset != end)) {
      throw BadColumns();
    }
    end = offset + width;
  }
  // The library has sorted the numbers.
  if (std::ranges::adjacent_find(numbers) != numbers.end() ||
      std::ranges::adjacent_find(variable) != variable.end() ||
      numbers.back() >= definition.most_columns ||
      (!variable.empty() && static_cast<int>(variable.back()) >= definition.variable_count) ||
      (complete && static_cast<int>(variable.size()) != definition.variable_count)) {
    throw BadColumns();
  }
}

struct RealIndex {
  std::vector<std::uint8_t> columns;
  bool unique = false;
  bool named = false;
};

RealIndex ReadRealIndex(Cursor& cursor, const MdbTableDef& table, std::uint32_t page) {
  MdbHandle* const mdb = table.entry->mdb;
  RealIndex index;
  cursor.PassJet4(4);
  bool ended = false;
  for (int key = 0; key < MDB_MAX_IDX_COLS; ++key) {
    const std::uint32_t number = cursor.Number(2);
    cursor.Take(1);  // the direction
    if (number == 0xFFFF) {
      ended = true;
      continue;
    }
    // By its number, which isn't its place where a column before it was deleted.
    std::size_t i = 0;
    while (i < table.num_cols && ColumnAt(table, i).col_num != static_cast<int>(number)) {
      ++i;
    }
    const auto place = static_cast<std::uint8_t>(i);
    if (ended || i == table.num_cols || std::ranges::count(index.columns, place) > 0) {
      throw BadIndexes();
    }
    index.columns.push_back(place);
  }
  cursor.Take(4);  // its map
  const std::uint32_t root = cursor.Number(4);
  // Archives that other programs wrote may have none.
  if (root != 0) {
    const std::string_view bytes = PageBytes(mdb, root);
    if ((bytes[0] != MDB_PAGE_INDEX && bytes[0] != MDB_PAGE_LEAF) || NumberAt(bytes, 4) != page) {
      throw BadIndexes();
    }
  }
  cursor.PassJet4(4);
  index.unique = (cursor.Number(1) & MDB_IDX_UNIQUE) != 0;
  cursor.PassJet4(5);
  return index;
}

// The indexes that the user sees name the real ones by their places in that list. They have numbers
// of their own too, which grow whenever an index is made anew and mean nothing here.
void ReadIndexes(Cursor& cursor, const MdbTableDef& table, std::uint32_t page,
                 Definition& definition) {
  constexpr std::uint32_t kPrimary = 1;
  constexpr std::uint32_t kRelationship = 2;  // an index of its own or another one's second name
  std::vector<RealIndex> real;
  for (unsigned i = 0; i < table.num_real_idxs; ++i) {
    real.push_back(ReadRealIndex(cursor, table, page));
  }
  struct Named {
    std::size_t place = 0;
    std::uint32_t type = 0;
  };
  std::vector<Named> all;
  for (unsigned i = 0; i < table.num_idxs; ++i) {
    cursor.Take(4);
    cursor.PassJet4(4);
    Named named;
    named.place = cursor.Number(4);
    cursor.Take(5);
    const std::uint32_t other = cursor.Number(4);  // the related table's page
    cursor.Take(2);
    named.type = cursor.Number(1);
    cursor.PassJet4(4);
    if (named.place >= real.size() || named.type > kRelationship ||
        (named.type == kRelationship) != (other != 0)) {
      throw BadIndexes();
    }
    real[named.place].named = true;
    if (named.type == kPrimary && !real[named.place].unique) {
      throw BadIndexes();
    }
    all.push_back(named);
  }
  if (!std::ranges::all_of(real, &RealIndex::named)) {
    throw BadIndexes();
  }
  for (const Named& named : all) {
    const RealIndex& index = real[named.place];
    const std::string name = Decoded(table.entry->mdb, cursor.Name());
    if (named.type != kRelationship && !index.columns.empty()) {
      definition.indexes.push_back({name, index.unique, index.columns});
    }
  }
}

// After the indexes: the maps of the columns that have pages of their own.
void CheckEnd(Cursor& cursor, const MdbTableDef& table) {
  for (std::uint32_t number = cursor.Number(2); number != 0xFFFF; number = cursor.Number(2)) {
    cursor.Take(8);
    for (std::size_t i = 0; i < table.num_cols; ++i) {
      const MdbColumn& column = ColumnAt(table, i);
      if (column.col_num == static_cast<int>(number) && column.col_type != MDB_MEMO &&
          column.col_type != MDB_OLE) {
        throw Damaged("la sua descrizione è danneggiata");
      }
    }
  }
}

}  // namespace

std::string_view PageBytes(MdbHandle* mdb, std::uint32_t page) {
  if (mdb_read_alt_pg(mdb, page) != mdb->fmt->pg_size) {
    throw Damaged("una sua pagina è oltre la fine del file");
  }
  return {reinterpret_cast<const char*>(mdb->alt_pg_buf),
          static_cast<std::size_t>(mdb->fmt->pg_size)};
}

std::string Decoded(MdbHandle* mdb, std::string_view bytes) {
  if (!IS_JET3(mdb)) {
    return UnicodeText(bytes);
  }
  if (mdb->f->code_page == 0) {
    return CodePageText(bytes, kCodePage);
  }
  return CodePageText(bytes, mdb->f->code_page);
}

Definition ReadDefinition(const MdbTableDef& table, std::uint32_t page) {
  MdbHandle* const mdb = table.entry->mdb;
  const MdbFormatConstants& format = *mdb->fmt;
  const bool jet3 = IS_JET3(mdb);
  const std::string bytes = DescriptionBytes(mdb, page);
  Definition definition;
  Cursor head(bytes, format.tab_num_cols_offset - 5U);
  definition.of_user = head.Number(1) == 'N';
  definition.most_columns = static_cast<int>(head.Number(2));
  definition.variable_count = static_cast<int>(head.Number(2));
  CheckColumns(table, definition);

  Cursor cursor(bytes, format.tab_cols_start_offset, jet3);
  cursor.Take(std::size_t{table.num_real_idxs} * format.tab_ridx_entry_size);
  std::vector<std::pair<std::uint32_t, std::string>> names;
  for (unsigned i = 0; i < table.num_cols; ++i) {
    const std::string_view column = cursor.Take(format.tab_col_entry_size);
    if (!jet3) {
      CheckText(column);
    }
    names.emplace_back(NumberAt(column, format.col_num_offset, 1), "");
  }
  for (auto& [number, name] : names) {
    name = Decoded(mdb, cursor.Name());
  }
  std::ranges::sort(names);
  for (auto& [number, name] : names) {
    definition.names.push_back(std::move(name));
  }
  ReadIndexes(cursor, table, page, definition);
  if (!jet3) {
    CheckEnd(cursor, table);
  }
  return definition;
}

bool IsOdd(std::string_view name) {
  const std::u16string units = text::FromUtf8(name);
  const auto is_letter = [](char16_t c) { return (c | 0x20) >= u'a' && (c | 0x20) <= u'z'; };
  const bool latin = std::ranges::any_of(units, is_letter);
  return std::ranges::any_of(units, [latin](char16_t c) {
    const bool foreign = c >= 0x250 && (c < 0x2010 || c > 0x20CF);
    return text::IsControl(c) ||
           std::u16string_view(u".!`[]").find(c) != std::u16string_view::npos || (latin && foreign);
  });
}

int DecimalsOf(const MdbColumn& column) { return column.col_prec; }

bool DataPages(const MdbTableDef& table, std::vector<std::uint32_t>& pages) {
  MdbHandle* const mdb = table.entry->mdb;
  const std::string_view map(reinterpret_cast<const char*>(table.usage_map), table.map_sz);
  const auto add = [&pages](std::string_view bits, std::size_t first) {
    for (std::size_t i = 0; i < 8 * bits.size(); ++i) {
      if ((static_cast<unsigned char>(bits[i / 8]) >> i % 8 & 1) != 0) {
        pages.push_back(static_cast<std::uint32_t>(first + i));
      }
    }
  };
  if (map.size() < 5 || map[0] < 0 || map[0] > 1) {
    return false;
  }
  if (map[0] == 0) {
    add(map.substr(5), NumberAt(map, 1));
    return true;
  }
  // The bits are on pages of their own.
  const std::size_t each = 8 * (static_cast<std::size_t>(mdb->fmt->pg_size) - 4);
  for (std::size_t i = 0; 5 + 4 * i <= map.size(); ++i) {
    if (const std::uint32_t part = NumberAt(map, 1 + 4 * i); part != 0) {
      const std::string_view bytes = PageBytes(mdb, part);
      if (bytes[0] != MDB_PAGE_MAP) {
        return false;
      }
      add(bytes.substr(4), i * each);
    }
  }
  return true;
}

}  // namespace archivio::jet
