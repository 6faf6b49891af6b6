#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <random>
#include <thread>

#include "files.h"
#include "platform/system/files.h"
#include "platform/system/paths.h"
#include "platform/system/process.h"
#include "platform/system/registry.h"
#include "platform/system/signals.h"
#include "platform/text/text.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

bool Eventually(const std::function<bool()>& condition) {
  for (int i = 0; i < 1000 && !condition(); ++i) {
    std::this_thread::sleep_for(10ms);
  }
  return condition();
}

// A process of its own; what `job` returns is its exit status, 98 what it throws.
pid_t Fork(const std::function<int()>& job) {
  const pid_t pid = fork();
  if (pid == 0) {
    try {
      _exit(job());
    } catch (const std::exception&) {
      _exit(98);
    }
  }
  return pid;
}

int Wait(pid_t pid) {
  int status = -1;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int InFork(const std::function<int()>& job) { return Wait(Fork(job)); }

class System : public testing::Test {
 protected:
  System() {
    setenv("XDG_RUNTIME_DIR", dir_.c_str(), 1);
    setenv("HOME", dir_.c_str(), 1);
  }

  std::u16string Name(std::string_view rest) const {
    return sys::PathText(dir_) + text::FromUtf8(rest);
  }
  static auto Entries(const fs::path& folder) {
    return std::distance(fs::directory_iterator(folder), {});
  }

  Folder folder_{fs::temp_directory_path()};
  const fs::path dir_ = folder_.Path();
};

TEST_F(System, PathsFindEachPartWhateverItsCase) {
  fs::create_directories(dir_ / "Archivi/Città");
  for (const char* file : {"Archivi/S770.mdb", "Archivi/s770.MDB", "Archivi/S770.Mdb",
                           "Archivi/città/x", "Archivi/Città/File", "Archivi/\xFF"}) {
    SetBytes(dir_ / file, "");
  }
  const std::pair<const char*, const char*> cases[] = {
      {"\\Archivi\\s770.MDB", "/Archivi/s770.MDB"},
      {"\\ARCHIVI\\S770.MDB", "/Archivi/S770.Mdb"},
      {"/archivi\\\\CITTÀ/file", "/Archivi/Città/File"},
      {"\\archivi\\..\\ARCHIVI\\.\\nuovo.MDB", "/Archivi/../Archivi/./nuovo.MDB"},
      {"\\archivi\\Manca\\S770.MDB", "/Archivi/Manca/S770.MDB"},
      {"\\archivi\\S770.mdb\\x", "/Archivi/S770.mdb/x"},
      {"\\archivi\\", "/Archivi/"},
      {"\\archivi\\\xEF\xBF\xBD", "/Archivi/\xEF\xBF\xBD"},
  };
  for (const auto& [name, path] : cases) {
    EXPECT_EQ(sys::ResolvePath(Name(name)).native(), dir_.native() + path);
  }
  EXPECT_EQ(sys::ResolvePath(u""), "");
  EXPECT_EQ(sys::ResolvePath(u"\\\\"), "/");

  std::u16string endless;
  for (int i = 0; i < 1'000'000; ++i) {
    endless += u"\\archivi/..";
  }
  for (const auto& name :
       {Name("\\archivi"), Name("\\manca"), endless, Name("\\archivi\\S770.mdb") + u'\0'}) {
    EXPECT_FALSE(sys::OpensForReading(name)) << text::ToUtf8(name.substr(0, 100));
  }
  const fs::path before = fs::current_path();
  fs::current_path(dir_);
  EXPECT_TRUE(sys::OpensForReading(u"ARCHIVI\\S770.mdb"));
  fs::current_path(before);
}

TEST_F(System, CopyIsWholeAndForWhomTheFolderIs) {
  std::string bytes(3'000'001, '\0');
  std::generate(bytes.begin(), bytes.end(), std::minstd_rand());
  SetBytes(dir_ / "Modello.mdb", bytes);
  const fs::path folder = dir_ / "Archivi", file = folder / "Nuovo.MDB";
  for (const auto& [of_folder, of_file] :
       {std::pair{0700U, 0600U}, std::pair{0755U, 0600U}, std::pair{0770U, 0660U}}) {
    SCOPED_TRACE(of_folder);
    fs::create_directory(folder);
    chmod(folder.c_str(), of_folder);
    const mode_t mask = umask(of_folder == 0755U ? 0 : 0777);
    sys::FileCopy(Name("\\MODELLO.MDB"), Name("\\ARCHIVI\\Nuovo.MDB"));
    umask(mask);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(of_file));
    EXPECT_TRUE(Bytes(file) == bytes);
    EXPECT_EQ(Entries(folder), 1);
    fs::remove_all(folder);
  }
}

TEST_F(System, CopyThatCannotBeDoneTouchesNothingAndNamesFileAndCause) {
  SetBytes(dir_ / "modello", "nuovo");
  SetBytes(dir_ / "Esiste", "vecchio");
  chmod((dir_ / "Esiste").c_str(), 0);
  fs::create_symlink("altrove", dir_ / "Link");
  SetBytes(dir_ / "grande", "");
  fs::resize_file(dir_ / "grande", std::uintmax_t{10} << 40);
  ASSERT_EQ(mkfifo((dir_ / "pipe").c_str(), 0600), 0);
  const std::array<const char*, 4> cases[] = {
      {"\\modello", "\\ESISTE", "/Esiste", "esiste già"},
      {"\\modello", "\\link", "/Link", "esiste già"},
      {"\\modello", "\\", "/", "non è valido"},
      {"\\manca", "\\x", "/manca", "non esiste"},
      {"", "\\x", "", "è una cartella"},
      {"\\pipe", "\\x", "/pipe", "è una pipe"},
      {"\\grande", "\\x", "/x", " MB, e sul disco /"},
      {"\\modello", "\\manca\\x", "/manca/x", "non esiste"},
      {"\\modello", "\\modello\\x", "/modello/x", "non è una cartella"},
  };
  // The failure's text; "" where there is none.
  const auto copy = [&](const char* from, const char* to) {
    try {
      sys::FileCopy(Name(from), Name(to));
    } catch (const sys::FileError& error) {
      return text::ToUtf8(error.Text());
    }
    return std::string();
  };
  for (const auto& [from, to, file, cause] : cases) {
    const std::string told = copy(from, to);
    EXPECT_TRUE(Has(told, dir_.native() + file + ": ") && Has(told, cause)) << told;
  }
  EXPECT_TRUE(InFork([&] {
    sys::IgnoreFileSizeSignal();
    const rlimit limit = {3, 3};
    setrlimit(RLIMIT_FSIZE, &limit);
    return Has(copy("\\modello", "\\x"), "troppo grande");
  }));
  EXPECT_EQ(Entries(dir_), 5);
  chmod((dir_ / "Esiste").c_str(), 0600);
  EXPECT_EQ(Bytes(dir_ / "Esiste"), "vecchio");
}

TEST_F(System, RegistryReadsAllFormsOfAValue) {
  const std::string v5 = "Windows Registry Editor Version 5.00\r\n\r\n";
  const std::string key = "[HKEY_CURRENT_USER\\Software\\CALVENZA\\Morvenna]\r\n";
  const std::string other = "[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\ALTRO]\r\n";
  const std::string one = "\"Nome\"=\"1\"\r\n";
  const std::string is_one = "1:31000000";
  const std::u16string utf16 = text::FromUtf8("\uFEFF" + v5 + key + "\"NOME\"=\"à€\"\r\n");
  // Files, and what is read from them: type:bytes, or nothing.
  const std::pair<std::string, std::string> cases[] = {
      {v5 + key + one, is_one},
      {{reinterpret_cast<const char*>(utf16.data()), 2 * utf16.size()}, "1:e000ac200000"},
      {"\xEF\xBB\xBF" + v5 + key + "\"nome\"=\"à\"", "1:e0000000"},
      {v5 + key + "\"nome\"=\"à\"", "1:e0000000"},
      {"REGEDIT4\n" + key + "\"nome\"=\"\xE0\x80\"\n", "1:e000ac200000"},
      {v5 + key + "\"nome\"=\"\\\\\\\"\\a\"", "1:5c0022005c0061000000"},
      {v5 + key + "\"nome\"=dword:0001fFfe", "4:feff0100"},
      {v5 + key + "\"nome\"=hex:0,FF, 7f", "3:00ff7f"},
      {v5 + key + "\"nome\"=hex(1):41,00,\\\r\n  42,\\ ; segue\r\n  00\r\n", "1:41004200"},
      {"REGEDIT4\n" + key + "\"nome\"=hex(2):41,80,\\\n  00\n", "2:4100ac200000"},
      {"REGEDIT4\n" + key + "\"nome\"=hex(b):41,80", "11:4180"},
      // A good value after another, and what takes it away.
      {v5 + key + "\"nome\"=\"2\"\r\n" + other + "\"nome\"=\"3\"\r\n" + key + one, is_one},
      {v5 + key + one + "\"nome\"=-", ""},
      {v5 + key + one + "[-HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA]\r\n", ""},
      {v5 + key + one + "[-HKEY_CURRENT_USER\\SOFTWARE\\CALV]\r\n", is_one},
      {v5 + "[-" + key.substr(1) + one, ""},
      // What is malformed is as if it weren't there.
      {v5 + key + one + "\"nome\"=\"2\r\n\"nome=\"3\"\r\n\"nome\"\"4\"\r\n\"nome\"=\"5\"x\r\n",
       is_one},
      {v5 + key + one + "\"nome\"=dword:123456789\r\n\"nome\"=dword:\r\n\"nome\"=dword:1x", is_one},
      {v5 + key + one + "\"nome\"=hex:100\r\n\"nome\"=hex:1 2\r\n\"nome\"=hex(:1\r\n", is_one},
      {v5 + key + one + "\"nome\"=hex(123456789):1\r\n\"nome\"=hex:1,,2\r\n\"nome\"=hex:1,\\",
       is_one},
      {v5 + key + "\"nome\"=hex:01,\\\r\n" + one, is_one},
      {v5 + key + "[HKEY_CURRENT_USER\\ALTRO\r\n" + one, ""},
      {"; a mano\r\n\r\nREGEDIT4\r\n" + key + one, is_one},
      {key + one, ""},
      {"", ""},
  };
  setenv("MORVENNA_REGISTRO", (dir_ / "registro").c_str(), 1);
  for (const auto& [file, expected] : cases) {
    SetBytes(dir_ / "registro", file);
    const auto found =
        sys::ReadRegistry(u"HKEY_CURRENT_USER", u"SOFTWARE\\CALVENZA\\MORVENNA", u"NOME");
    std::string value = found ? std::to_string(found->type) + ':' : "";
    for (const std::uint8_t byte : found ? found->data : std::vector<std::uint8_t>()) {
      value += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
    EXPECT_EQ(value, expected) << file;
  }
}

TEST_F(System, RegistryFileIsInTheHomeFolderWhenNothingElseIsSaid) {
  const auto type = [] {
    const auto found = sys::ReadRegistry(u"HKEY_CURRENT_USER", u"K", u"");
    return found ? found->type : 0;
  };
  fs::create_directories(dir_ / ".config/morvenna");
  SetBytes(dir_ / ".config/morvenna/registro.reg", "REGEDIT4\n[HKEY_CURRENT_USER\\K]\n@=hex(5):");
  setenv("XDG_CONFIG_HOME", "", 1);
  unsetenv("MORVENNA_REGISTRO");
  EXPECT_EQ(type(), 5U);
  setenv("MORVENNA_REGISTRO", dir_.c_str(), 1);
  EXPECT_EQ(type(), 0U);
}

TEST_F(System, EndSignalIsHeldUntilSomeoneListens) {
  for (const bool listening : {true, false}) {
    EXPECT_EQ(InFork([listening] {
                static std::atomic<int> calls = 0;
                signal(SIGHUP, SIG_IGN);
                sys::HoldEndSignals();
                const auto call = [] { ++calls; };
                if (!listening) {
                  sys::OnEndSignal(call);
                  sys::OnEndSignal(nullptr);
                }
                for (const int number : {SIGHUP, SIGTERM, SIGINT}) {
                  kill(getpid(), number);
                }
                if (listening) {
                  sys::OnEndSignal(call);
                }
                std::this_thread::sleep_for(200ms);
                return calls.load();
              }),
              listening ? 1 : 0);
  }
}

int Locked() { return sys::PrevInstance() ? 1 : 0; }

TEST_F(System, LockIsFreeAgainHoweverItsHolderEnds) {
  const fs::path own = dir_ / ("anagparc-" + std::to_string(geteuid()));
  for (const bool session : {true, false}) {
    setenv("TMPDIR", dir_.c_str(), 1);
    session ? setenv("XDG_RUNTIME_DIR", dir_.c_str(), 1) : unsetenv("XDG_RUNTIME_DIR");
    const pid_t holder = Fork([&] {
      if (Locked() == 0 && Locked() == 0) {
        SetBytes(dir_ / "held", "");
        pause();
      }
      return 1;
    });
    ASSERT_TRUE(Eventually([&] { return fs::exists(dir_ / "held"); }));
    EXPECT_TRUE(fs::exists((session ? dir_ : own) / "anagparc.lock"));
    EXPECT_EQ(InFork(Locked), 1);
    kill(holder, SIGKILL);
    EXPECT_EQ(Wait(holder), -SIGKILL);
    EXPECT_EQ(InFork(Locked), 0);
    fs::remove(dir_ / "held");
  }
  // A folder that others have laid out for us isn't used, and no lock is no
  // other copy.
  fs::remove_all(own);
  fs::create_directory(dir_ / "trappola");
  fs::create_symlink("trappola", own);
  EXPECT_EQ(InFork(Locked), 0);
  EXPECT_TRUE(fs::is_empty(dir_ / "trappola"));
  unsetenv("TMPDIR");
}

TEST_F(System, StartedProgramLivesOnWithoutOurFilesAndLock) {
  SetBytes(dir_ / "Padre.exe",
           "#!/bin/sh\nls -l /proc/self/fd >\"$0.fd\"\ngrep SigIgn /proc/self/status >>\"$0.fd\"\n"
           "echo $$ >\"$0.tmp\"\n"
           "mv \"$0.tmp\" \"$0.pid\"\nexec sleep 60\n");
  chmod((dir_ / "Padre.exe").c_str(), 0700);
  SetBytes(dir_ / "testo", "x");
  EXPECT_EQ(InFork([&] {
              sys::IgnoreFileSizeSignal();
              const int open_file = open((dir_ / "testo").c_str(), O_RDONLY);
              const bool refused = !sys::StartProgram(Name("\\manca")) &&
                                   !sys::StartProgram(Name("\\testo")) &&
                                   !sys::StartProgram(Name("")) && !sys::StartProgram(u"");
              const bool started = Locked() == 0 && sys::StartProgram(Name("\\PADRE.EXE"));
              return open_file >= 0 && refused && started ? 0 : 1;
            }),
            0);
  ASSERT_TRUE(Eventually([&] { return fs::exists(dir_ / "Padre.exe.pid"); }));
  const pid_t program = std::stoi(Bytes(dir_ / "Padre.exe.pid"));
  EXPECT_EQ(kill(program, 0), 0);
  EXPECT_NE(getsid(program), getsid(0));
  EXPECT_EQ(InFork(Locked), 0);
  const std::string files = Bytes(dir_ / "Padre.exe.fd");
  EXPECT_FALSE(Has(files, "testo") || Has(files, ".lock")) << files;
  const std::string ignored = files.substr(files.find("SigIgn:") + 7);
  EXPECT_EQ(std::stoull(ignored, nullptr, 16) >> (SIGXFSZ - 1) & 1, 0U) << files;
  kill(program, SIGKILL);
}

// A program of this machine, run to the end of the test.
class Command {
 public:
  explicit Command(const char* command, const std::string& argument = "")
      : pid_(Fork([&] { return execlp("sh", "sh", "-c", command, argument.c_str(), nullptr); })) {}
  ~Command() {
    kill(pid_, SIGKILL);
    Wait(pid_);
  }

 private:
  const pid_t pid_;
};

TEST_F(System, ActivatesTheWindowOfExactlyThisTitle) {
  setenv("DISPLAY", ":none", 1);
  EXPECT_FALSE(sys::ActivateWindow(u"7702015"));
#ifndef ANAGPARC_XCB
  GTEST_SKIP() << "built without xcb";
#endif
  if (std::system("command -v Xvfb && command -v xev && command -v xdotool") != 0) {
    GTEST_SKIP() << "no Xvfb, xev or xdotool";
  }
  for (const bool managed : {false, true}) {
    if (managed && std::system("command -v >/dev/null openbox") != 0) {
      GTEST_SKIP() << "no openbox";
    }
    const std::string number = (dir_ / "display").native();
    fs::remove(number);
    // Without -noreset the server starts afresh between two clients and loses
    // one that comes at that moment.
    const Command server("exec Xvfb -noreset -displayfd 3 3>\"$0\" 2>/dev/null", number);
    ASSERT_TRUE(Eventually([&] { return Bytes(number).ends_with('\n'); }));
    setenv("DISPLAY", (":" + Bytes(number).substr(0, Bytes(number).find('\n'))).c_str(), 1);
    const auto shell = [&](const std::string& command) {
      return std::system((command + " >" + number + ".out 2>/dev/null").c_str()) == 0
                 ? Bytes(number + ".out")
                 : "";
    };
    std::optional<Command> manager;
    if (managed) {
      manager.emplace("exec openbox");
      ASSERT_TRUE(Eventually([&] { return shell("xdotool get_num_desktops") != ""; }));
    }
    const char* const quiet = "exec xev -name \"$0\" >/dev/null";
    const Command parent(quiet, "7702015");
    ASSERT_TRUE(Eventually([&] { return shell("xdotool search --name 7702015") != ""; }));
    const Command longer(quiet, "7702015 bis");
    const auto has_focus = [&](const std::string& title) {
      return Eventually(
          [&] { return shell("xdotool getwindowfocus getwindowname") == title + "\n"; });
    };
    ASSERT_TRUE(Eventually([&] { return sys::ActivateWindow(u"7702015 bis"); }));
    EXPECT_TRUE(has_focus("7702015 bis"));
    EXPECT_TRUE(sys::ActivateWindow(u"7702015"));
    EXPECT_TRUE(has_focus("7702015"));
    EXPECT_FALSE(sys::ActivateWindow(u"770201"));
    EXPECT_FALSE(sys::ActivateWindow(u"7702015 BIS"));
  }
}

}  // namespace
