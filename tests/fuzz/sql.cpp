// The engine's ways to a recipient's rows, with hostile codes: each reaches the
// rows whose code is the same up to blanks at its end, and no other.
#include <unistd.h>

#include <set>
#include <vector>

#include "../files.h"
#include "fuzz.h"
#include "platform/engine/engine.h"
#include "platform/text/text.h"

namespace {

using Rows = std::multiset<std::u16string>;

// A table like those of the archive, without the file's name ever staying behind.
engine::Database Open() {
  const std::filesystem::path shared = "/dev/shm";
  const std::filesystem::path file =
      (std::filesystem::is_directory(shared) ? shared : std::filesystem::temp_directory_path()) /
      ("anagparc_fuzz." + std::to_string(getpid()));
  Sql(file,
      "CREATE TABLE T (CFP TEXT COLLATE RTRIM, N TEXT); CREATE INDEX \"T.CHIAVE\" ON T (CFP)");
  engine::Database database = engine::OpenDatabase(text::FromUtf8(file.native()));
  static const std::filesystem::path& made = *new std::filesystem::path(file);
  std::atexit([] { std::filesystem::remove(made); });
  return database;
}

std::string Meaning(std::u16string_view code) { return text::ToUtf8(text::TrimRight(code)); }

Rows All(engine::Recordset rows) {
  Rows found;
  for (; !rows.Eof(); rows.MoveNext()) {
    found.insert(rows.Fields(u"N").Text());
  }
  return found;
}

void Try(engine::Database& database, Input& input) {
  std::vector<std::u16string> codes;
  for (int n = 1 + input.UpTo(4); n > 0; --n) {
    codes.push_back(input.Text(static_cast<std::size_t>(input.UpTo(18))));
  }
  codes.push_back(codes[0] + u"  ");
  const std::u16string sought = codes[input.Byte() % codes.size()] + input.Text();

  engine::Recordset table = database.OpenRecordset(u"T");
  table.Index(u"CHIAVE");
  Rows expected, others;
  for (std::size_t i = 0; i < codes.size(); ++i) {
    const std::u16string number = text::Decimal(static_cast<long long>(i));
    table.AddNew();
    table.Fields(u"CFP").Set(codes[i]);
    table.Fields(u"N").Set(number);
    table.Update();
    (Meaning(codes[i]) == Meaning(sought) ? expected : others).insert(number);
  }
  table.Seek(u"=", sought);
  Must(table.NoMatch() == expected.empty(), "Seek");
  Must(table.NoMatch() || expected.contains(table.Fields(u"N").Text()), "Seek on another row");

  const std::u16string where = u" CFP = '" + engine::Quoted(sought) + u"'";
  Must(All(database.OpenRecordset(u"SELECT * FROM T WHERE" + where)) == expected, "SELECT");
  database.Execute(u"delete * from T where " + where);
  Must(All(database.OpenRecordset(u"SELECT * FROM T")) == others, "delete");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static engine::Database& database = *new engine::Database(Open());
  Input input(data, size);
  database.BeginTrans();
  Try(database, input);
  database.Rollback();
  return 0;
}
