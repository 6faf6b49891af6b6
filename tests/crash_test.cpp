// Kills the program while it saves, inserts, changes codes and deletes, and
// looks at what is left.
//
//   crash_test [KILLS [SEED]]      200 kills, seed 1, if not given
//
// The program that is killed is this one, started once more. Half of the kills come from
// another thread, at random moments; half strike inside
// one of SQLite's calls to the file system, a write then being half done. Some
// starts after a kill are killed too. Then the program starts at once, the
// file is sound, a change that had returned is there, one that was under way is
// there whole or not at all. As many kills strike the copy of the archive that a session
// leaves. Exit status 0: all of that holds.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>

#include "archivio/archivio.h"
#include "fault_vfs.h"
#include "frame/ANAGPARC.h"
#include "platform/system/environment.h"
#include "platform/system/process.h"
#include "platform/text/text.h"
#include "program.h"

namespace {

using namespace ANAGPARC;
namespace fs = std::filesystem;

constexpr char kAll[] = "SELECT CFP||quote(APARC_1)||quote(APARC_7) FROM PERCPARCELLE ORDER BY CFP";

std::mt19937 g_random;

int Pick(int below) { return static_cast<int>(g_random() % static_cast<unsigned>(below)); }

void Must(bool holds, const std::string& what) {
  if (!holds) {
    std::fprintf(stderr, "crash_test: %s\n", what.c_str());
    std::exit(1);
  }
}

struct Change {
  enum { kInsert, kSave, kCode, kDelete } kind;
  std::u16string code, fresh, name;
};

// One that the recipients in the list allow.
Change Choose() {
  const auto number = [] { return text::Decimal(1'000'000'000 + Pick(1'000'000'000)); };
  Change change = {Change::kInsert, {}, u"CODICE" + number(), u"NOME " + number()};
  const int recipients = List1.ListCount() - 1, kind = Pick(10);
  if (recipients > 5 && (kind > 1 || recipients > 20)) {
    change.kind = kind < 5 ? Change::kSave : kind < 9 ? Change::kCode : Change::kDelete;
    change.code = text::Trim(List1.List(1 + Pick(recipients)).substr(0, 16));
  }
  return change;
}

// By the user's hands. True when the program has nothing to complain of.
bool Do(Program& program, const Change& change) {
  const bool save = change.kind == Change::kInsert || change.kind == Change::kSave;
  bool done = change.kind == Change::kInsert ? program.Insert(change.fresh, change.name)
              : change.kind == Change::kSave ? program.Open(change.code)
              : change.kind == Change::kCode ? program.BeginChange(change.code, change.fresh)
                                             : program.Select(change.code);
  for (const int field : {1, 5, 7}) {
    if (save) {
      program.Type(Text1(field), change.name);
    }
  }
  Me.UserClick(save ? cmdmemorizza : change.kind == Change::kCode ? CmdConfermaCF : Cmdcancella);
  for (const toolkit::Message& box : program.TakeBoxes()) {
    if (box.flags == toolkit::kCritical) {
      std::fprintf(stderr, "%s\n", text::ToUtf8(box.text).c_str());
      done = false;
    }
  }
  return done;
}

// A row written by halves would have different texts in its columns.
std::string State(const Program& program) {
  return Sql(program.File(),
             "SELECT trim(CFP)||' '||quote(APARC_1)||quote(APARC_5)||quote(APARC_7) "
             "FROM PERCPARCELLE ORDER BY CFP; SELECT trim(CFP)||' '||count(*) FROM QUADROLAUT "
             "GROUP BY CFP ORDER BY CFP");
}

constexpr char kChild[] = "--figlio";
fs::path g_self;

fs::path DoneFile(const Program& program) { return program.Place() / "fatto"; }

// The process that is killed; its words are those that Killed gives it.
[[noreturn]] void Die(const std::vector<std::string>& words) {
  Program program(sys::PathOf(words.at(1)));
  const long call = std::stol(words.at(2)), microseconds = std::stol(words.at(3));
  const bool leaving = words.at(4) == "1", changing = words.size() > 5;
  Change change = {};
  if (changing) {
    change = {static_cast<decltype(change.kind)>(std::stoi(words.at(5))),
              text::FromUtf8(words.at(6)), text::FromUtf8(words.at(7)),
              text::FromUtf8(words.at(8))};
  }
  if (call > 0 && !leaving) {
    fault::Arm(fault::Cause::kKill, call);
  }
  bool done = program.Start() && (!leaving || Do(program, change));
  if (call == 0) {
    std::thread([microseconds] {
      std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
      fault::Kill();
    }).detach();
  }
  if (leaving) {
    if (call > 0) {
      fault::Arm(fault::Cause::kKill, call);
    }
    program.Stop();
  } else {
    done = done && changing && Do(program, change);
  }
  SetBytes(DoneFile(program), done ? "done" : "failed");
  if (call == 0) {
    std::this_thread::sleep_for(std::chrono::hours(1));
  }
  fault::Kill();
}

// Starts the program in a process that does the change; true when that had returned before it
// was killed, at the given call or, for 0, within so many microseconds from the start's end; with
// `leaving`, from the moment on that it is told to end.
bool Killed(Program& program, const Change* change, long call, int within = 0,
            bool leaving = false) {
  std::vector<std::string> words = {sys::PathBytes(g_self),
                                    kChild,
                                    sys::PathBytes(program.Place()),
                                    std::to_string(call),
                                    std::to_string(call == 0 ? Pick(within) : 0),
                                    leaving ? "1" : "0"};
  if (change != nullptr) {
    words.push_back(std::to_string(change->kind));
    for (const std::u16string& text : {change->code, change->fresh, change->name}) {
      words.push_back(text::ToUtf8(text));
    }
  }
  fs::remove(DoneFile(program));
  sys::LeaveInstance();
  const int status = RunProgram(words);
  Must(status == fault::kKilled, "the program ended on its own: " + std::to_string(status));
  const std::string end = Bytes(DoneFile(program));
  Must(change == nullptr || end != "failed", "the program has complained");
  return !end.empty();
}

// One that was cut off before it was good begins with 0, if at all, and means
// nothing to anyone.
bool JournalHot(const Program& program) {
  const std::string journal = Bytes(program.Journal());
  return !journal.empty() && journal[0] != 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words = sys::Arguments(argc, argv);
  if (!words.empty() && words[0] == kChild) {
    fault::Install();
    Die(words);
  }
  g_self = fs::absolute(argv[0]);
  const long kills = argc > 1 ? std::atol(argv[1]) : 200;
  g_random.seed(argc > 2 ? static_cast<unsigned>(std::atol(argv[2])) : 1U);
  fault::Install();
  Program program;
  Sql(program.Template(), "DELETE FROM TABCOMUNI; VACUUM");
  long journals = 0, returned = 0;
  for (long n = 0; n < kills; ++n) {
    // The change on its own shows what must come out. Certifications make it last.
    Must(program.Running() || program.Start(), "the program doesn't start");
    Sql(program.File(),
        "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50) INSERT INTO QUADROLAUT "
        "(CFP, CAUSALE) SELECT CFP, hex(zeroblob(200)) FROM PERCPARCELLE, n "
        "WHERE CFP NOT IN (SELECT CFP FROM QUADROLAUT)");
    const Change change = Choose();
    const std::string before = State(program), bytes = Bytes(program.File());
    const auto begun = std::chrono::steady_clock::now();
    Must(Do(program, change), "a change without a kill fails");
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - begun;
    program.Stop();
    const std::string after = State(program);
    const auto has = [&](const std::u16string& text) { return Has(after, text::ToUtf8(text)); };
    Must(change.kind == Change::kDelete ? !has(change.code)
         : change.kind == Change::kCode ? has(change.fresh) && !has(change.code)
                                        : has(change.name),
         "a change that has returned isn't in the file:\n" + after);
    SetBytes(program.File(), bytes);
    const int calls = change.kind == Change::kCode ? 60 : 24;  // about what it takes
    const bool done = Killed(program, &change, Pick(2) == 0 ? 0 : 1 + Pick(calls),
                             1 + static_cast<int>(took.count()));
    returned += done ? 1 : 0;
    journals += JournalHot(program) ? 1 : 0;
    if (Pick(3) == 0) {
      Killed(program, nullptr, 1 + Pick(8));
    }
    Must(program.Start(), "the program doesn't start");
    Must(!JournalHot(program), "the journal is still there after the start");
    const std::vector<std::string> faults = archivio::Check(program.File());
    Must(faults.empty(), faults.empty() ? "" : faults[0]);
    const std::string found = State(program);
    Must(found == after || (!done && found == before),
         "a change is lost or half done:\n" + before + "\n" + after + "\n" + found);
  }
  std::printf("%ld kills, %ld with a journal left, %ld changes had returned\n", kills, journals,
              returned);

  // While the copy at the end is made: it is the one from before, or the new one, whole.
  const fs::path today = program.MakeCopies();
  std::ptrdiff_t left = 0, fresh = 0;
  for (long n = 0; n < kills; ++n) {
    Must(program.Running() || program.Start(), "the program doesn't start");
    const Change change = Choose();
    program.Stop();
    const std::string before = Bytes(today);
    const bool within = Pick(2) == 0;
    Killed(program, &change, within ? 1 + Pick(300) : 0, 60'000, true);
    left += std::distance(fs::directory_iterator(today.parent_path()), {}) - fs::exists(today);
    if (Bytes(today) != before) {
      const std::vector<std::string> faults = archivio::Check(today);
      Must(faults.empty(), "the copy: " + (faults.empty() ? "" : faults[0]));
      Must(Sql(today, kAll) == Sql(program.File(), kAll), "the copy isn't the archive");
      ++fresh;
    }
  }
  const Change last = (program.Start(), Choose());
  Must(Do(program, last), "a change without a kill fails");
  program.Stop();
  Must(std::distance(fs::directory_iterator(today.parent_path()), {}) == 1, "leftovers stay");
  std::printf("%ld kills in the copy, %ld left a hidden file, %ld copies were new, none half\n",
              kills, static_cast<long>(left), static_cast<long>(fresh));
}
