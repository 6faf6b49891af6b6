#include "archivio/jet/plan.h"

#include <algorithm>

#include "frame/schema.h"
#include "platform/text/text.h"

namespace archivio::jet {

namespace {

constexpr std::string_view kRecipients = "PERCPARCELLE";
constexpr std::string_view kCode = "CFP";

template <typename Items>
void CheckNames(const Items& items) {
  std::vector<std::u16string> names;
  names.reserve(items.size());
  for (const auto& item : items) {
    names.push_back(text::Upper(text::FromUtf8(item.name)));
  }
  std::ranges::sort(names);
  const auto bad = [](const std::u16string& name) {
    return name.empty() || name.find(u'\0') != name.npos;
  };
  if (std::ranges::any_of(names, bad) || std::ranges::adjacent_find(names) != names.end()) {
    throw Damaged("nomi di tabelle, colonne o indici doppi o non validi");
  }
}

std::string_view TypeName(Type type) {
  switch (type) {
    case Type::kText:
      return "TEXT";
    case Type::kInteger:
      return "INTEGER";
    case Type::kReal:
      return "REAL";
    case Type::kBinary:
      break;
  }
  return "BLOB";
}

bool HasColumn(const NewTable& table, std::string_view name) {
  return std::ranges::any_of(
      table.columns, [name](const NewColumn& column) { return SameName(column.name, name); });
}

// A row is addressed by the first of SQLite's names for its number that no column has. Where
// columns have all three, one of them gets another name.
void FreeRowNumber(NewTable& table, Findings& findings) {
  if (!HasColumn(table, "rowid") || !HasColumn(table, "oid") || !HasColumn(table, "_rowid_")) {
    return;
  }
  NewColumn* const column = &*std::ranges::find_if(
      table.columns, [](const NewColumn& c) { return SameName(c.name, "_rowid_"); });
  const std::string old_name = column->name;
  std::string name = old_name;
  for (int i = 1; HasColumn(table, name); ++i) {
    name = old_name + std::to_string(i);
  }
  column->name = name;
  findings.notes.push_back(table.Label() + "la colonna " + old_name + " si chiama ora " +
                           column->name +
                           ", perché i nomi rowid, oid e _rowid_ erano di tre colonne.");
}

NewTable PlanForeign(const OldTable& old, Findings& findings) {
  CheckNames(old.columns);
  CheckNames(old.indexes);
  NewTable table = {old.name, old.rows, old.columns.size()};
  for (const OldColumn& column : old.columns) {
    table.columns.push_back({column.name, TypeName(column.type)});
  }
  for (const OldIndex& index : old.indexes) {
    table.indexes.push_back(
        {old.name + "." + index.name, index.unique, {index.columns.begin(), index.columns.end()}});
  }
  FreeRowNumber(table, findings);
  return table;
}

// Plans a table of the program on what the old archive has of it.
class TablePlan {
 public:
  TablePlan(const archivio::Table& known, const OldTable& old, NewTable& table, Findings& findings)
      : known_(known), old_(old), table_(table), findings_(findings) {}

  void Run() {
    for (const archivio::Column& column : Columns(known_)) {
      if (column.needed) {
        PlanColumn(std::string(column.name));
      }
    }
    table_.indexes.clear();
    for (const archivio::Index& index : known_.indexes) {
      NewIndex planned = {table_.name + "." + std::string(index.name), index.use == Use::kUniqueKey,
                          Places(table_, index.columns)};
      if (index.use == Use::kOrder) {
        if (planned.columns.size() < Words(index.columns).size()) {
          continue;
        }
      } else {
        PlanKey(index, planned);
      }
      table_.indexes.push_back(std::move(planned));
    }
  }

 private:
  void PlanColumn(const std::string& name) {
    const std::vector<std::size_t> place = Places(table_, name);
    if (place.empty()) {
      findings_.texts.push_back(table_.Label() + "manca la colonna " + name + ".");
      findings_.hopeless |= known_.name == kRecipients && name == kCode;
      table_.columns.push_back({name, "TEXT"});
      return;
    }
    NewColumn& column = table_.columns[place.front()];
    if (column.type == "BLOB") {
      findings_.texts.push_back(table_.Label() + "la colonna " + name + " non è di tipo testo.");
    }
    column.type = "TEXT";
    column.program_text = true;
  }

  // `planned` begins with the columns that the program wants. After the first one others may
  // follow, as the old index has them, unless the first alone is to be unique. Where the program
  // doesn't know the columns any one may be the key.
  void PlanKey(const archivio::Index& index, NewIndex& planned) {
    const std::string label = "Indice " + std::string(index.name) + " della tabella " + table_.name;
    const auto old = std::ranges::find_if(
        old_.indexes, [&index](const OldIndex& i) { return SameName(i.name, index.name); });
    if (old == old_.indexes.end()) {
      findings_.texts.push_back(label + ": manca.");
    } else if (Needed(index.columns) && (old->columns.front() != planned.columns.front() ||
                                         (planned.unique && old->columns.size() > 1))) {
      findings_.texts.push_back(label + ": la chiave non è la colonna " +
                                std::string(index.columns) + ".");
    } else {
      planned.columns.assign(old->columns.begin(), old->columns.end());
    }
    if (planned.columns.empty()) {
      planned.columns = {0};
    }
    table_.columns[planned.columns.front()].ends_trimmed = true;
  }

  bool Needed(std::string_view name) const {
    return std::ranges::any_of(Columns(known_), [name](const archivio::Column& column) {
      return column.needed && column.name == name;
    });
  }

  const archivio::Table& known_;
  const OldTable& old_;
  NewTable& table_;
  Findings& findings_;
};

}  // namespace

std::vector<NewTable> Plan(const std::vector<OldTable>& old_tables,
                           const std::vector<std::string>& linked, Findings& findings) {
  CheckNames(old_tables);
  std::vector<NewTable> tables;
  for (const OldTable& old : old_tables) {
    if (text::Upper(text::FromUtf8(old.name)).starts_with(u"SQLITE_")) {
      throw Damaged("il nome " + old.name + " è riservato nel nuovo archivio");
    }
    tables.push_back(PlanForeign(old, findings));
  }
  for (const archivio::Table& known : Tables()) {
    const auto same = [&known](const std::string& name) { return SameName(name, known.name); };
    const auto old = std::ranges::find_if(old_tables, same, &OldTable::name);
    if (old != old_tables.end()) {
      TablePlan(known, *old, tables[static_cast<std::size_t>(old - old_tables.begin())], findings)
          .Run();
      continue;
    }
    tables.push_back(ProgramTable(known));
    std::string missing = tables.back().Label() + "manca";
    if (std::ranges::any_of(linked, same)) {
      missing += " (è collegata, le sue righe sono in un altro file)";
    }
    findings.texts.push_back(missing + ".");
    findings.hopeless |= known.name == kRecipients;
  }
  return tables;
}

}  // namespace archivio::jet
