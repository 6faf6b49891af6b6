#include "archivio/jet/reader.h"

#include <mdbtools.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <system_error>

#include "archivio/jet/values.h"

namespace archivio::jet {

namespace {

// Of a row's place on its page. A row that has moved leaves a pointer; where it
// went it is marked as deleted, so that it is met once.
constexpr int kDeleted = 0x8000;
constexpr int kPointer = 0x4000;
constexpr int kPlace = 0x1FFF;

constexpr std::uint32_t kCatalogPage = 2;
constexpr std::int64_t kSystemFlags = 0x80000002;
constexpr int kLinkedByDriver = 4;
constexpr int kMostColumns = 255;
constexpr int kCodePage = 1252;  // of a file that names none

struct CloseFile {
  void operator()(MdbHandle* mdb) const { mdb_close(mdb); }
};
struct FreeTable {
  void operator()(MdbTableDef* table) const { mdb_free_tabledef(table); }
};

std::uint32_t Number(const unsigned char* bytes) {
  return static_cast<std::uint32_t>(mdb_get_int32(const_cast<unsigned char*>(bytes), 0));
}

template <typename T>
T Get(const MdbField& field) {
  T number;
  if (field.siz < static_cast<int>(sizeof number)) {
    throw Damaged("un valore è più corto del suo tipo");
  }
  std::memcpy(&number, field.value, sizeof number);
  return number;
}

std::string_view Bytes(const MdbField& field) {
  if (field.siz < 0) {
    throw Damaged("un valore ha una lunghezza impossibile");
  }
  return {static_cast<const char*>(field.value), static_cast<std::size_t>(field.siz)};
}

// A table and its rows.
class TableReader {
 public:
  TableReader(MdbHandle* mdb, std::uint32_t page, std::uintmax_t file_size)
      : mdb_(mdb), file_size_(file_size) {
    entry_.mdb = mdb;
    entry_.object_type = MDB_TABLE;
    entry_.table_pg = page;
    table_.reset(mdb_read_table(&entry_));
    if (table_ == nullptr) {
      throw Damaged("la sua descrizione è danneggiata");
    }
    if (table_->num_cols == 0 || table_->num_cols > kMostColumns ||
        mdb_read_columns(table_.get()) == nullptr || table_->columns->len != table_->num_cols) {
      throw Damaged("le sue colonne sono danneggiate");
    }
    fields_.resize(kMostColumns + 1);
  }

  const MdbTableDef& Definition() const { return *table_; }
  std::size_t Columns() const { return table_->num_cols; }
  const MdbColumn& ColumnAt(std::size_t i) const {
    return *static_cast<MdbColumn*>(g_ptr_array_index(table_->columns, i));
  }

  std::vector<OldIndex> Indexes() {
    std::vector<OldIndex> indexes;
    mdb_read_indices(table_.get());  // its answer says nothing
    if (table_->indices == nullptr || table_->indices->len > kMostColumns) {
      throw Damaged("i suoi indici sono danneggiati");
    }
    for (guint i = 0; i < table_->indices->len; ++i) {
      const auto& found = *static_cast<MdbIndex*>(g_ptr_array_index(table_->indices, i));
      OldIndex index = {found.name, (found.flags & MDB_IDX_UNIQUE) != 0, {}};
      for (unsigned key = 0; key < std::min<unsigned>(found.num_keys, MDB_MAX_IDX_COLS); ++key) {
        const int column = found.key_col_num[key] - 1;
        if (column < 0 || column >= static_cast<int>(Columns())) {
          throw Damaged("i suoi indici sono danneggiati");
        }
        index.columns.push_back(static_cast<std::uint8_t>(column));
      }
      constexpr int kRelationship = 2;  // an index of its own or another one's second name
      if (found.index_type != kRelationship && !index.columns.empty()) {
        indexes.push_back(std::move(index));
      }
    }
    return indexes;
  }

  // Calls `on_row` with each row, and `on_damage` with what() of a Damaged that
  // the row or `on_row` throws.
  template <typename OnRow, typename OnDamage>
  void ForEachRow(OnRow on_row, OnDamage on_damage) {
    mdb_rewind_table(table_.get());
    while (mdb_read_next_dpg(table_.get()) != 0) {
      const int rows = mdb_get_int16(mdb_->pg_buf, mdb_->fmt->row_count_offset);
      for (int row = 0; row < rows; ++row) {
        try {
          ReadRow(row, on_row);
        } catch (const Damaged& damage) {
          on_damage(damage.what());
        }
      }
    }
  }

  // Of the row at hand. A column that is younger than the row is Null, whatever
  // stands where its value would.
  bool IsNull(std::size_t i) const {
    return ColumnAt(i).col_num >= row_columns_ || fields_[i].is_null != 0;
  }
  const MdbField& Field(std::size_t i) const { return fields_[i]; }
  std::string Text(std::size_t i) { return Decoded(Bytes(fields_[i])); }
  std::string_view LongValue(std::size_t i);
  std::string Memo(std::size_t i) { return Decoded(LongValue(i)); }

 private:
  template <typename OnRow>
  void ReadRow(int row, OnRow& on_row) {
    int start = 0;
    std::size_t size = 0;
    if (mdb_find_row(mdb_, row, &start, &size) != 0) {
      throw Damaged("non sta nella sua pagina");
    }
    if ((start & kDeleted) != 0 || size == 0) {
      return;
    }
    if ((start & kPointer) == 0) {
      Crack(start & kPlace, size);
      on_row();
      return;
    }
    // The library takes rows apart on its current page.
    const auto page = std::to_array(mdb_->pg_buf);
    try {
      if (FollowPointer(start & kPlace, size)) {
        on_row();
      }
    } catch (...) {
      std::memcpy(mdb_->pg_buf, page.data(), page.size());
      throw;
    }
    std::memcpy(mdb_->pg_buf, page.data(), page.size());
  }

  // False where the row isn't marked as moved: then it is met in its own place.
  bool FollowPointer(int start, std::size_t size) {
    constexpr int kMostMoves = 16;
    for (int moves = 0; moves < kMostMoves; ++moves) {
      void* page = nullptr;
      if (size < 4) {
        break;
      }
      const std::uint32_t pointer = Number(mdb_->pg_buf + start);
      if (mdb_find_pg_row(mdb_, static_cast<int>(pointer), &page, &start, &size) != 0 ||
          mdb_->alt_pg_buf[0] != MDB_PAGE_DATA || Number(mdb_->alt_pg_buf + 4) != entry_.table_pg) {
        break;
      }
      // The library gives the place without its marks.
      const int row = static_cast<int>(pointer & 0xFF);
      const int place = mdb_get_int16(mdb_->alt_pg_buf, mdb_->fmt->row_count_offset + 2 + 2 * row);
      if ((place & (kDeleted | kPointer)) == 0) {
        return false;
      }
      std::memcpy(mdb_->pg_buf, mdb_->alt_pg_buf, sizeof mdb_->pg_buf);
      start &= kPlace;
      if ((place & kPointer) == 0) {
        Crack(start, size);
        return true;
      }
    }
    throw Damaged("è stata spostata dove non si trova");
  }

  void Crack(int start, std::size_t size) {
    const std::size_t count_size = IS_JET3(mdb_) ? 1 : 2;
    if (size < count_size || mdb_crack_row(table_.get(), start, size, fields_.data()) < 0) {
      throw Damaged("la sua forma non è valida");
    }
    row_columns_ =
        IS_JET3(mdb_) ? mdb_get_byte(mdb_->pg_buf, start) : mdb_get_int16(mdb_->pg_buf, start);
  }

  std::string Decoded(std::string_view bytes) const {
    if (!IS_JET3(mdb_)) {
      return UnicodeText(bytes);
    }
    return CodePageText(bytes, mdb_->f->code_page != 0 ? mdb_->f->code_page : kCodePage);
  }

  MdbHandle* mdb_;
  std::uintmax_t file_size_;
  MdbCatalogEntry entry_ = {};
  std::unique_ptr<MdbTableDef, FreeTable> table_;
  std::vector<MdbField> fields_;
  int row_columns_ = 0;
  std::string long_value_;
};

// A memo or an OLE object: in the row, in one place elsewhere, or in a chain of
// places. The library's own reading doesn't notice when a part is missing.
std::string_view TableReader::LongValue(std::size_t i) {
  constexpr std::size_t kHead = 12;
  constexpr std::uint32_t kInRow = 0x80000000;
  constexpr std::uint32_t kInOnePlace = 0x40000000;
  const std::string_view bytes = Bytes(fields_[i]);
  if (bytes.empty()) {
    return bytes;
  }
  if (bytes.size() < kHead) {
    throw Damaged("un testo lungo è troncato");
  }
  const auto* const head = reinterpret_cast<const unsigned char*>(bytes.data());
  const std::uint32_t size = Number(head) & ~(kInRow | kInOnePlace);
  if ((Number(head) & kInRow) != 0) {
    if (size > bytes.size() - kHead) {
      throw Damaged("un testo lungo è troncato");
    }
    return bytes.substr(kHead, size);
  }
  if (size > file_size_) {
    throw Damaged("un testo lungo ha una lunghezza impossibile");
  }
  const bool chain = (Number(head) & kInOnePlace) == 0;
  std::uint32_t pointer = Number(head + 4);
  long_value_.clear();
  while (long_value_.size() < size) {
    void* page = nullptr;
    int place = 0;
    std::size_t found = 0;
    if (pointer == 0 ||
        mdb_find_pg_row(mdb_, static_cast<int>(pointer), &page, &place, &found) != 0 ||
        found <= (chain ? 4U : 0U) ||
        (!IS_JET3(mdb_) && std::memcmp(mdb_->alt_pg_buf + 4, "LVAL", 4) != 0)) {
      throw Damaged("una parte di un testo lungo non si trova");
    }
    const unsigned char* part = mdb_->alt_pg_buf + (place & kPlace);
    pointer = 0;
    if (chain) {
      pointer = Number(part);
      part += 4;
      found -= 4;
    }
    long_value_.append(reinterpret_cast<const char*>(part),
                       std::min<std::size_t>(found, size - long_value_.size()));
  }
  return long_value_;
}

Type TypeOf(const MdbColumn& column) {
  switch (column.col_type) {
    case MDB_BOOL:
    case MDB_BYTE:
    case MDB_INT:
    case MDB_LONGINT:
      return Type::kInteger;
    case MDB_FLOAT:
    case MDB_DOUBLE:
      return Type::kReal;
    case MDB_BINARY:
    case MDB_OLE:
      return Type::kBinary;
    case MDB_MONEY:
    case MDB_DATETIME:
    case MDB_TEXT:
    case MDB_MEMO:
    case MDB_REPID:
    case MDB_NUMERIC:
      return Type::kText;
    default:
      throw Damaged("la colonna " + std::string(column.name) + " è di un tipo sconosciuto");
  }
}

void AddValue(Sender& row, TableReader& table, std::size_t i) {
  const MdbColumn& column = table.ColumnAt(i);
  const MdbField& field = table.Field(i);
  if (column.col_type == MDB_BOOL) {
    // It has no value but the mark that others have for Null.
    row.Add(std::int64_t{table.IsNull(i) ? 0 : 1});
    return;
  }
  if (table.IsNull(i)) {
    row.Null();
    return;
  }
  using Kind = Value::Kind;
  switch (column.col_type) {
    case MDB_BYTE:
      row.Add(std::int64_t{Get<std::uint8_t>(field)});
      break;
    case MDB_INT:
      row.Add(std::int64_t{Get<std::int16_t>(field)});
      break;
    case MDB_LONGINT:
      row.Add(std::int64_t{Get<std::int32_t>(field)});
      break;
    case MDB_MONEY:
      row.Add(Kind::kText, MoneyText(Get<std::int64_t>(field)));
      break;
    case MDB_FLOAT:
      row.Add(static_cast<double>(Get<float>(field)));
      break;
    case MDB_DOUBLE:
      row.Add(Get<double>(field));
      break;
    case MDB_DATETIME:
      row.Add(Kind::kText, DateText(Get<double>(field)));
      break;
    case MDB_TEXT:
      row.Add(Kind::kText, table.Text(i));
      break;
    case MDB_MEMO:
      row.Add(Kind::kText, table.Memo(i));
      break;
    case MDB_REPID:
      row.Add(Kind::kText, IdentifierText(Bytes(field)));
      break;
    case MDB_NUMERIC:
      row.Add(Kind::kText, DecimalText(Bytes(field), column.col_scale));
      break;
    case MDB_OLE:
      row.Add(Kind::kBinary, table.LongValue(i));
      break;
    default:
      row.Add(Kind::kBinary, Bytes(field));
      break;
  }
}

struct CatalogEntry {
  std::string name;
  std::int64_t type = 0;
  std::int64_t flags = 0;
  std::uint32_t page = 0;
};

// The library's own list loses entries whose rows have moved, and characters of
// their names.
std::vector<CatalogEntry> ReadCatalog(MdbHandle* mdb, std::uintmax_t file_size, Sender& sender) {
  sender.Send(Kind::kAt, "MSysObjects");
  sender.Flush();
  TableReader catalog(mdb, kCatalogPage, file_size);
  constexpr std::array<std::pair<std::string_view, int>, 4> kNeeded = {
      {{"Id", MDB_LONGINT}, {"Name", MDB_TEXT}, {"Type", MDB_INT}, {"Flags", MDB_LONGINT}}};
  std::array<std::size_t, kNeeded.size()> places = {};
  for (std::size_t k = 0; k < kNeeded.size(); ++k) {
    std::size_t& i = places[k];
    while (i < catalog.Columns() && (catalog.ColumnAt(i).name != kNeeded[k].first ||
                                     catalog.ColumnAt(i).col_type != kNeeded[k].second)) {
      ++i;
    }
    if (i == catalog.Columns()) {
      throw Damaged("le sue colonne sono danneggiate");
    }
  }
  const auto [id, name, type, flags] = places;
  std::vector<CatalogEntry> entries;
  catalog.ForEachRow(
      [&, id = id, name = name, type = type, flags = flags] {
        constexpr std::uint32_t kPage = 0xFFFFFF;
        entries.push_back({catalog.IsNull(name) ? "" : catalog.Text(name),
                           catalog.IsNull(type) ? 0 : Get<std::int16_t>(catalog.Field(type)),
                           catalog.IsNull(flags) ? 0 : Get<std::uint32_t>(catalog.Field(flags)),
                           catalog.IsNull(id) ? 0 : Get<std::uint32_t>(catalog.Field(id)) & kPage});
      },
      [](const char* damage) {
        throw Damaged(std::string("una riga dell'elenco delle tabelle: ") + damage);
      });
  return entries;
}

OldTable Describe(const CatalogEntry& entry, TableReader& reader) {
  OldTable table = {entry.name, reader.Definition().num_rows, {}, reader.Indexes()};
  for (std::size_t i = 0; i < reader.Columns(); ++i) {
    table.columns.push_back({reader.ColumnAt(i).name, TypeOf(reader.ColumnAt(i))});
  }
  return table;
}

}  // namespace

void ReadArchive(const std::filesystem::path& file, Sender& sender) {
  // They would change what the library gives.
  for (const char* const name : {"MDBICONV", "MDB_JET3_CHARSET", "MDBOPTS", "MDBPATH"}) {
    unsetenv(name);
  }
  const std::unique_ptr<MdbHandle, CloseFile> mdb(mdb_open(file.c_str(), MDB_NOFLAGS));
  if (mdb == nullptr) {
    throw Damaged("il file non si apre");
  }
  std::error_code unknown;
  const std::uintmax_t file_size = std::filesystem::file_size(file, unknown);
  std::vector<std::unique_ptr<TableReader>> readers;
  for (const CatalogEntry& entry : ReadCatalog(mdb.get(), file_size, sender)) {
    if (entry.type == MDB_LINKED_TABLE || entry.type == kLinkedByDriver) {
      sender.Send(Kind::kLinked, entry.name);
    } else if (entry.type == MDB_TABLE && (entry.flags & kSystemFlags) == 0) {
      sender.Send(Kind::kAt, entry.name);
      sender.Flush();
      readers.push_back(std::make_unique<TableReader>(mdb.get(), entry.page, file_size));
      sender.SendTable(Describe(entry, *readers.back()));
    }
  }
  for (const std::unique_ptr<TableReader>& reader : readers) {
    sender.Send(Kind::kRows);
    sender.Flush();
    reader->ForEachRow(
        [&] {
          sender.Begin();
          try {
            for (std::size_t i = 0; i < reader->Columns(); ++i) {
              AddValue(sender, *reader, i);
            }
          } catch (const Damaged&) {
            sender.Drop();
            throw;
          }
          sender.End();
        },
        [&sender](const char* damage) { sender.Send(Kind::kBadRow, damage); });
  }
}

}  // namespace archivio::jet
