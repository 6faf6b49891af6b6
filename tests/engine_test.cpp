#include "platform/engine/engine.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <set>

#include "platform/text/text.h"

namespace engine {
namespace {

namespace fs = std::filesystem;
using Rows = std::vector<std::string>;

// SQLite itself, to prepare files and to look at what the engine has left.
class Sqlite {
 public:
  explicit Sqlite(const fs::path& file) { sqlite3_open(file.c_str(), &db_); }
  ~Sqlite() { sqlite3_close(db_); }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;

  int Try(const std::string& sql) {
    return sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr);
  }
  // The last column of the answer.
  Rows operator()(const std::string& sql) { return Query(db_, sql); }

  static Rows Query(sqlite3* db, const std::string& sql) {
    Rows rows;
    const auto add = [](void* out, int n, char** values, char**) {
      static_cast<Rows*>(out)->emplace_back(values[n - 1] != nullptr ? values[n - 1] : "NULL");
      return 0;
    };
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), add, &rows, &message), SQLITE_OK) << sql << message;
    sqlite3_free(message);
    return rows;
  }

 private:
  sqlite3* db_ = nullptr;
};

// The engine's own connection, and the statements begun on it.
struct Spy {
  sqlite3* db = nullptr;
  Rows begun;

  long Begun(const std::string& part) const {
    return std::count_if(begun.begin(), begun.end(),
                         [&](const auto& sql) { return sql.find(part) != sql.npos; });
  }
};
Spy* spy = nullptr;

int Watch(sqlite3* db, const char**, const sqlite3_api_routines*) {
  if (spy != nullptr) {
    spy->db = db;
    const auto note = [](unsigned, void* context, void*, void* sql) {
      static_cast<Spy*>(context)->begun.emplace_back(static_cast<const char*>(sql));
      return 0;
    };
    sqlite3_trace_v2(db, SQLITE_TRACE_STMT, note, spy);
  }
  return 0;
}

constexpr char kSchema[] =
    "CREATE TABLE T (ID TEXT, CFP TEXT COLLATE RTRIM, NOME TEXT DEFAULT 'x', SIGLA TEXT);"
    "CREATE INDEX \"T.CHIAVE\" ON T (CFP);"
    "CREATE UNIQUE INDEX \"T.CHIAVE1\" ON T (ID);"
    "CREATE INDEX \"T.CHIAVE2\" ON T (NOME, ID);"
    "CREATE INDEX \"T.CHIAVE3\" ON T (CFP) WHERE ID > 'a';"
    "CREATE VIEW V AS SELECT * FROM T;";

class Engine : public testing::Test {
 protected:
  Engine() {
    // In memory where that can be: each write here waits for the disk.
    const fs::path memory = "/dev/shm";
    const bool usable = access(memory.c_str(), W_OK) == 0;
    std::string name = (usable ? memory : fs::temp_directory_path()) / "engine_test.XXXXXX";
    folder_ = mkdtemp(name.data());
    file_ = folder_ / "A.MDB";
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(&Watch));
    Sqlite{file_}(kSchema);
  }
  ~Engine() override {
    spy = nullptr;
    fs::remove_all(folder_);
  }

  Database Open() {
    spy = &spy_;
    Database database = OpenDatabase(text::FromUtf8(file_.string()));
    spy = nullptr;
    return database;
  }
  // Rows with the IDs 1, 2, ... and these keys.
  void Fill(const std::vector<std::string>& keys) {
    std::string sql = "BEGIN;";
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const std::string key = keys[i] == "NULL" ? keys[i] : "'" + keys[i] + "'";
      sql += "INSERT INTO T (ID, CFP) VALUES ('" + std::to_string(i + 1) + "', " + key + ");";
    }
    Sqlite{file_}(sql + "COMMIT;");
  }
  static std::string Id(Recordset& recordset) {
    return text::ToUtf8(recordset.Fields(u"id").Text());
  }
  static Rows Walk(Recordset& recordset) {
    Rows ids;
    for (recordset.MoveFirst(); !recordset.Eof(); recordset.MoveNext()) {
      ids.push_back(Id(recordset));
    }
    return ids;
  }
  // Number and text of the failure; 0 when there is none.
  static std::pair<int, std::string> Failure(const std::function<void()>& action) {
    try {
      action();
    } catch (const Error& error) {
      EXPECT_EQ(error.what(), text::ToUtf8(error.Text()));
      return {error.Number(), error.what()};
    }
    return {0, ""};
  }

  fs::path folder_;
  fs::path file_;
  Spy spy_;
};

TEST_F(Engine, KeysMatchWhateverBlanksFillThem) {
  Database database = Open();
  Recordset table = database.OpenRecordset(u"t");
  table.Index(u"chiave");
  const struct {
    std::u16string stored, sought;
    bool match;
  } cases[] = {{u"12345678901", u"12345678901     ", true},
               {u"12345678901     ", u"12345678901", true},
               {u"12345678901  ", u"12345678901     ", true},
               {u"D'ALI'", u"D'ALI'  ", true},
               {u"  X", u"X", false},
               {u"x", u"X", false},
               {u"X\t", u"X", false},
               {u"", u"   ", true},
               {u"NICCOLÒ \U0001F600", u"NICCOLÒ \U0001F600 ", true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(text::ToUtf8(c.stored + u"|" + c.sought));
    table.AddNew();
    table.Fields(u"CFP").Set(c.stored);
    table.Update();
    table.Seek(u"=", c.sought);
    EXPECT_EQ(table.NoMatch(), !c.match);
    const std::u16string condition = u" where  CFP = '" + Quoted(c.sought) + u"'";
    Recordset query = database.OpenRecordset(u"Select * From T" + condition);
    EXPECT_EQ(query.RecordCount(), c.match);
    database.Execute(u"DELETE\t*  from T" + condition);
    EXPECT_EQ(table.RecordCount(), !c.match);
    database.Execute(u"delete * from T");
  }
}

TEST_F(Engine, TextsThatAreNotText) {
  Fill({"A"});
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  const std::u16string odd = {u'A', 0, 0xD800, u'B', 0xDC00};
  table.Edit();
  table.Fields(u"CFP").Set(odd);
  table.Update();
  const std::u16string stored = {u'A', 0, 0xFFFD, u'B', 0xFFFD};
  EXPECT_EQ(table.Fields(u"CFP").Get(), stored);
  table.Seek(u"=", odd);
  EXPECT_FALSE(table.NoMatch());
  Rest();
  Sqlite{file_}("UPDATE T SET CFP = CAST(x'41FF' AS TEXT), NOME = x'', SIGLA = 12");
  table.MoveFirst();
  EXPECT_EQ(table.Fields(u"CFP").View(), u"A\xFFFD");
  EXPECT_EQ(table.Fields(u"NOME").View(), u"");
  EXPECT_EQ(table.Fields(u"SIGLA").View(), u"12");
  const std::u16string cut = std::u16string(u"delete * from T where CFP = 'A") + u'\0' + u"'";
  EXPECT_EQ(Failure([&] { database.Execute(cut); }).first, kSyntax);
}

// Every state of a walk against a plain list that does the same.
TEST_F(Engine, TableWalksLikeAList) {
  for (const unsigned seed : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U}) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto pick = [&](std::size_t n) { return random() % n; };
    const std::vector<std::string> keys = {"NULL", "A", "A ", "B", "BB  ", "C", "È"};
    std::vector<std::string> filled;
    for (std::size_t n = seed == 1 ? 1 : 30; n > 0; --n) {
      filled.push_back(keys[pick(keys.size())]);
    }
    Sqlite sqlite(file_);
    sqlite("DELETE FROM T");
    Fill(filled);
    Database database = Open();
    Recordset table = database.OpenRecordset(u"T");
    const char* const order[] = {" ORDER BY rowid", " ORDER BY CFP, rowid", " ORDER BY ID"};
    const std::size_t path = seed % 3;
    if (path != 0) {
      table.Index(path == 1 ? u"CHIAVE" : u"CHIAVE1");
    }
    const auto list = [&] { return sqlite(std::string("SELECT ID FROM T") + order[path]); };

    Rows ids = list();
    long at = 0;       // -1 before the first row, ids.size() behind the last
    bool gap = false;  // the row that stood before `at` has been deleted
    for (int step = 0; step < 400 && !ids.empty(); ++step) {
      const std::size_t action = pick(12);
      const bool on_row = !gap && at >= 0 && at < std::ssize(ids);
      const std::string key = keys[pick(keys.size())];
      const Value value = key == "NULL" ? Value() : text::FromUtf8(key);
      if (action < 4 && (gap || at < std::ssize(ids))) {
        table.MoveNext();
        at += gap ? 0 : 1;
        gap = false;
      } else if (action >= 4 && action < 7 && (gap || at >= 0)) {
        table.MovePrevious();
        --at;
        gap = false;
      } else if (action == 7) {
        Rest();
      } else if (action == 8 && on_row) {
        const std::string id = ids[static_cast<std::size_t>(at)];
        table.Edit();
        table.Fields(u"CFP").Set(value);
        table.Update();
        ids = list();
        at = std::find(ids.begin(), ids.end(), id) - ids.begin();
      } else if (action == 9 && on_row && pick(3) == 0) {
        table.Delete();
        EXPECT_EQ(Failure([&] { table.Delete(); }).first, kNoCurrentRow);
        ids = list();
        gap = true;
      } else if (action == 10) {
        table.MoveFirst();
        at = 0;
        gap = false;
      } else if (action == 11 && path == 1) {
        const Rows found = sqlite("SELECT ID FROM T WHERE CFP IS " +
                                  (value ? "'" + key + "'" : key) + " ORDER BY rowid");
        table.Seek(u"=", value);
        ASSERT_EQ(table.NoMatch(), found.empty());
        if (found.empty()) {
          EXPECT_EQ(Failure([&] { table.MoveNext(); }).first, kNoCurrentRow);
          table.MoveFirst();
        }
        at = found.empty() ? 0 : std::find(ids.begin(), ids.end(), found[0]) - ids.begin();
        gap = false;
      }
      ASSERT_EQ(table.Bof(), !gap && at < 0) << step;
      ASSERT_EQ(table.Eof(), !gap && at >= std::ssize(ids)) << step;
      if (!gap && at >= 0 && at < std::ssize(ids)) {
        ASSERT_EQ(Id(table), ids[static_cast<std::size_t>(at)]) << step;
      } else {
        ASSERT_EQ(Failure([&] { Id(table); }).first, kNoCurrentRow);
        if (!gap) {
          ASSERT_EQ(Failure([&] { at < 0 ? table.MovePrevious() : table.MoveNext(); }).first,
                    kNoCurrentRow);
        }
      }
    }
    EXPECT_EQ(table.RecordCount(), ids.empty() ? 0 : 1);
    EXPECT_EQ(Walk(table), ids);
    Rows backward;
    while (!table.Bof()) {
      table.MovePrevious();
      if (!table.Bof()) {
        backward.insert(backward.begin(), Id(table));
      }
    }
    EXPECT_EQ(backward, ids);
  }
}

TEST_F(Engine, ReadingGoesThroughTheIndex) {
  Fill({"NULL", "A", "A", "B"});
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  for (const char16_t* index : {u"", u"CHIAVE", u"CHIAVE1"}) {
    if (*index != 0) {
      table.Index(index);
      table.Seek(u"=", u"A");
    }
    for (const bool rest : {false, true}) {
      for (table.MoveFirst(); !table.Eof(); table.MoveNext(), rest ? Rest() : void()) {
      }
      for (table.MovePrevious(); !table.Bof(); table.MovePrevious(), rest ? Rest() : void()) {
      }
    }
  }
  database.OpenRecordset(u"SELECT * FROM T WHERE CFP = 'A  '").MoveFirst();
  database.OpenRecordset(u"SELECT * FROM T  order by cfp").MoveFirst();
  database.Execute(u"delete * from T where  CFP = 'A  '");
  Sqlite sqlite(file_);
  std::set<std::string> seen;
  for (const std::string& sql : spy_.begun) {
    if (sql.find("\"T\"") == sql.npos || !seen.insert(sql).second) {
      continue;
    }
    for (const std::string& plan : sqlite("EXPLAIN QUERY PLAN " + sql)) {
      EXPECT_EQ(plan.find("B-TREE"), plan.npos) << sql << ": " << plan;
      const bool narrowed = plan.starts_with("SEARCH T USING I");
      const bool whole_walk =
          plan == "SCAN T" ? sql.find("ORDER BY rowid") != sql.npos && sql.find("WHERE") == sql.npos
                           : plan.starts_with("SCAN T USING INDEX T.") &&
                                 (sql.find("WHERE") == sql.npos || sql.ends_with("rowid"));
      EXPECT_TRUE(narrowed || whole_walk) << sql << ": " << plan;
      if (sql.find("rowid >") != sql.npos || sql.find("rowid <") != sql.npos) {
        EXPECT_NE(plan.find("rowid"), plan.npos) << "meets all equal keys: " << plan;
      }
    }
  }
  EXPECT_GE(seen.size(), 15U);
}

TEST_F(Engine, NothingIsReadTwiceNorTooEarly) {
  Fill({"A", "B", "C", "D"});
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  Recordset query = database.OpenRecordset(u"SELECT * FROM T ORDER BY ID");
  const auto rows_read = [&] { return spy_.Begun("SELECT rowid"); };
  EXPECT_EQ(rows_read(), 0);
  EXPECT_EQ(query.RecordCount(), 1);
  EXPECT_EQ(Walk(query), (Rows{"1", "2", "3", "4"}));
  EXPECT_EQ(rows_read(), 1);
  EXPECT_EQ(Walk(table), (Rows{"1", "2", "3", "4"}));
  EXPECT_EQ(rows_read(), 2);
}

// An Update moves the row along the very column that the query filters and
// sorts by.
TEST_F(Engine, RewritingMeetsEachRowOnce) {
  Fill(std::vector<std::string>(100, "OLD"));
  Database database = Open();
  for (const auto& [text, key] : {std::pair(u"SELECT * FROM T WHERE CFP = 'OLD   '", u"NEW"),
                                  std::pair(u"SELECT * FROM T ORDER BY CFP", u"ZZZ"),
                                  std::pair(u"SELECT * FROM T ORDER BY CFP", u"AAA")}) {
    spy_.begun.clear();
    Recordset query = database.OpenRecordset(text);
    std::multiset<std::string> met;
    database.BeginTrans();
    while (!query.Eof()) {
      met.insert(met.size() % 50 == 0 ? Id(query) : "unread");
      query.Edit();
      query.Fields(u"CFP").Set(key);
      query.Update();
      query.MoveNext();
    }
    database.CommitTrans();
    EXPECT_EQ(met.size(), 100U);
    EXPECT_EQ(spy_.Begun("UPDATE"), 100);
    EXPECT_LE(spy_.begun.size(), 110U);
    EXPECT_EQ(Sqlite{file_}("SELECT DISTINCT CFP FROM T"), Rows{text::ToUtf8(key)});
  }
}

TEST_F(Engine, QueryKeepsItsRows) {
  Fill({"A", "B", "C", "D", "E"});
  Database database = Open();
  Recordset query = database.OpenRecordset(u"SELECT * FROM T ORDER BY CFP");
  query.MoveNext();
  EXPECT_EQ(Id(query), "2");
  database.Execute(u"delete * from T where ID = '4'");
  EXPECT_EQ(Id(query), "2");
  query.Delete();
  query.MovePrevious();
  EXPECT_EQ(Id(query), "1");
  query.MoveNext();
  EXPECT_EQ(Id(query), "3");
  Rest();
  query.MoveNext();
  EXPECT_EQ(Failure([&] { Id(query); }).first, kRowGone);
  query.Edit();
  query.Fields(u"CFP").Set(u"X");
  EXPECT_EQ(Failure([&] { query.Update(); }).first, kRowGone);
  EXPECT_EQ(Failure([&] { query.Delete(); }).first, kRowGone);
  query.MoveNext();
  EXPECT_EQ(Id(query), "5");
  query.MoveNext();
  EXPECT_TRUE(query.Eof());
  query.MovePrevious();
  EXPECT_EQ(Id(query), "5");
  for (query.MoveFirst(); !query.Eof(); query.MoveNext()) {
    Failure([&] { query.Delete(); });
  }
  query.MoveFirst();  // to the row that Execute has deleted
  query.MoveNext();
  EXPECT_TRUE(query.Eof());
  EXPECT_EQ(Sqlite{file_}("SELECT ID FROM T"), Rows{});
  Recordset none = database.OpenRecordset(u"SELECT * FROM T ORDER BY CFP");
  EXPECT_TRUE(none.Bof() && none.Eof());
  none.MoveFirst();
  EXPECT_EQ(none.RecordCount(), 0);
}

TEST_F(Engine, ChangesAreWrittenByUpdateAlone) {
  Fill({"A", "B"});
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  const auto stored = [&] {
    return Sqlite{file_}("SELECT printf('%s.%s.%s', ID, CFP, NOME) FROM T ORDER BY ID");
  };
  EXPECT_EQ(Failure([&] { table.Fields(u"CFP").Set(u"X"); }).first, kNotEditing);
  EXPECT_EQ(Failure([&] { table.Update(); }).first, kNotEditing);
  table.Edit();
  table.Fields(u"CFP").Set(u"X");
  EXPECT_EQ(table.Fields(u"cfp").Text(), u"X");
  EXPECT_EQ(table.Fields(u"ID").Text(), u"1");
  table.MoveNext();
  EXPECT_EQ(Failure([&] { table.Update(); }).first, kNotEditing);
  EXPECT_EQ(stored(), (Rows{"1.A.x", "2.B.x"}));

  table.AddNew();
  EXPECT_EQ(table.Fields(u"CFP").Get(), std::nullopt);
  EXPECT_EQ(table.Fields(u"CFP").View(), u"");
  table.Fields(u"ID").Set(u"3");
  table.Update();
  EXPECT_EQ(Id(table), "2");
  table.Seek(u"=", std::nullopt);
  EXPECT_EQ(Id(table), "3");
  table.Edit();
  table.Fields(u"CFP").Set(u"A1");
  table.Fields(u"NOME").Set(std::nullopt);
  table.Update();
  table.MoveNext();
  EXPECT_EQ(Id(table), "2");
  EXPECT_EQ(stored(), (Rows{"1.A.x", "2.B.x", "3.A1."}));

  // A failure changes nothing and leaves the change open for another try.
  table.Edit();
  table.Fields(u"ID").Set(u"1");
  const auto [number, message] = Failure([&] { table.Update(); });
  EXPECT_EQ(number, kDuplicateKey);
  EXPECT_NE(message.find("tabella T "), message.npos);
  table.Fields(u"ID").Set(u"4");
  table.Update();
  EXPECT_EQ(Id(table), "4");

  Sqlite::Query(spy_.db, "PRAGMA max_page_count = 1");
  table.AddNew();
  table.Fields(u"NOME").Set(std::u16string(100000, u'x'));
  EXPECT_EQ(Failure([&] { table.Update(); }).first, kDiskFull);
  EXPECT_NE(sqlite3_get_autocommit(spy_.db), 0);
  EXPECT_EQ(stored(), (Rows{"1.A.x", "3.A1.", "4.B.x"}));
  Sqlite::Query(spy_.db, "PRAGMA max_page_count = 10000");
  table.Update();
  EXPECT_EQ(stored().size(), 4U);
}

TEST_F(Engine, FailuresBearTheirNumbersAndNames) {
  std::ofstream(folder_ / "zero.mdb");
  std::ofstream(folder_ / "text.mdb") << std::string(5000, 'x');
  fs::copy(file_, folder_ / "cut.mdb");
  fs::resize_file(folder_ / "cut.mdb", 6000);
  const auto open = [&](const char* name) {
    OpenDatabase(text::FromUtf8((folder_ / name).string()));
  };
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  Recordset query = database.OpenRecordset(u"SELECT * FROM T");
  Database closed = Open();
  Recordset orphan = closed.OpenRecordset(u"T");
  Recordset copy = orphan;
  closed.Close();
  Recordset dropped = Open().OpenRecordset(u"T");
  const auto sql = [&](const char16_t* text) {
    return [&, text] { database.OpenRecordset(text); };
  };
  const auto run = [&](const char16_t* text) { return [&, text] { database.Execute(text); }; };
  const struct {
    std::function<void()> action;
    int number;
    const char* named;
  } cases[] = {
      {[&] { open("none.mdb"); }, kNotFound, "none.mdb"},
      {[&] { OpenDatabase(u""); }, kNotFound, ""},
      {[&] { open("zero.mdb"); }, kNotADatabase, "zero.mdb"},
      {[&] { open("text.mdb"); }, kNotADatabase, "text.mdb"},
      {[&] { open("cut.mdb"); }, kNotADatabase, "cut.mdb"},
      {[&] { open("."); }, kIo, ""},
      {sql(u"MANCA"), kNoTable, "MANCA"},
      {sql(u"V"), kNoTable, "V"},
      {sql(u"SELECT * FROM MANCA"), kNoTable, "A.MDB"},
      {run(u"delete * from MANCA"), kNoTable, "A.MDB"},
      {[&] { table.Index(u"CHIAVE9"); }, kNoIndex, "CHIAVE9"},
      {[&] { table.Index(u"CHIAVE2"); }, kNoIndex, "Tabella T"},
      {[&] { table.Index(u"CHIAVE3"); }, kNoIndex, "Tabella T"},
      {[&] { table.Seek(u"=", u"A"); }, kNoIndex, "Tabella T"},
      {[&] { table.Seek(u">", u"A"); }, kOther, ">"},
      {[&] { query.Index(u"CHIAVE"); }, kOther, ""},
      {[&] { table.Fields(u"APARC_10"); }, kNoColumn, "APARC_10"},
      {[&] { table.Fields(u"rowid"); }, kNoColumn, "Tabella T"},
      {[&] { table.Edit(); }, kNoCurrentRow, "Tabella T"},
      {[&] { Recordset().Close(); }, kNoObject, ""},
      {[&] { Recordset().NoMatch(); }, kNoObject, ""},
      {[&] { Database().Close(); }, kNoObject, ""},
      {[&] { closed.Close(); }, kClosed, ""},
      {[&] { closed.OpenRecordset(u"T"); }, kClosed, ""},
      {[&] { orphan.MoveNext(); }, kClosed, ""},
      {[&] { copy.Close(); }, kClosed, ""},
      {[&] { dropped.MoveFirst(); }, 0, ""},
      {[&] { dropped.Close(), dropped.Close(); }, kClosed, ""},
  };
  for (const auto& c : cases) {
    const auto [number, text] = Failure(c.action);
    EXPECT_EQ(number, c.number) << &c - cases << " " << text;
    EXPECT_NE(text.find(c.named), text.npos) << text;
  }
  for (const char16_t* text :
       {u"", u"T U", u"SELECT ID FROM T", u"SELECT * FROM T, T", u"SELECT * FROM T WHERE",
        u"SELECT * FROM T WHERE CFP = 'D'A'", u"SELECT * FROM T WHERE CFP = \"A\"",
        u"SELECT * FROM T WHERE 1; DROP TABLE T"}) {
    EXPECT_EQ(Failure([&] { database.OpenRecordset(text); }).first, kSyntax) << text::ToUtf8(text);
  }
  for (const char16_t* text : {u"", u"delete from T", u"update T set ID = 1", u"SELECT * FROM T",
                               u"delete * from T order by 1"}) {
    EXPECT_EQ(Failure([&] { database.Execute(text); }).first, kSyntax) << text::ToUtf8(text);
  }
}

TEST_F(Engine, FileIsWholeAtRest) {
  Fill({"A", "B", "C"});
  ASSERT_EQ(Sqlite{file_}("PRAGMA journal_mode=WAL"), Rows{"wal"});
  Database database = Open();
  const std::pair<const char*, const char*> settings[] = {
      {"journal_mode", "delete"}, {"synchronous", "3"},    {"temp_store", "2"},
      {"busy_timeout", "5000"},   {"trusted_schema", "0"},
  };
  for (const auto& [name, value] : settings) {
    EXPECT_EQ(Sqlite::Query(spy_.db, std::string("PRAGMA ") + name), Rows{value}) << name;
  }
  Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  Recordset query = database.OpenRecordset(u"SELECT * FROM T ORDER BY CFP");
  Database twin = Open();
  Recordset reader = twin.OpenRecordset(u"T");
  Sqlite other(file_);
  const auto lock = [&] {
    const int code = other.Try("BEGIN EXCLUSIVE");
    other.Try("ROLLBACK");
    return code;
  };
  table.MoveNext();
  query.MoveNext();
  reader.MoveNext();
  EXPECT_EQ(lock(), SQLITE_BUSY);
  Rest();
  EXPECT_EQ(lock(), SQLITE_OK);
  // A reader of this process doesn't keep it from writing.
  reader.MoveNext();
  query.Edit();
  query.Fields(u"NOME").Set(u"new");
  query.Update();
  EXPECT_EQ(other("SELECT NOME FROM T WHERE ID = 2"), Rows{"new"});
  EXPECT_EQ(lock(), SQLITE_OK);
  EXPECT_EQ(Id(table) + Id(query) + Id(reader), "223");
  Rest();
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1);
}

TEST_F(Engine, WaitsForAnotherLockThenFails) {
  Fill({"A", "B"});
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  Sqlite other(file_);
  EXPECT_EQ(Id(table), "1");
  table.Edit();
  table.Fields(u"CFP").Set(u"Z");
  other("BEGIN IMMEDIATE");
  const auto start = std::chrono::steady_clock::now();
  const auto [number, text] = Failure([&] { table.Update(); });
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(number, kLocked);
  EXPECT_NE(text.find("A.MDB"), text.npos);
  EXPECT_GT(waited.count(), 4.5);
  EXPECT_LT(waited.count(), 9);
  other("ROLLBACK");
  table.Update();
  EXPECT_EQ(other("SELECT CFP FROM T WHERE ID = 1"), Rows{"Z"});
}

TEST_F(Engine, ReadOnlyFileOrFolderFailsAtOpening) {
  const bool root = geteuid() == 0;
  const auto open_with = [&](fs::perms folder, fs::perms file) {
    fs::permissions(folder_, folder);
    fs::permissions(file_, file);
    // Nothing is read-only for root.
    if (root && seteuid(65534) != 0) {
      return -1;
    }
    const int number = Failure([&] { Open(); }).first;
    return root && seteuid(0) != 0 ? -1 : number;
  };
  EXPECT_EQ(open_with(fs::perms::all, fs::perms(0444)), kReadOnly);
  EXPECT_EQ(open_with(fs::perms(0555), fs::perms::all), kReadOnly);
  EXPECT_EQ(open_with(fs::perms::all, fs::perms::all), 0);
}

}  // namespace
}  // namespace engine
