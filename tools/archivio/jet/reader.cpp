#include "archivio/jet/reader.h"

#include <mdbtools.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>
#include <system_error>

#include "archivio/jet/definition.h"
#include "archivio/jet/values.h"
#include "platform/system/environment.h"
#include "platform/system/paths.h"

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
    definition_ = ReadDefinition(*table_, page);
  }

  const Definition& Description() const { return definition_; }
  std::uint32_t Rows() const { return table_->num_rows; }
  std::size_t Columns() const { return table_->num_cols; }
  const MdbColumn& ColumnAt(std::size_t i) const {
    return *static_cast<MdbColumn*>(g_ptr_array_index(table_->columns, i));
  }

  // Calls `on_row` with each row, and `on_damage` with what() of a Damaged that
  // the row or `on_row` throws. Returns how many pages weren't the table's, though
  // its map says so; without a map that makes sense all pages are looked at.
  template <typename OnRow, typename OnDamage>
  std::size_t ForEachRow(OnRow on_row, OnDamage on_damage) {
    std::vector<std::uint32_t> pages;
    const bool mapped = DataPages(*table_, pages);
    if (!mapped) {
      pages.resize(file_size_ / static_cast<std::size_t>(mdb_->fmt->pg_size));
      std::iota(pages.begin(), pages.end(), 0);
    }
    std::size_t foreign = 0;
    for (const std::uint32_t page : pages) {
      if (mdb_read_pg(mdb_, page) == 0 || mdb_->pg_buf[0] != MDB_PAGE_DATA ||
          Number(mdb_->pg_buf + 4) != entry_.table_pg) {
        ++foreign;
        continue;
      }
      const int rows = mdb_get_int16(mdb_->pg_buf, mdb_->fmt->row_count_offset);
      for (int row = 0; row < rows; ++row) {
        try {
          ReadRow(row, on_row);
        } catch (const Damaged& damage) {
          on_damage(damage.what());
        }
      }
    }
    if (!mapped) {
      return 1;
    }
    return foreign;
  }

  // Of the row at hand. A column that is younger than the row is Null, whatever
  // stands where its value would.
  bool IsNull(std::size_t i) const {
    return ColumnAt(i).col_num >= row_columns_ || fields_[i].is_null != 0;
  }
  const MdbField& Field(std::size_t i) const { return fields_[i]; }
  // 0 for Null.
  template <typename T>
  T Integer(std::size_t i) const {
    if (IsNull(i)) {
      return 0;
    }
    return Get<T>(fields_[i]);
  }
  std::string Text(std::size_t i) { return Decoded(mdb_, Bytes(fields_[i])); }
  std::string_view LongValue(std::size_t i);
  std::string Memo(std::size_t i) { return Decoded(mdb_, LongValue(i)); }

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
      // The library returns the place without its marks.
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
      throw BadForm();
    }
    row_columns_ = CountAt(start);
    CheckForm(start, size, count_size);
  }

  // A count in the current page.
  int CountAt(int at) const {
    if (IS_JET3(mdb_)) {
      return mdb_get_byte(mdb_->pg_buf, at);
    }
    return mdb_get_int16(mdb_->pg_buf, at);
  }

  // What the row says of itself: it has the first columns, of which each has its place.
  void CheckForm(int start, std::size_t size, std::size_t count_size) const {
    const std::size_t marks = (static_cast<std::size_t>(row_columns_) + 7) / 8;
    const bool has_variable = definition_.variable_count > 0;
    std::size_t counts = count_size;
    if (has_variable) {
      counts += count_size;
    }
    if (row_columns_ == 0 || row_columns_ > definition_.most_columns || marks + counts > size) {
      throw BadForm();
    }
    const int marks_at = start + static_cast<int>(size - marks);
    int variable_count = 0;
    if (has_variable) {
      variable_count = CountAt(marks_at - static_cast<int>(count_size));
    }
    int fixed_end = start + static_cast<int>(count_size);
    int variable_start = marks_at;
    for (std::size_t i = 0; i < Columns(); ++i) {
      const MdbColumn& column = ColumnAt(i);
      const bool young = column.col_num >= row_columns_;
      if (column.is_fixed == 0) {
        if ((static_cast<int>(column.var_col_num) >= variable_count) != young) {
          throw BadForm();
        }
        if (young) {
          continue;
        }
        // Null takes no room.
        if (fields_[i].siz < 0 || (fields_[i].is_null != 0 && fields_[i].siz > 0)) {
          throw BadForm();
        }
        variable_start = std::min(variable_start, fields_[i].start);
      } else if (!young && column.col_type != MDB_BOOL) {
        fixed_end = std::max(fixed_end, start + static_cast<int>(count_size) + column.fixed_offset +
                                            column.col_size);
      }
    }
    // Only with all columns, and none deleted, is it known where the fixed ones end.
    const bool all =
        row_columns_ == static_cast<int>(Columns()) && row_columns_ == definition_.most_columns;
    if (fixed_end > variable_start || (all && variable_count > 0 && fixed_end != variable_start)) {
      throw BadForm();
    }
  }

  static Damaged BadForm() { return Damaged("la sua forma non è valida"); }

  MdbHandle* mdb_;
  std::uintmax_t file_size_;
  MdbCatalogEntry entry_ = {};
  std::unique_ptr<MdbTableDef, FreeTable> table_;
  Definition definition_;
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
  const std::size_t link = chain ? 4 : 0;  // bytes in front of each part that point to the next one
  std::uint32_t pointer = Number(head + 4);
  long_value_.clear();
  while (long_value_.size() < size) {
    void* page = nullptr;
    int place = 0;
    std::size_t found = 0;
    if (pointer == 0 ||
        mdb_find_pg_row(mdb_, static_cast<int>(pointer), &page, &place, &found) != 0 ||
        found <= link || mdb_->alt_pg_buf[0] != MDB_PAGE_DATA ||
        (!IS_JET3(mdb_) && std::memcmp(mdb_->alt_pg_buf + 4, "LVAL", 4) != 0)) {
      throw Damaged("una parte di un testo lungo non si trova");
    }
    const unsigned char* const part = mdb_->alt_pg_buf + (place & kPlace);
    pointer = 0;
    if (chain) {
      pointer = Number(part);
    }
    long_value_.append(reinterpret_cast<const char*>(part + link),
                       std::min<std::size_t>(found - link, size - long_value_.size()));
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

// Of a column that isn't MDB_BOOL, in a row where it isn't Null.
void AddPresent(Sender& row, TableReader& table, std::size_t i) {
  using Kind = Value::Kind;
  const MdbColumn& column = table.ColumnAt(i);
  const MdbField& field = table.Field(i);
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
      row.Add(Kind::kText, DecimalText(Bytes(field), DecimalsOf(column)));
      break;
    case MDB_OLE:
      row.Add(Kind::kBinary, table.LongValue(i));
      break;
    default:
      row.Add(Kind::kBinary, Bytes(field));
      break;
  }
}

void AddValue(Sender& row, TableReader& table, std::size_t i) {
  if (table.ColumnAt(i).col_type == MDB_BOOL) {
    // It has no value but the mark that others have for Null.
    row.Add(static_cast<std::int64_t>(!table.IsNull(i)));
  } else if (table.IsNull(i)) {
    row.Null();
  } else {
    AddPresent(row, table, i);
  }
}

struct CatalogEntry {
  std::string name;
  std::int64_t type = 0;
  std::int64_t flags = 0;
  std::uint32_t id = 0;  // of a table: its page, and a byte that means nothing

  std::uint32_t Page() const { return id & 0xFFFFFF; }
};

// The library's own list loses entries whose rows have moved, and characters of their names.
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
  const std::size_t foreign = catalog.ForEachRow(
      [&, id = id, name = name, type = type, flags = flags] {
        CatalogEntry entry;
        if (!catalog.IsNull(name)) {
          entry.name = catalog.Text(name);
        }
        entry.type = catalog.Integer<std::int16_t>(type);
        entry.flags = catalog.Integer<std::uint32_t>(flags);
        entry.id = catalog.Integer<std::uint32_t>(id);
        entries.push_back(std::move(entry));
      },
      [](const char* damage) {
        throw Damaged(std::string("una riga dell'elenco delle tabelle: ") + damage);
      });
  if (foreign > 0 || entries.size() != catalog.Rows()) {
    sender.Send(Kind::kDoubt, "L'elenco delle tabelle non è intero.");
  }
  return entries;
}

// The catalogue doesn't count it as a table of the user, but its own description does.
bool IsHidden(const CatalogEntry& entry, MdbHandle* mdb) {
  const int kind_at = mdb->fmt->tab_num_cols_offset - 5;
  return (entry.type != MDB_TABLE || (entry.flags & kSystemFlags) != 0) &&
         PageBytes(mdb, entry.Page())[static_cast<std::size_t>(kind_at)] == 'N' &&
         !entry.name.starts_with("MSys");
}

// A table has one entry, and what has a table's page is a table.
void CheckCatalog(const std::vector<CatalogEntry>& entries, MdbHandle* mdb,
                  std::uintmax_t file_size, Sender& sender) {
  const std::uintmax_t pages = file_size / static_cast<std::uintmax_t>(mdb->fmt->pg_size);
  std::map<std::uint32_t, const CatalogEntry*> by_page;
  for (const CatalogEntry& entry : entries) {
    const bool has_page = entry.type == MDB_TABLE || (entry.id != 0 && entry.id < pages);
    if (!has_page) {
      continue;
    }
    const auto [other, is_first] = by_page.emplace(entry.Page(), &entry);
    if (!is_first) {
      sender.Send(Kind::kDoubt, "Le tabelle " + other->second->name + " e " + entry.name +
                                    " sono la stessa: una delle due è danneggiata.");
    } else if (PageBytes(mdb, entry.Page())[0] == MDB_PAGE_TABLE && IsHidden(entry, mdb)) {
      sender.Send(Kind::kDoubt,
                  "Tabella " + entry.name + ": l'elenco delle tabelle non la dice una tabella.");
    }
  }
}

void CheckNames(const OldTable& table, Sender& sender) {
  const auto check = [&](std::string_view what, const std::string& name) {
    if (IsOdd(name)) {
      sender.Send(Kind::kDoubt, "Tabella " + table.name + ": il nome " + std::string(what) + ' ' +
                                    name + " ha caratteri insoliti, forse è danneggiato.");
    }
  };
  check("della tabella", table.name);
  for (const OldColumn& column : table.columns) {
    check("della colonna", column.name);
  }
  for (const OldIndex& index : table.indexes) {
    check("dell'indice", index.name);
  }
}

OldTable Describe(const CatalogEntry& entry, TableReader& reader) {
  const Definition& definition = reader.Description();
  OldTable table = {entry.name, reader.Rows(), {}, definition.indexes};
  for (std::size_t i = 0; i < reader.Columns(); ++i) {
    table.columns.push_back({definition.names[i], TypeOf(reader.ColumnAt(i))});
  }
  return table;
}

void SendRows(TableReader& table, const std::string& name, Sender& sender) {
  sender.Send(Kind::kRows);
  sender.Flush();
  const std::size_t foreign = table.ForEachRow(
      [&] {
        sender.Begin();
        try {
          for (std::size_t i = 0; i < table.Columns(); ++i) {
            AddValue(sender, table, i);
          }
        } catch (const Damaged&) {
          sender.Drop();
          throw;
        }
        sender.End();
      },
      [&sender](const char* damage) { sender.Send(Kind::kBadRow, damage); });
  if (foreign > 0) {
    sender.Send(Kind::kDoubt,
                "Tabella " + name + ": pagine che non sono sue " + std::to_string(foreign) + ".");
  }
}

}  // namespace

void ReadArchive(const std::filesystem::path& file, Sender& sender) {
  // They would change how the library reads.
  for (const char* const name : {"MDBICONV", "MDB_JET3_CHARSET", "MDBOPTS", "MDBPATH"}) {
    sys::RemoveVariable(name);
  }
  const std::unique_ptr<MdbHandle, CloseFile> mdb(
      mdb_open(sys::PathBytes(file).c_str(), MDB_NOFLAGS));
  if (mdb == nullptr) {
    throw Damaged("il file non si apre");
  }
  std::error_code unknown;
  const std::uintmax_t file_size = std::filesystem::file_size(file, unknown);
  if (file_size % static_cast<std::uintmax_t>(mdb->fmt->pg_size) != 0) {
    sender.Send(Kind::kDoubt, "Il file non è intero: la sua ultima pagina è tagliata.");
  }
  const std::vector<CatalogEntry> entries = ReadCatalog(mdb.get(), file_size, sender);
  CheckCatalog(entries, mdb.get(), file_size, sender);
  std::vector<std::unique_ptr<TableReader>> readers;
  std::vector<std::string> names;
  for (const CatalogEntry& entry : entries) {
    if (entry.type == MDB_LINKED_TABLE || entry.type == kLinkedByDriver) {
      sender.Send(Kind::kLinked, entry.name);
    } else if (entry.type == MDB_TABLE && (entry.flags & kSystemFlags) == 0) {
      sender.Send(Kind::kAt, entry.name);
      sender.Flush();
      readers.push_back(std::make_unique<TableReader>(mdb.get(), entry.Page(), file_size));
      names.push_back(entry.name);
      const OldTable table = Describe(entry, *readers.back());
      CheckNames(table, sender);
      sender.SendTable(table);
    }
  }
  for (std::size_t t = 0; t < readers.size(); ++t) {
    SendRows(*readers[t], names[t], sender);
  }
}

}  // namespace archivio::jet
