#include "platform/engine/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <sstream>

#include "files.h"
#include "platform/text/text.h"

namespace engine {
namespace {

namespace fs = std::filesystem;
using Rows = std::vector<std::string>;

// The engine's own connection, and the statements begun on it.
struct Spy {
  sqlite3* db = nullptr;
  Rows begun;

  long Begun(const std::string& part) const {
    return std::ranges::count_if(begun,
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

std::string Id(Recordset& recordset) { return text::ToUtf8(recordset.Fields(u"id").Text()); }

Rows Walk(Recordset& recordset, void (Recordset::*move)(), bool (Recordset::*end)()) {
  Rows ids;
  for (; !(recordset.*end)(); (recordset.*move)()) {
    ids.push_back(Id(recordset));
  }
  return ids;
}

// The columns set, in an edit of their own.
void Change(Recordset& recordset, std::vector<std::pair<const char16_t*, Value>> columns) {
  recordset.Edit();
  for (const auto& [name, value] : columns) {
    recordset.Fields(name).Set(value);
  }
  recordset.Update();
}

// Number and text of the failure; 0 when there is none.
std::pair<int, std::string> Failure(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    EXPECT_EQ(error.what(), text::ToUtf8(error.Text()));
    return {error.Number(), error.what()};
  }
  return {0, ""};
}
int Number(const std::function<void()>& action) { return Failure(action).first; }

class Engine : public testing::Test {
 protected:
  Engine() {
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(&Watch));
    Sql(file_,
        "CREATE TABLE T (ID TEXT, CFP TEXT COLLATE RTRIM, NOME TEXT DEFAULT 'x', SIGLA TEXT);"
        "CREATE INDEX \"T.CHIAVE\" ON T (CFP); CREATE UNIQUE INDEX \"T.CHIAVE1\" ON T (ID);"
        "CREATE INDEX \"T.CHIAVE2\" ON T (NOME, ID);"
        "CREATE INDEX \"T.CHIAVE3\" ON T (CFP) WHERE ID > 'a'; CREATE VIEW V AS SELECT * FROM T");
  }
  ~Engine() override { spy = nullptr; }

  Database Open() {
    spy = &spy_;
    Database database = OpenDatabase(text::FromUtf8(file_.string()));
    spy = nullptr;
    return database;
  }
  // Rows with the IDs 1, 2, ... and these keys.
  void Fill(const Rows& keys) {
    std::string sql = "BEGIN;";
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const std::string key = keys[i] == "NULL" ? keys[i] : "'" + keys[i] + "'";
      sql += "INSERT INTO T (ID, CFP) VALUES ('" + std::to_string(i + 1) + "', " + key + ");";
    }
    Sql(file_, sql + "COMMIT;");
  }
  Rows Stored(const std::string& sql) {
    std::istringstream answer(Sql(file_, sql));
    return {std::istream_iterator<std::string>(answer), {}};
  }

  Folder folder_;
  const fs::path file_ = folder_ / "A.MDB";
  Spy spy_;
};

TEST_F(Engine, KeysMatchWhateverBlanksFillThem) {
  Database database = Open();
  Recordset table = database.OpenRecordset(u"t");
  table.Index(u"chiave");
  const std::tuple<std::u16string, std::u16string, bool> cases[] = {
      {u"12345678901", u"12345678901     ", true},
      {u"12345678901     ", u"12345678901", true},
      {u"12345678901  ", u"12345678901     ", true},
      {u"D'ALI'", u"D'ALI'  ", true},
      {u"  X", u"X", false},
      {u"x", u"X", false},
      {u"X\t", u"X", false},
      {u"", u"   ", true},
      {std::u16string(u"A\0'B", 4), std::u16string(u"A\0'B ", 5), true},
      {std::u16string(u"A\0B", 3), u"A", false},
      {u"NICCOLÒ \U0001F600", u"NICCOLÒ \U0001F600 ", true}};
  for (const auto& [stored, sought, match] : cases) {
    SCOPED_TRACE(text::ToUtf8(stored + u"|" + sought));
    table.AddNew();
    table.Fields(u"CFP").Set(stored);
    table.Update();
    table.Seek(u"=", sought);
    EXPECT_EQ(table.NoMatch(), !match);
    const std::u16string condition = u" where  CFP = '" + Quoted(sought) + u"'";
    EXPECT_EQ(database.OpenRecordset(u"Select * From T" + condition).RecordCount(), match);
    database.Execute(u"DELETE\t*  from T" + condition);
    EXPECT_EQ(table.RecordCount(), !match);
    database.Execute(u"delete * from T");
  }
}

TEST_F(Engine, TextsThatAreNotText) {
  Fill({"A"});
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  const std::u16string odd = {u'A', 0, 0xD800, u'B', 0xDC00};
  Change(table, {{u"CFP", odd}});
  const std::u16string stored = {u'A', 0, 0xFFFD, u'B', 0xFFFD};
  EXPECT_EQ(table.Fields(u"CFP").Get(), stored);
  table.Seek(u"=", odd);
  EXPECT_FALSE(table.NoMatch());
  Rest();
  Sql(file_, "UPDATE T SET CFP = CAST(x'41FF' AS TEXT), NOME = x'', SIGLA = 12");
  table.MoveFirst();
  EXPECT_EQ(table.Fields(u"CFP").View(), u"A\xFFFD");
  EXPECT_EQ(table.Fields(u"NOME").View(), u"");
  EXPECT_EQ(table.Fields(u"SIGLA").View(), u"12");
  const std::u16string cut = std::u16string(u"delete * from T where CFP = 'A") + u'\0' + u"'";
  EXPECT_EQ(Number([&] { database.Execute(cut); }), kSyntax);
}

// Every state of a walk against a plain list that does the same.
TEST_F(Engine, TableWalksLikeAList) {
  for (const unsigned seed : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U}) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto pick = [&](std::size_t n) { return random() % n; };
    const Rows keys = {"NULL", "A", "A ", "B", "BB  ", "C", "È"};
    Rows filled;
    for (std::size_t n = seed == 1 ? 1 : 30; n > 0; --n) {
      filled.push_back(keys[pick(keys.size())]);
    }
    Sql(file_, "DELETE FROM T");
    Fill(filled);
    Database database = Open();
    Recordset table = database.OpenRecordset(u"T");
    const std::size_t path = seed % 3;
    if (path != 0) {
      table.Index(path == 1 ? u"CHIAVE" : u"CHIAVE1");
    }
    const char* const order[] = {" ORDER BY rowid", " ORDER BY CFP, rowid", " ORDER BY ID"};
    const auto list = [&] { return Stored(std::string("SELECT ID FROM T") + order[path]); };

    Rows ids = list();
    long at = 0;       // -1 before the first row, ids.size() behind the last
    bool gap = false;  // the row that stood before `at` has been deleted
    const auto stand_on = [&](const std::string& id) {
      at = std::ranges::find(ids, id) - ids.begin();
      gap = false;
    };
    for (int step = 0; step < 400 && !ids.empty(); ++step) {
      const std::size_t action = pick(12);
      const bool on_row = !gap && at >= 0 && at < std::ssize(ids);
      const std::string id = on_row ? ids[static_cast<std::size_t>(at)] : "";
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
        Change(table, {{u"CFP", value}});
        ids = list();
        stand_on(id);
      } else if (action == 9 && on_row && pick(3) == 0) {
        table.Delete();
        EXPECT_EQ(Number([&] { table.Delete(); }), kNoCurrentRow);
        ids = list();
        gap = true;
      } else if (action == 10) {
        table.MoveFirst();
        stand_on(ids[0]);
      } else if (action == 11 && path == 1) {
        const Rows found = Stored("SELECT ID FROM T WHERE CFP IS " +
                                  (value ? "'" + key + "'" : key) + " ORDER BY rowid");
        table.Seek(u"=", value);
        ASSERT_EQ(table.NoMatch(), found.empty());
        if (found.empty()) {
          EXPECT_EQ(Number([&] { table.MoveNext(); }), kNoCurrentRow);
          table.MoveFirst();
        }
        stand_on(found.empty() ? ids[0] : found[0]);
      }
      ASSERT_EQ(table.Bof(), !gap && at < 0) << step;
      ASSERT_EQ(table.Eof(), !gap && at >= std::ssize(ids)) << step;
      if (!gap && at >= 0 && at < std::ssize(ids)) {
        ASSERT_EQ(Id(table), ids[static_cast<std::size_t>(at)]) << step;
      } else {
        ASSERT_EQ(Number([&] { Id(table); }), kNoCurrentRow);
        const auto beyond = [&] { at < 0 ? table.MovePrevious() : table.MoveNext(); };
        ASSERT_TRUE(gap || Number(beyond) == kNoCurrentRow);
      }
    }
    EXPECT_EQ(table.RecordCount(), ids.empty() ? 0 : 1);
    table.MoveFirst();
    EXPECT_EQ(Walk(table, &Recordset::MoveNext, &Recordset::Eof), ids);
    if (!ids.empty()) {
      table.MovePrevious();
      std::ranges::reverse(ids);
      EXPECT_EQ(Walk(table, &Recordset::MovePrevious, &Recordset::Bof), ids);
    }
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
  const std::set<std::string> begun(spy_.begun.begin(), spy_.begun.end());
  EXPECT_GE(std::ranges::count_if(begun, [](auto& s) { return s.find("\"T\"") != s.npos; }), 15);
  for (const std::string& sql : begun) {
    std::istringstream plans(sql.find("\"T\"") != sql.npos ? Sql(file_, "EXPLAIN QUERY PLAN " + sql)
                                                           : "");
    const bool filtered = sql.find("WHERE") != sql.npos;
    for (std::string plan; std::getline(plans, plan);) {
      EXPECT_EQ(plan.find("B-TREE"), plan.npos) << sql << ": " << plan;
      EXPECT_TRUE(
          plan.starts_with("SEARCH T USING I") ||
          (plan == "SCAN T" && !filtered && sql.find("ORDER BY rowid") != sql.npos) ||
          (plan.starts_with("SCAN T USING INDEX T.") && (!filtered || sql.ends_with("rowid"))))
          << sql << ": " << plan;
      if (sql.find("rowid >") != sql.npos || sql.find("rowid <") != sql.npos) {
        EXPECT_NE(plan.find("rowid"), plan.npos) << "meets all equal keys: " << plan;
      }
    }
  }
}

// An Update moves the row along the very column that the query filters and
// sorts by.
TEST_F(Engine, RewritingMeetsEachRowOnce) {
  Fill(Rows(100, "OLD"));
  Database database = Open();
  for (const auto& [text, key] : {std::pair(u"SELECT * FROM T WHERE CFP = 'OLD   '", u"NEW"),
                                  std::pair(u"SELECT * FROM T ORDER BY CFP", u"ZZZ"),
                                  std::pair(u"SELECT * FROM T ORDER BY CFP", u"AAA")}) {
    spy_.begun.clear();
    Recordset query = database.OpenRecordset(text);
    int met = 0;
    database.BeginTrans();
    for (; !query.Eof(); query.MoveNext()) {
      if (met++ % 50 == 0) {
        Id(query);
      }
      Change(query, {{u"CFP", key}});
    }
    database.CommitTrans();
    EXPECT_EQ(met, 100);
    EXPECT_EQ(spy_.Begun("UPDATE"), 100);
    EXPECT_LE(spy_.begun.size(), 110U);
    EXPECT_EQ(Stored("SELECT DISTINCT CFP FROM T"), Rows{text::ToUtf8(key)});
  }
}

TEST_F(Engine, QueryKeepsItsRows) {
  Fill({"A", "B", "C", "D", "E"});
  Database database = Open();
  Recordset query = database.OpenRecordset(u"SELECT * FROM T ORDER BY CFP");
  const auto next = [&] { return query.MoveNext(), Id(query); };
  const auto previous = [&] { return query.MovePrevious(), Id(query); };
  EXPECT_EQ(next(), "2");
  database.Execute(u"delete * from T where ID = '4'");
  EXPECT_EQ(Id(query), "2");
  query.Delete();
  EXPECT_EQ(previous(), "1");
  EXPECT_EQ(next(), "3");
  Rest();
  EXPECT_EQ(Number(next), kRowGone);
  EXPECT_EQ(Number([&] { Change(query, {{u"CFP", u"X"}}); }), kRowGone);
  EXPECT_EQ(Number([&] { query.Delete(); }), kRowGone);
  EXPECT_EQ(next(), "5");
  query.MoveNext();
  EXPECT_TRUE(query.Eof());
  EXPECT_EQ(previous(), "5");
  for (query.MoveFirst(); !query.Eof(); query.MoveNext()) {
    Failure([&] { query.Delete(); });
  }
  query.MoveFirst();  // to the row that Execute has deleted
  query.MoveNext();
  EXPECT_TRUE(query.Eof());
  EXPECT_EQ(Stored("SELECT ID FROM T"), Rows{});
  Recordset none = database.OpenRecordset(u"SELECT * FROM T ORDER BY CFP");
  none.MoveFirst();
  EXPECT_TRUE(none.Bof() && none.Eof());
  EXPECT_EQ(none.RecordCount(), 0);
}

TEST_F(Engine, ChangesAreWrittenByUpdateAlone) {
  Fill({"A", "B"});
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  const auto update = [&] { table.Update(); };
  const auto stored = [&] {
    return Stored("SELECT printf('%s.%s.%s', ID, CFP, NOME) FROM T ORDER BY ID");
  };
  EXPECT_EQ(Number([&] { table.Fields(u"CFP").Set(u"X"); }), kNotEditing);
  EXPECT_EQ(Number(update), kNotEditing);
  table.Edit();
  table.Fields(u"CFP").Set(u"X");
  EXPECT_EQ(table.Fields(u"cfp").Text() + table.Fields(u"ID").Text(), u"X1");
  table.MoveNext();
  EXPECT_EQ(Number(update), kNotEditing);
  EXPECT_EQ(stored(), (Rows{"1.A.x", "2.B.x"}));

  table.AddNew();
  EXPECT_EQ(table.Fields(u"CFP").Get(), std::nullopt);
  EXPECT_EQ(table.Fields(u"CFP").View(), u"");
  table.Fields(u"ID").Set(u"3");
  table.Update();
  EXPECT_EQ(Id(table), "2");
  table.Seek(u"=", std::nullopt);
  EXPECT_EQ(Id(table), "3");
  Change(table, {{u"CFP", u"A1"}, {u"NOME", std::nullopt}});
  table.MoveNext();
  EXPECT_EQ(Id(table), "2");
  EXPECT_EQ(stored(), (Rows{"1.A.x", "2.B.x", "3.A1."}));

  // A failure changes nothing and leaves the change open for another try.
  const auto [number, message] = Failure([&] { Change(table, {{u"ID", u"1"}}); });
  EXPECT_EQ(number, kDuplicateKey);
  EXPECT_NE(message.find("tabella T "), message.npos);
  table.Fields(u"ID").Set(u"4");
  table.Update();
  EXPECT_EQ(Id(table), "4");
  Sql(spy_.db, "PRAGMA max_page_count = 1");
  table.AddNew();
  table.Fields(u"NOME").Set(std::u16string(100000, u'x'));
  EXPECT_EQ(Number(update), kDiskFull);
  EXPECT_NE(sqlite3_get_autocommit(spy_.db), 0);
  EXPECT_EQ(stored(), (Rows{"1.A.x", "3.A1.", "4.B.x"}));
  Sql(spy_.db, "PRAGMA max_page_count = 10000");
  table.Update();
  EXPECT_EQ(stored().size(), 4U);
}

TEST_F(Engine, FailuresBearTheirNumbersAndNames) {
  Database database = Open();
  Recordset table = database.OpenRecordset(u"T");
  Recordset query = database.OpenRecordset(u"SELECT * FROM T");
  Database closed = Open();
  Recordset orphan = closed.OpenRecordset(u"T");
  closed.Close();
  Recordset dropped = Open().OpenRecordset(u"T");
  const auto open = [&](const char* name) {
    return [&, name] { OpenDatabase(text::FromUtf8((folder_ / name).string())); };
  };
  const auto sql = [&](const char16_t* text) {
    return [&, text] { database.OpenRecordset(text); };
  };
  const auto run = [&](const char16_t* text) { return [&, text] { database.Execute(text); }; };
  const std::tuple<std::function<void()>, int, const char*> cases[] = {
      {open("none.mdb"), kNotFound, "none.mdb"},
      {[&] { OpenDatabase(u""); }, kNotFound, ""},
      {open("."), kIo, ""},
      {sql(u"V"), kNoTable, "V"},
      {sql(u"SELECT * FROM MANCA"), kNoTable, "A.MDB"},
      {run(u"delete * from MANCA"), kNoTable, "A.MDB"},
      {[&] { table.Index(u"CHIAVE2"); }, kNoIndex, "Tabella T"},
      {[&] { table.Index(u"CHIAVE3"); }, kNoIndex, "Tabella T"},
      {[&] { table.Seek(u"=", u"A"); }, kNoIndex, "Tabella T"},
      {[&] { table.Seek(u">", u"A"); }, kOther, ">"},
      {[&] { query.Index(u"CHIAVE"); }, kOther, ""},
      {[&] { table.Fields(u"APARC_10"); }, kNoColumn, "APARC_10"},
      {[&] { table.Fields(u"rowid"); }, kNoColumn, "Tabella T"},
      {[&] { table.Edit(); }, kNoCurrentRow, "Tabella T"},
      {[&] { Recordset().NoMatch(); }, kNoObject, ""},
      {[&] { Database().Close(); }, kNoObject, ""},
      {[&] { closed.OpenRecordset(u"T"); }, kClosed, ""},
      {[&] { orphan.MoveNext(); }, kClosed, ""},
      {[&] { dropped.MoveFirst(); }, 0, ""},
      {[&] { dropped.Close(), dropped.Close(); }, kClosed, ""},
  };
  for (const auto& [action, expected, named] : cases) {
    const auto [number, text] = Failure(action);
    EXPECT_TRUE(number == expected && text.find(named) != text.npos) << named << ": " << text;
  }
  for (const char16_t* text :
       {u"", u"T U", u"SELECT ID FROM T", u"SELECT * FROM T, T", u"SELECT * FROM T WHERE",
        u"SELECT * FROM T WHERE CFP = 'D'A'", u"SELECT * FROM T WHERE CFP = \"A\"",
        u"SELECT * FROM T WHERE 1; DROP TABLE T"}) {
    EXPECT_EQ(Number(sql(text)), kSyntax) << text::ToUtf8(text);
  }
  for (const char16_t* text : {u"", u"delete from T", u"update T set ID = 1", u"SELECT * FROM T",
                               u"delete * from T order by 1"}) {
    EXPECT_EQ(Number(run(text)), kSyntax) << text::ToUtf8(text);
  }
}

TEST_F(Engine, FileIsWholeAtRest) {
  Fill({"A", "B", "C"});
  ASSERT_EQ(Sql(file_, "PRAGMA journal_mode=WAL"), "wal\n");
  Database database = Open();
  EXPECT_EQ(Sql(spy_.db,
                "PRAGMA journal_mode; PRAGMA synchronous; PRAGMA temp_store; PRAGMA busy_timeout;"
                "PRAGMA trusted_schema"),
            "delete\n3\n2\n5000\n0\n");
  Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  Recordset query = database.OpenRecordset(u"SELECT * FROM T ORDER BY CFP");
  Database twin = Open();
  Recordset reader = twin.OpenRecordset(u"T");
  const auto locks = [&] { return Sql(file_, "BEGIN EXCLUSIVE") == ""; };
  table.MoveNext();
  query.MoveNext();
  reader.MoveNext();
  EXPECT_FALSE(locks());
  Rest();
  EXPECT_TRUE(locks());
  // A reader of this process doesn't keep it from writing.
  reader.MoveNext();
  Change(query, {{u"NOME", u"new"}});
  EXPECT_EQ(Stored("SELECT NOME FROM T WHERE ID = 2"), Rows{"new"});
  EXPECT_TRUE(locks());
  EXPECT_EQ(Id(table) + Id(query) + Id(reader), "223");
  Rest();
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), {}), 1);
}

TEST_F(Engine, ReadOnlyFileOrFolderFailsAtOpening) {
  const bool root = geteuid() == 0;
  const auto open_with = [&](unsigned folder, unsigned file) {
    fs::permissions(folder_.Path(), fs::perms(folder));
    fs::permissions(file_, fs::perms(file));
    // Nothing is read-only for root.
    if (root && seteuid(65534) != 0) {
      return -1;
    }
    const int number = Number([&] { Open(); });
    return root && seteuid(0) != 0 ? -1 : number;
  };
  EXPECT_EQ(open_with(0777, 0444), kReadOnly);
  EXPECT_EQ(open_with(0555, 0777), kReadOnly);
  EXPECT_EQ(open_with(0777, 0777), 0);
}

}  // namespace
}  // namespace engine
