// Kills the program while it saves, inserts, changes codes and deletes, and
// looks at what is left.
//
//   crash_test [KILLS [SEED]]      200 kills, seed 1, if not given
//
// Half of the kills come from outside, at random moments; half strike inside
// one of SQLite's calls to the file system, a write then being half done.
// After each: the program starts again at once, the file is sound, every change
// that had returned is there, the one under way is there whole or not at all.
// Exit status 0: all of that holds.
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "archivio/archivio.h"
#include "fault_vfs.h"
#include "frame/ANAGPARC.h"
#include "platform/text/text.h"
#include "program.h"

namespace {

namespace fs = std::filesystem;
using Random = std::mt19937;

int Pick(Random& random, int below) {
  return std::uniform_int_distribution<int>(0, below - 1)(random);
}

[[noreturn]] void Fail(const std::string& what) {
  std::fprintf(stderr, "crash_test: %s\n", what.c_str());
  std::exit(1);
}

// --- The one that is killed

void Tell(int pipe, const std::string& line) {
  const std::string text = line + "\n";
  if (write(pipe, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    _exit(4);
  }
}

std::string Code(int n) {
  std::string digits = std::to_string(n);
  return "CODICE" + std::string(10 - digits.size(), '0') + digits;
}

// One change by the user's hands: told before the click that does it, and when
// that has returned.
void Change(Program& program, Random& random, int pipe) {
  using namespace ANAGPARC;
  const auto confirm = [&](toolkit::CommandButton& button, const std::string& what) {
    Tell(pipe, what);
    Me.UserClick(button);
    Tell(pipe, "done");
  };
  std::vector<std::string> codes;
  for (int row = 1; row < List1.ListCount(); ++row) {
    codes.push_back(text::ToUtf8(text::Trim(List1.List(row).substr(0, 16))));
  }
  const std::string fresh = Code(Pick(random, 1'000'000'000));
  const std::string name = "NOME " + std::to_string(Pick(random, 1'000'000'000));
  const int kind = Pick(random, 10);
  bool ready = false;
  if (codes.size() < 6 || (kind < 2 && codes.size() < 20)) {
    ready = program.Insert(text::FromUtf8(fresh), text::FromUtf8(name));
    program.Type(Text1(5), text::FromUtf8(name));
    program.Type(Text1(7), text::FromUtf8(name));
    confirm(cmdmemorizza, "save " + fresh + " " + name);
    Me.UserClick(cmdselprec);
  } else {
    const std::string code =
        codes[static_cast<std::size_t>(Pick(random, static_cast<int>(codes.size())))];
    const std::u16string wide = text::FromUtf8(code);
    if (kind < 5) {
      ready = program.Open(wide);
      for (const int field : {1, 5, 7}) {
        program.Type(Text1(field), text::FromUtf8(name));
      }
      confirm(cmdmemorizza, "save " + code + " " + name);
      Me.UserClick(cmdselprec);
    } else if (kind < 9) {
      ready = program.BeginChange(wide, text::FromUtf8(fresh));
      confirm(CmdConfermaCF, "change " + code + " " + fresh);
    } else {
      ready = program.Select(wide);
      confirm(Cmdcancella, "delete " + code);
    }
  }
  for (const toolkit::Message& box : program.TakeBoxes()) {
    ready = ready && box.flags != toolkit::kCritical;
  }
  if (!ready) {
    _exit(5);
  }
}

// Killed from outside, or at the given call of the file system.
[[noreturn]] void Child(Program& program, unsigned seed, long call, int out, int in) {
  Random random(seed);
  if (call > 0) {
    fault::Arm(fault::Cause::kKill, call);
  }
  if (!program.Start()) {
    for (const toolkit::Message& box : program.TakeBoxes()) {
      Tell(out, "refused " + text::ToUtf8(box.text));
    }
    _exit(3);
  }
  Tell(out, "ready");
  char go;
  if (read(in, &go, 1) != 1) {
    _exit(0);
  }
  for (;;) {
    Change(program, random, out);
  }
}

// --- The one that looks

struct Recipient {
  std::string name;
  int certifications = 0;
  bool operator==(const Recipient&) const = default;
};
using State = std::map<std::string, Recipient>;

State Found(const fs::path& file) {
  State state;
  // A row written by halves would have different texts in the three columns.
  std::istringstream rows(
      Sql(file,
          "SELECT trim(CFP) || ' ' || CASE WHEN APARC_1 = APARC_5 AND APARC_1 = APARC_7 "
          "THEN APARC_1 ELSE 'half a row' END FROM PERCPARCELLE"));
  for (std::string code, name; rows >> code && std::getline(rows >> std::ws, name);) {
    state[code].name = name;
  }
  std::istringstream counts(
      Sql(file, "SELECT trim(CFP) || ' ' || count(*) FROM QUADROLAUT GROUP BY CFP"));
  for (std::string code, count; counts >> code >> count;) {
    state[code].certifications = std::stoi(count);
  }
  return state;
}

// The states that a change leads through, the finished one last.
std::vector<State> Apply(const State& before, const std::string& line) {
  std::istringstream words(line);
  std::string what, code, rest;
  words >> what >> code;
  std::getline(words >> std::ws, rest);
  State after = before;
  if (what == "save") {
    after[code].name = rest;
  } else if (what == "change") {
    after[rest] = after[code];
    after.erase(code);
  } else {
    State half = before;
    half[code].certifications = 0;
    after.erase(code);
    return {half, after};
  }
  return {after};
}

class Watch {
 public:
  Watch() {
    fault::Install();
    Sql(program_.Template(), "DELETE FROM TABCOMUNI; VACUUM");
    fs::copy_file(program_.Template(), program_.File());
    possible_ = {{}};
    TopUp();
  }

  void Kill(Random& random) {
    int from_child[2], to_child[2];
    if (pipe(from_child) != 0 || pipe(to_child) != 0) {
      Fail("no pipe");
    }
    const auto seed = static_cast<unsigned>(random());
    // Few calls are the start's own: it takes back what the kill before has left.
    const bool inside = Pick(random, 2) == 0;
    const long call = inside ? 1 + Pick(random, Pick(random, 4) == 0 ? 8 : 200) : 0;
    const auto begun = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
      close(from_child[0]);
      close(to_child[1]);
      Child(program_, seed, call, from_child[1], to_child[0]);
    }
    close(from_child[1]);
    close(to_child[0]);
    in_ = from_child[0];
    const std::string first = Line();
    if (!first.empty() && first != "ready") {
      Fail("the program doesn't start: " + first);
    }
    if (first == "ready") {
      using namespace std::chrono;
      slowest_ = std::max(slowest_, duration<double>(steady_clock::now() - begun).count());
      LookAtFile();
      TopUp();
      if (write(to_child[1], "", 1) != 1) {
        Fail("the program is gone");
      }
      if (!inside) {
        usleep(static_cast<useconds_t>(Pick(random, 60'000)));
        kill(child, SIGKILL);
      }
    }
    std::optional<std::string> under_way;
    while (first == "ready") {
      const std::string line = Line();
      if (line.empty()) {
        break;
      }
      if (line == "done") {
        possible_ = {Apply(possible_[0], *under_way).back()};
        under_way.reset();
        ++changes_;
      } else {
        under_way = line;
      }
    }
    if (under_way) {
      for (const State& state : Apply(possible_[0], *under_way)) {
        possible_.push_back(state);
      }
    }
    close(from_child[0]);
    close(to_child[1]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL) {
      Fail("the program ended by itself, status " + std::to_string(status));
    }
    ++kills_;
    journals_ += JournalHot() ? 1 : 0;
  }

  void Finish() {
    if (!program_.Start()) {
      Fail("the program doesn't start");
    }
    LookAtFile();
    std::printf("%ld kills, %ld with a journal left, %ld changes; slowest start %.2f s\n", kills_,
                journals_, changes_, slowest_);
  }

 private:
  // The next line from the child; empty when it is dead.
  std::string Line() {
    std::string line;
    for (char c; read(in_, &c, 1) == 1;) {
      if (c == '\n') {
        return line;
      }
      line += c;
    }
    return {};
  }

  // One that was cut off before it was good begins with 0, if at all, and means
  // nothing to anyone.
  bool JournalHot() const {
    const std::string journal = Bytes(program_.Journal());
    return !journal.empty() && journal[0] != 0;
  }

  // The file as a start has left it.
  void LookAtFile() {
    if (JournalHot()) {
      Fail("the journal is still there behind the start");
    }
    for (const std::string& fault : archivio::Check(program_.File())) {
      Fail(fault);
    }
    const State found = Found(program_.File());
    for (const State& state : possible_) {
      if (found == state) {
        possible_ = {found};
        return;
      }
    }
    for (const auto& [code, recipient] : found) {
      std::fprintf(stderr, "%s %s %d\n", code.c_str(), recipient.name.c_str(),
                   recipient.certifications);
    }
    Fail("a change is lost or half done, see above what was found");
  }

  // Certifications for who has none: the change of a code shall take a while.
  void TopUp() {
    State& state = possible_[0];
    std::string sql = "BEGIN;";
    for (auto& [code, recipient] : state) {
      if (recipient.certifications == 0) {
        recipient.certifications = 50;
        sql +=
            "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50) INSERT INTO "
            "QUADROLAUT (CFP, CAUSALE) SELECT '" +
            code + "', hex(zeroblob(200)) FROM n;";
      }
    }
    Sql(program_.File(), sql + "COMMIT");
  }

  Program program_;
  std::vector<State> possible_;  // the state that must be there; then what may be instead
  int in_ = -1;
  long kills_ = 0, journals_ = 0, changes_ = 0;
  double slowest_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const long kills = argc > 1 ? std::atol(argv[1]) : 200;
  Random random(argc > 2 ? static_cast<unsigned>(std::atol(argv[2])) : 1U);
  signal(SIGPIPE, SIG_IGN);
  Watch watch;
  for (long i = 0; i < kills; ++i) {
    watch.Kill(random);
  }
  watch.Finish();
}
