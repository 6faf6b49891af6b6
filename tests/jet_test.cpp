// Values of the old engine from their bytes, and the process that reads them.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <thread>

#include "archivio/jet/process.h"
#include "archivio/jet/values.h"
#include "platform/system/environment.h"

namespace archivio::jet {
namespace {

using namespace std::literals;

TEST(Values, Texts) {
  const struct {
    std::string_view bytes;
    std::string_view text;
  } unicode[] = {
      {"", ""},
      {"\xFF\xFE", ""},
      {"\xFF\xFE"
       "citt\xE0\x80",
       "citt\u00E0\u0080"},
      {"\xFF\xFE"
       "20 \0\xAC\x20\x13\x20\0 A"sv,
       "20 €– A"},
      {"\xFF\xFE"
       "AB\0\0"sv,
       "AB\0"sv},
      {"A\0\0\0\x3C\xD8\xE0\xDF"sv, "A\0🏠"sv},
      {"\x3C\xD8"
       "A\0"sv,
       "\uFFFDA"},
  };
  for (const auto& [bytes, text] : unicode) {
    EXPECT_EQ(UnicodeText(bytes), text);
  }
  EXPECT_THROW(UnicodeText("A\0B"sv), Damaged);
  EXPECT_THROW(UnicodeText("\xFF\xFE\0A"sv), Damaged);
  EXPECT_THROW(UnicodeText("\xFF\xFE"
                           "AB\xFF\xFE"
                           "C"),
               Damaged);

  const struct {
    int page;
    std::string_view bytes;
    std::string_view text;
  } pages[] = {
      {1252, "ABC'\0\x80"sv, "ABC'\0€"sv}, {1252, "\x80 \x81\x9D \xE0", "€ \u0081\u009D à"},
      {1250, "\xA3\xF3\x9F", "Łóź"},       {850, "citt\x85", "città"},
      {932, "\x83\x41\x83", "ア\u0083"},
  };
  for (const auto& [page, bytes, text] : pages) {
    EXPECT_EQ(CodePageText(bytes, page), text) << page;
  }
  EXPECT_EQ(CodePageText(std::string(1000, '\xE8'), 1252).size(), 2000U);
  EXPECT_THROW(CodePageText("\xE0", 12345), Damaged);
}

TEST(Values, Numbers) {
  EXPECT_EQ(MoneyText(0), "0.0000");
  EXPECT_EQ(MoneyText(-1), "-0.0001");
  EXPECT_EQ(MoneyText(12345600), "1234.5600");
  EXPECT_EQ(MoneyText(std::numeric_limits<std::int64_t>::max()), "922337203685477.5807");
  EXPECT_EQ(MoneyText(std::numeric_limits<std::int64_t>::min()), "-922337203685477.5808");

  EXPECT_EQ(DecimalText("\0\0\0\0\0\0\0\0\0\0\0\0\0\x39\x30\0\0"sv, 2), "123.45");
  EXPECT_EQ(DecimalText("\x80\0\0\0\0\0\0\0\0\x01\0\0\0\x05\0\0\0"sv, 0), "-4294967301");
  EXPECT_EQ(DecimalText("\x80\0\0\0\0\0\0\0\0\0\0\0\0\x05\0\0\0"sv, 3), "-0.005");
  EXPECT_THROW(DecimalText("\0\0"sv, 0), Damaged);
  EXPECT_EQ(IdentifierText("\x33\x22\x11\0\x55\x44\x77\x66\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF"sv),
            "{00112233-4455-6677-8899-AABBCCDDEEFF}");
  EXPECT_EQ(NumberText(0.1), "0.1");
}

TEST(Values, Dates) {
  const struct {
    double days;
    std::string_view text;
  } dates[] = {
      {0, "1899-12-30T00:00:00"},
      {-0.25, "1899-12-30T06:00:00"},
      {-1.25, "1899-12-29T06:00:00"},
      {36585, "2000-02-29T00:00:00"},
      {42216 + 65109.0 / 86400, "2015-07-31T18:05:09"},
      {1 + 0.125 / 86400, "1899-12-31T00:00:00.125"},
      {1 - 1e-12, "1899-12-31T00:00:00"},
      {2958465 + 86399.0 / 86400, "9999-12-31T23:59:59"},
      {-657434, "0100-01-01T00:00:00"},
      {-657435, "-657435"},
      {2958466, "2958466"},
      {1e300, "1e+300"},
      {std::nan(""), "nan"},
  };
  for (const auto& [days, text] : dates) {
    EXPECT_EQ(DateText(days), text) << days;
  }
}

// By name, what a process does. A system that can't copy a process runs this program again.
const std::pair<const char*, void (*)(Sender&)> kReaders[] = {
    {"large",
     [](Sender& sender) {
       const std::string large(std::size_t{3} << 20, 'x');
       sender.Send(Kind::kAt, large);
       std::this_thread::sleep_for(1100ms);  // as long as the first is kept back
       sender.Send(Kind::kAt, large);
     }},
    {"damaged", [](Sender&) { throw Damaged("rotto"); }},
    {"quiet end", [](Sender&) { std::_Exit(0); }},
    {"crash", [](Sender&) { std::abort(); }},
    {"no memory", [](Sender&) { throw std::bad_alloc(); }},
    {"silent", [](Sender&) { std::this_thread::sleep_for(1h); }},
    {"no message", [](Sender& sender) { sender.Send(static_cast<Kind>(77)); }},
    {"all memory",
     [](Sender&) {
       for (int i = 0; i < 1000; ++i) {
         std::string(std::size_t{1} << 20, 'x').swap(*new std::string);
       }
     }},
    {"a file",
     [](Sender&) {
       FILE* const file = tmpfile();
       fputs("x", file);
       fclose(file);
     }},
    {"a table",
     [](Sender& sender) {
       sender.SendTable({"T", 7, {{"A", Type::kText}, {"B", Type::kReal}}, {{"I", true, {1, 0}}}});
       sender.Begin();
       sender.Add(Value::Kind::kText, "x");
       sender.Drop();
       sender.Begin();
       sender.Add(Value::Kind::kBinary, "\0a"sv);
       sender.Add(-1.5);
       sender.Add(std::int64_t{-7});
       sender.Null();
       sender.End();
     }},
};

const sys::ChildJob kJob = {"lettore",
                            [](const std::vector<std::string>& arguments, sys::ToParent& parent) {
                              Serve(
                                  [](const std::vector<std::string>& words, Sender& sender) {
                                    for (const auto& [name, read] : kReaders) {
                                      if (words.at(0) == name) {
                                        read(sender);
                                      }
                                    }
                                  },
                                  arguments, parent);
                            }};

std::string Failure(const char* reader, const sys::ChildLimits& limits = {}) {
  Process process(kJob, {reader}, limits);
  std::string_view message;
  try {
    while (process.Next(message) != Kind::kEnd) {
    }
  } catch (const Damaged& failure) {
    return failure.what();
  }
  return {};
}

TEST(ReaderProcess, EndsInOneWayOrAnother) {
  EXPECT_EQ(Failure("large"), "");
  EXPECT_EQ(Failure("damaged"), "rotto");
  EXPECT_EQ(Failure("quiet end"), "la lettura si è interrotta");
  EXPECT_EQ(Failure("crash"), "la lettura si è interrotta (segnale 6)");
  EXPECT_EQ(Failure("no memory"), "la lettura vuole più di 2048 MB di memoria");
  EXPECT_EQ(Failure("silent", {.seconds = 1}), "la lettura è ferma da 1 secondi");
  EXPECT_EQ(Failure("no message"), "il lettore dà messaggi non validi");
}

#ifndef __SANITIZE_ADDRESS__
TEST(ReaderProcess, MemoryHasALimit) {
  EXPECT_EQ(Failure("all memory", {.memory = std::size_t{512} << 20}),
            "la lettura vuole più di 512 MB di memoria");
}
#endif

TEST(ReaderProcess, WritesNoFiles) { EXPECT_NE(Failure("a file"), ""); }

TEST(Stream, EveryCutIsNoticed) {
  Process process(kJob, {"a table"});
  std::string_view message;
  ASSERT_EQ(process.Next(message), Kind::kTable);
  const OldTable table = ReadTable(message);
  EXPECT_EQ(table.rows, 7U);
  EXPECT_EQ(table.columns[1].name, "B");
  EXPECT_EQ(table.indexes[0].columns, (std::vector<std::uint8_t>{1, 0}));
  for (std::size_t size = 0; size < message.size(); ++size) {
    EXPECT_THROW(ReadTable(message.substr(0, size)), Damaged);
  }
  std::string far(message);
  far.back() = 2;  // a column that isn't there
  EXPECT_THROW(ReadTable(far), Damaged);

  ASSERT_EQ(process.Next(message), Kind::kRow);
  const auto read = [](std::string_view row) {
    RowReader reader(row);
    EXPECT_EQ(reader.Next().bytes, "\0a"sv);
    EXPECT_EQ(reader.Next().real, -1.5);
    EXPECT_EQ(reader.Next().integer, -7);
    EXPECT_EQ(reader.Next().kind, Value::Kind::kNull);
    reader.CheckEnd();
  };
  read(message);
  EXPECT_THROW(read(message.substr(0, message.size() - 1)), Damaged);
  EXPECT_THROW(read(std::string(message) + "x"), Damaged);
  EXPECT_THROW(RowReader("\7"sv).Next(), Damaged);
  EXPECT_EQ(process.Next(message), Kind::kEnd);
}

}  // namespace

// The job of this program started again.
const sys::ChildJob& Job() { return kJob; }

}  // namespace archivio::jet

int main(int argc, char** argv) {
  sys::ServeAsChild(sys::Arguments(argc, argv), {archivio::jet::Job()});
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
