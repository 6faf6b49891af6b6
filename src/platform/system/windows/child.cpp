#include "platform/system/child.h"

#include <windows.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <system_error>

#include "platform/system/environment.h"
#include "platform/system/windows/native.h"
#include "platform/text/text.h"

namespace sys {

namespace {

constexpr DWORD kPipeSize = 1 << 20;
// The first word of a child; the name of its job and its end of the pipe follow.
constexpr std::string_view kChildWord = "--processo-figlio";

class Pipe final : public ToParent {
 public:
  explicit Pipe(Handle end) : end_(std::move(end)) {}

  void Write(std::string_view bytes) override {
    while (!bytes.empty()) {
      DWORD put = 0;
      if (WriteFile(end_.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &put, nullptr) ==
          0) {
        std::_Exit(1);
      }
      bytes.remove_prefix(put);
    }
  }

 private:
  Handle end_;
};

[[noreturn]] void Run(const ChildJob& job, const std::vector<std::string>& arguments, Handle end) {
  // A crash ends the process, without a window that tells of it.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  Pipe parent(std::move(end));
  try {
    job.run(arguments, parent);
  } catch (const std::bad_alloc&) {
    std::_Exit(ChildJob::kNoMemory);
  } catch (...) {
    std::_Exit(1);
  }
  std::_Exit(0);
}

// A word in the form that CommandLineToArgvW takes apart: backslashes count double in
// front of a quote only.
std::wstring Quoted(std::u16string_view word) {
  std::wstring quoted = L"\"";
  std::size_t slashes = 0;
  for (const char16_t c : word) {
    if (c == u'"') {
      quoted.append(slashes + 1, L'\\');
    }
    slashes = c == u'\\' ? slashes + 1 : 0;
    quoted += static_cast<wchar_t>(c);
  }
  quoted.append(slashes, L'\\');
  return quoted + L'"';
}

std::wstring OwnProgram() {
  std::wstring name(32'768, L'\0');
  name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
  return name;
}

// No other handle of ours than these goes to the child.
class Inherited {
 public:
  explicit Inherited(std::array<HANDLE, 2> handles) : handles_(handles) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    InitializeProcThreadAttributeList(Get(), 1, 0, &size);
    UpdateProcThreadAttribute(Get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                              sizeof handles_, nullptr, nullptr);
  }
  ~Inherited() { DeleteProcThreadAttributeList(Get()); }
  Inherited(const Inherited&) = delete;
  Inherited& operator=(const Inherited&) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST Get() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  std::array<HANDLE, 2> handles_;
  std::vector<unsigned char> memory_;
};

// Our rights without that of writing what is ours: of low integrity. Null where the system
// has no such thing.
Handle WithoutWriting() {
  HANDLE opened = nullptr, copied = nullptr;
  constexpr DWORD kRights =
      TOKEN_DUPLICATE | TOKEN_QUERY | TOKEN_ADJUST_DEFAULT | TOKEN_ASSIGN_PRIMARY;
  if (OpenProcessToken(GetCurrentProcess(), kRights, &opened) == 0) {
    return Handle();
  }
  const Handle own(opened);
  if (DuplicateTokenEx(own.Get(), kRights, nullptr, SecurityImpersonation, TokenPrimary, &copied) ==
      0) {
    return Handle();
  }
  Handle token(copied);
  SID low = {SID_REVISION, 1, SECURITY_MANDATORY_LABEL_AUTHORITY, {SECURITY_MANDATORY_LOW_RID}};
  TOKEN_MANDATORY_LABEL label = {{&low, SE_GROUP_INTEGRITY}};
  const bool lowered =
      SetTokenInformation(token.Get(), TokenIntegrityLevel, &label, sizeof label) != 0;
  return lowered ? std::move(token) : Handle();
}

Handle LimitedJob(const ChildLimits& limits) {
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limit = {};
  limit.BasicLimitInformation.LimitFlags =
      JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_PROCESS_MEMORY |
      JOB_OBJECT_LIMIT_ACTIVE_PROCESS | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
  limit.BasicLimitInformation.ActiveProcessLimit = 1;
  limit.ProcessMemoryLimit = limits.memory;
  SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limit, sizeof limit);
  return job;
}

// The number of the signal that stands elsewhere for this end.
int SignalOf(DWORD status) {
  switch (status) {
    case EXCEPTION_ILLEGAL_INSTRUCTION:
      return 4;
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
      return 8;
    default:
      break;
  }
  constexpr DWORD kAborted = 3;  // by the C library
  if (status == kAborted) {
    return 6;
  }
  return status >= 0xC0000000 ? 11 : 0;
}

}  // namespace

struct ChildProcess::Native {
  Handle job;  // closed, it ends the process
  Handle process;
  Handle pipe;
  DWORD patience = 0;  // milliseconds

  void Start(std::wstring words, HANDLE end);
};

void ChildProcess::Native::Start(std::wstring words, HANDLE end) {
  SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
  const Handle nowhere(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, OPEN_EXISTING, 0,
                                   nullptr));
  Inherited inherited({end, nowhere.Get()});
  STARTUPINFOEXW how = {};
  how.StartupInfo.cb = sizeof how;
  how.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  how.StartupInfo.hStdInput = how.StartupInfo.hStdOutput = how.StartupInfo.hStdError =
      nowhere.Get();
  how.lpAttributeList = inherited.Get();
  const Handle token = WithoutWriting();
  PROCESS_INFORMATION started = {};
  if (CreateProcessAsUserW(token.Get(), OwnProgram().c_str(), words.data(), nullptr, nullptr, TRUE,
                           CREATE_SUSPENDED | CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT,
                           nullptr, nullptr, &how.StartupInfo, &started) == 0) {
    throw std::system_error(LastError());
  }
  process = Handle(started.hProcess);
  const Handle thread(started.hThread);
  if (AssignProcessToJobObject(job.Get(), process.Get()) == 0) {
    const std::error_code error = LastError();
    TerminateProcess(process.Get(), 1);
    throw std::system_error(error);
  }
  ResumeThread(thread.Get());
}

ChildProcess::ChildProcess(const ChildJob& job, const std::vector<std::string>& arguments,
                           const ChildLimits& limits)
    : native_(std::make_unique<Native>()) {
  SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
  HANDLE reading = nullptr, writing = nullptr;
  if (CreatePipe(&reading, &writing, &inherit, kPipeSize) == 0) {
    throw std::system_error(LastError());
  }
  native_->pipe = Handle(reading);
  const Handle other(writing);
  SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
  native_->patience = static_cast<DWORD>(limits.seconds) * 1000;
  native_->job = LimitedJob(limits);
  std::wstring words = Quoted(FromWide(OwnProgram()));
  const std::string end = std::to_string(reinterpret_cast<std::uintptr_t>(writing));
  for (const std::string_view word : {kChildWord, job.name, std::string_view(end)}) {
    words += L' ' + Quoted(text::FromUtf8(word));
  }
  for (const std::string& argument : arguments) {
    words += L' ' + Quoted(text::FromUtf8(argument));
  }
  native_->Start(std::move(words), writing);
}

ChildProcess::~ChildProcess() {
  native_->job = Handle();
  if (native_->process) {
    WaitForSingleObject(native_->process.Get(), INFINITE);
  }
}

ChildProcess::Event ChildProcess::Read(std::string& bytes) {
  switch (AwaitBytes(native_->pipe.Get(), native_->patience)) {
    case Wait::kSilent:
      return Event::kSilent;
    case Wait::kSignal:
      return Event::kSignal;
    case Wait::kEnd:
      return Event::kEnded;
    case Wait::kBytes:
      break;
  }
  std::array<char, 1 << 16> part;
  DWORD size = 0;
  if (ReadFile(native_->pipe.Get(), part.data(), part.size(), &size, nullptr) == 0 || size == 0) {
    return Event::kEnded;
  }
  bytes.append(part.data(), size);
  return Event::kBytes;
}

ChildProcess::End ChildProcess::Await() {
  WaitForSingleObject(native_->process.Get(), INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(native_->process.Get(), &status);
  native_->process = Handle();
  return {status == ChildJob::kNoMemory, SignalOf(status)};
}

void ServeAsChild(const std::vector<std::string>& words, const std::vector<ChildJob>& jobs) {
  if (words.size() < 3 || words[0] != kChildWord) {
    return;
  }
  for (const ChildJob& job : jobs) {
    if (job.name == words[1]) {
      Run(job, {words.begin() + 3, words.end()},
          Handle(reinterpret_cast<HANDLE>(std::strtoull(words[2].c_str(), nullptr, 10))));
    }
  }
}

// A pipe can't be waited for together with an event; who fills it fills far more than one
// pause needs.
Wait AwaitBytes(HANDLE pipe, DWORD milliseconds) {
  const ULONGLONG begun = GetTickCount64();
  for (DWORD pause = 0;; pause = 2) {
    DWORD waiting = 0;
    if (PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr) == 0) {
      return Wait::kEnd;
    }
    if (waiting > 0) {
      return Wait::kBytes;
    }
    if (GetTickCount64() - begun >= milliseconds && milliseconds != INFINITE) {
      return Wait::kSilent;
    }
    if (WaitForSingleObject(EndEvent(), pause) == WAIT_OBJECT_0) {
      return Wait::kSignal;
    }
  }
}

}  // namespace sys
