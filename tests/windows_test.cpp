// What only the system itself can do, under Windows: the registry, locks of the session and of
// files, other programs' windows, a child with limits.
#include <windows.h>
#include <aclapi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <thread>

#include "files.h"
#include "platform/system/child.h"
#include "platform/system/environment.h"
#include "platform/system/files.h"
#include "platform/system/input_file.h"
#include "platform/system/new_file.h"
#include "platform/system/paths.h"
#include "platform/system/process.h"
#include "platform/system/registry.h"
#include "platform/system/signals.h"
#include "platform/system/windows/native.h"

namespace fs = std::filesystem;

namespace {

using Event = sys::ChildProcess::Event;

constexpr std::u16string_view kHive = u"HKEY_CURRENT_USER", kKey = u"Software\\anagparc.prova";

// By its first argument, what the child does.
void Work(const std::vector<std::string>& words, sys::ToParent& parent) {
  const std::string& what = words.at(0);
  if (what == "hold") {  // the session
    parent.Write(sys::PrevInstance() ? "taken" : "free");
    Sleep(INFINITE);
  } else if (what == "grow") {
    const sys::NewFile file(text::FromUtf8(words.at(1)), sys::Access::kOwner);
    parent.Write("grows");
    Sleep(INFINITE);
  } else if (what == "memory") {
    std::vector<std::string> all;
    for (int i = 0; i < 1000; ++i) {
      all.emplace_back(std::size_t{1} << 20, 'x');
    }
  } else if (what == "crash") {
    RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), 0, 0, nullptr);
  } else {
    parent.Write(what);
  }
}
constexpr sys::ChildJob kWork = {"prova", Work};

std::string ReadAll(sys::ChildProcess& child) {
  std::string bytes;
  while (child.Read(bytes) == Event::kBytes) {
  }
  return bytes;
}

std::string ReadSome(sys::ChildProcess& child) {
  std::string bytes;
  EXPECT_EQ(child.Read(bytes), Event::kBytes);
  return bytes;
}

constexpr std::wstring_view kWaits = L"--aspetta";
constexpr int kCalled = 77;  // exit status

// This program started once more, waiting for its end: it remembers it, or is called.
int AwaitEnd(bool remember) {
  const sys::Handle called(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (remember) {
    sys::RememberEndSignals();
  } else {
    sys::HoldEndSignals();
    sys::OnEndSignal([&called] { SetEvent(called.Get()); });
  }
  SetEvent(sys::Handle(OpenEventW(EVENT_MODIFY_STATE, FALSE, L"anagparc.prova.pronto")).Get());
  WaitForSingleObject(remember ? sys::EndEvent() : called.Get(), 20'000);
  return remember ? sys::EndSignal() : kCalled;
}

// The window of that process that hears of the session's end.
struct Listener {
  DWORD process;
  HWND window = nullptr;

  static BOOL CALLBACK Look(HWND window, LPARAM parameter) {
    auto& wanted = *reinterpret_cast<Listener*>(parameter);
    wchar_t name[32];
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process == wanted.process && GetClassNameW(window, name, 32) > 0 &&
        std::wstring_view(name) == L"anagparc.session") {
      wanted.window = window;
    }
    return TRUE;
  }
};

std::string Growing(const fs::path& folder) {
  std::string names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names += entry.path().filename().string().starts_with(".anagparc-") ? "x" : "";
  }
  return names;
}

}  // namespace

TEST(Windows, Registry) {
  SetVariable("MORVENNA_REGISTRO", "");
  sys::SystemRegistry* const registry = sys::OwnRegistry();
  ASSERT_NE(registry, nullptr);
  EXPECT_TRUE(sys::RegistryFile().empty());
  EXPECT_FALSE(sys::ReadRegistry(kHive, kKey, u"manca"));
  registry->Write(kHive, kKey, u"Cartella", u"\\\\server\\dati\\ò Ж");
  const auto value = sys::ReadRegistry(kHive, u"SOFTWARE\\Anagparc.PROVA", u"CARTELLA");
  ASSERT_TRUE(value);
  EXPECT_EQ(value->type, sys::kRegSz);
  const auto* const units = reinterpret_cast<const char16_t*>(value->data.data());
  EXPECT_EQ(std::u16string(units, value->data.size() / 2),
            std::u16string(u"\\\\server\\dati\\ò Ж") + u'\0');
  const DWORD number = 0x12345678;
  RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\anagparc.prova", L"n", REG_DWORD, &number, 4);
  const auto stored = sys::ReadRegistry(kHive, kKey, u"N");
  EXPECT_EQ(stored->data, (std::vector<std::uint8_t>{0x78, 0x56, 0x34, 0x12}));
  RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\anagparc.prova");

  SetVariable("MORVENNA_REGISTRO", L"Z:\\manca.reg");
  EXPECT_EQ(sys::OwnRegistry(), nullptr);
  EXPECT_EQ(sys::RegistryFile(), fs::path(L"Z:\\manca.reg"));
}

TEST(Windows, Names) {
  const struct {
    std::u16string_view name;
    std::wstring path;
  } cases[] = {
      {u"C:/uno\\\\due//tre", L"C:\\uno\\due\\tre"},
      {u"\\\\server\\dati\\\\x", L"\\\\server\\dati\\x"},
      {u"C:\\ò Ж\\", L"C:\\ò Ж\\"},
      {u"", L""},
  };
  for (const auto& [name, path] : cases) {
    EXPECT_EQ(sys::ResolvePath(name).native(), path);
    EXPECT_EQ(sys::PathOf(sys::PathBytes(sys::ResolvePath(name))), sys::ResolvePath(name));
  }
  // Beyond the old limit a file can be made, read and named.
  const Folder folder;
  fs::path deep = fs::absolute(folder.Path());
  for (int i = 0; i < 12; ++i) {
    deep /= L"una cartella dal nome lungo trenta";
    fs::create_directory(sys::ResolvePath(sys::PathText(deep)));
  }
  const std::u16string name = sys::PathText(deep / "file.txt");
  EXPECT_GT(name.size(), 300U);
  sys::NewFile file(name, sys::Access::kAsFolder);
  file.Write("dentro");
  file.Place();
  EXPECT_EQ(Bytes(sys::ResolvePath(name)), "dentro");
  EXPECT_TRUE(sys::OpensForReading(name));
  EXPECT_EQ(sys::PathText(sys::ResolvePath(name)), name);
  EXPECT_EQ(sys::NamesOf(name), 1U);
  for (const char16_t* const odd :
       {u"NUL", u"C:\\windows\\COM1", u"C:\\windows", u"manca", u"a\0b"}) {
    EXPECT_FALSE(sys::OpensForReading(odd)) << text::ToUtf8(odd);
  }
}

TEST(Windows, NewFiles) {
  const Folder folder;
  const std::u16string name = sys::PathText(folder / "Nuovo.txt");
  {
    sys::NewFile file(name, sys::Access::kOwner);
    file.Write("uno");
    // Another one's handle, of the kind that SQLite opens, goes on beside ours.
    SetBytes(file.Growing(), "due");
    EXPECT_EQ(Growing(folder.Path()), "x");
    file.Place();
  }
  EXPECT_EQ(Bytes(folder / "nuovo.TXT"), "due");
  EXPECT_EQ(GetFileAttributesW((folder / "Nuovo.txt").c_str()) & FILE_ATTRIBUTE_HIDDEN, 0U);
  EXPECT_THROW(sys::NewFile(sys::PathText(folder / "NUOVO.txt"), sys::Access::kOwner),
               sys::FileError);
  {
    sys::NewFile again(name, sys::Access::kOwner, sys::NewFile::Existing::kReplaced);
    again.Write("tre");
    again.Place();
  }
  EXPECT_EQ(Bytes(folder / "Nuovo.txt"), "tre");

  // What a living process holds stays, what a killed one has left goes.
  {
    sys::ChildProcess child(kWork, {"grow", sys::PathBytes(folder / "altro")}, {});
    if (ReadSome(child) == "grows") {
      const sys::NewFile beside(sys::PathText(folder / "x"), sys::Access::kOwner);
      EXPECT_EQ(Growing(folder.Path()), "xx");
    }
  }
  EXPECT_EQ(Growing(folder.Path()), "x");
  { const sys::NewFile next(sys::PathText(folder / "x"), sys::Access::kOwner); }
  EXPECT_EQ(Growing(folder.Path()), "");
}

TEST(Windows, OneInASession) {
  const Folder folder;
  SetVariable("XDG_RUNTIME_DIR", folder.Path());
  EXPECT_FALSE(sys::PrevInstance());
  EXPECT_FALSE(sys::PrevInstance());
  const auto held = [] {
    sys::ChildProcess child(kWork, {"hold"}, {});
    return ReadSome(child);
  };
  EXPECT_EQ(held(), "taken");
  sys::LeaveInstance();
  EXPECT_EQ(held(), "free");
  EXPECT_FALSE(sys::PrevInstance());  // the other one's went with it
  sys::LeaveInstance();
}

TEST(Windows, OtherWindows) {
  EXPECT_FALSE(sys::ActivateWindow(u"7702015"));
  const HWND window = CreateWindowW(L"STATIC", L"Prova 7702015", WS_OVERLAPPEDWINDOW | WS_VISIBLE,
                                    0, 0, 200, 100, nullptr, nullptr, nullptr, nullptr);
  if (window == nullptr) {
    GTEST_SKIP() << "no display";
  }
  for (const char16_t* const other : {u"prova 7702015", u"Prova 770201", u"Prova 7702015 "}) {
    EXPECT_FALSE(sys::ActivateWindow(other)) << text::ToUtf8(other);
  }
  ShowWindow(window, SW_MINIMIZE);
  EXPECT_TRUE(sys::ActivateWindow(u"Prova 7702015"));
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
    DispatchMessageW(&message);
  }
  EXPECT_FALSE(IsIconic(window));
  ShowWindow(window, SW_HIDE);
  EXPECT_FALSE(sys::ActivateWindow(u"Prova 7702015"));
  DestroyWindow(window);
  EXPECT_FALSE(sys::StartProgram(u"C:\\manca.exe"));
  EXPECT_TRUE(sys::StartProgram(u"C:\\windows\\system32\\hostname.exe"));
}

TEST(Windows, Children) {
  const auto run = [](const std::vector<std::string>& words, const sys::ChildLimits& limits = {}) {
    sys::ChildProcess child(kWork, words, limits);
    const std::string said = ReadAll(child);
    const sys::ChildProcess::End end = child.Await();
    return said + (end.no_memory ? " no memory" : "") +
           (end.signal != 0 ? " signal " + std::to_string(end.signal) : "");
  };
  for (const std::string word : {"ò Ж", "due parole", "", "\"", "a\\", "b\\\\\" c\\\\"}) {
    EXPECT_EQ(run({word}), word);
  }
  EXPECT_EQ(run({"crash"}), " signal 11");

  sys::ChildProcess silent(kWork, {"hold"}, {.seconds = 1});
  EXPECT_NE(ReadSome(silent), "");
  std::string none;
  EXPECT_EQ(silent.Read(none), Event::kSilent);
}

// The session ends, or the console is interrupted: a program that is called, and one that
// remembers.
class End : public testing::TestWithParam<bool> {
 protected:
  void TearDown() override {
    if (started_) {
      TerminateProcess(started_.Get(), 1);
    }
  }

  // Starts this program once more, as AwaitEnd. Returns its number; 0 where it doesn't come up.
  DWORD Start() {
    const sys::Handle ready(CreateEventW(nullptr, TRUE, FALSE, L"anagparc.prova.pronto"));
    std::wstring words = GetCommandLineW();
    words += L" " + std::wstring(kWaits) + (GetParam() ? L" ricorda" : L" chiama");
    STARTUPINFOW how = {};
    how.cb = sizeof how;
    PROCESS_INFORMATION started = {};
    if (CreateProcessW(nullptr, words.data(), nullptr, nullptr, FALSE, CREATE_NEW_PROCESS_GROUP,
                       nullptr, nullptr, &how, &started) == 0) {
      return 0;
    }
    const sys::Handle thread(started.hThread);
    started_ = sys::Handle(started.hProcess);
    return WaitForSingleObject(ready.Get(), 20'000) == WAIT_OBJECT_0 ? started.dwProcessId : 0;
  }

  void ExpectEnd() {
    EXPECT_EQ(WaitForSingleObject(started_.Get(), 20'000), WAIT_OBJECT_0);
    DWORD status = 0;
    GetExitCodeProcess(started_.Get(), &status);
    EXPECT_EQ(status, static_cast<DWORD>(GetParam() ? SIGTERM : kCalled));
  }

 private:
  sys::Handle started_;
};

TEST_P(End, OfTheSession) {
  const DWORD process = Start();
  ASSERT_NE(process, 0U);
  Listener listener = {process};
  for (int i = 0; i < 100 && listener.window == nullptr; ++i) {
    EnumWindows(Listener::Look, reinterpret_cast<LPARAM>(&listener));
    Sleep(50);
  }
  ASSERT_NE(listener.window, nullptr);
  DWORD_PTR result = 0;
  SendMessageTimeoutW(listener.window, WM_ENDSESSION, TRUE, 0, SMTO_NORMAL, 500, &result);
  ExpectEnd();
}

TEST_P(End, OfTheConsole) {
  if (GetConsoleCP() == 0 && AllocConsole() == 0) {
    GTEST_SKIP() << "no console";
  }
  // The whole console is told, and we with it.
  const auto stay = [](DWORD) -> BOOL { return TRUE; };
  SetConsoleCtrlHandler(stay, TRUE);
  ASSERT_NE(Start(), 0U);
  EXPECT_NE(GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, 0), 0);
  ExpectEnd();
  SetConsoleCtrlHandler(stay, FALSE);
}

INSTANTIATE_TEST_SUITE_P(CalledOrRemembering, End, testing::Bool());

TEST(Windows, MemoryHasALimit) {
  sys::ChildProcess child(kWork, {"memory"}, {.memory = std::size_t{200} << 20});
  ReadAll(child);
  EXPECT_TRUE(child.Await().no_memory);
}

int main(int argc, char** argv) {
  const std::vector<std::string> words = sys::Arguments(argc, argv);
  if (words.size() > 1 && text::FromUtf8(words[words.size() - 2]) == sys::FromWide(kWaits)) {
    return AwaitEnd(words.back() == "ricorda");
  }
  sys::ServeAsChild(words, {kWork});
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
