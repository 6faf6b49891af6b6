#include "platform/system/child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <new>

#include "platform/system/posix/fd.h"

namespace sys {

namespace {

constexpr int kPipeSize = 1 << 20;

class Pipe final : public ToParent {
 public:
  explicit Pipe(Fd end) : end_(std::move(end)) {}

  void Write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t put = Unbroken([&] { return write(end_.Get(), bytes.data(), bytes.size()); });
      if (put < 0) {
        _exit(1);
      }
      bytes.remove_prefix(static_cast<std::size_t>(put));
    }
  }

 private:
  Fd end_;
};

void Limit(auto resource, rlim_t value) {
  const rlimit limit = {value, value};
  setrlimit(resource, &limit);
}

[[noreturn]] void Run(const ChildJob& job, const std::vector<std::string>& arguments, Fd end,
                      [[maybe_unused]] const ChildLimits& limits) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NAME, std::string(job.name).c_str());
  Limit(RLIMIT_CORE, 0);
  Limit(RLIMIT_FSIZE, 0);
#ifndef __SANITIZE_ADDRESS__  // it reserves far more than any limit
  Limit(RLIMIT_AS, limits.memory);
#endif
  const int nowhere = open("/dev/null", O_RDWR);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    dup2(nowhere, standard);
  }
  Pipe parent(std::move(end));
  try {
    job.run(arguments, parent);
  } catch (const std::bad_alloc&) {
    _exit(ChildJob::kNoMemory);
  } catch (...) {
    _exit(1);
  }
  _exit(0);
}

}  // namespace

struct ChildProcess::Native {
  Fd pipe;
  pid_t process = -1;
  int patience = 0;  // milliseconds
};

// A fork without an exec: with one thread the copy is whole, and it has the code that it
// runs wherever the program is installed or called from.
ChildProcess::ChildProcess(const ChildJob& job, const std::vector<std::string>& arguments,
                           const ChildLimits& limits)
    : native_(std::make_unique<Native>()) {
  std::array<int, 2> ends;
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(LastError());
  }
  native_->pipe = Fd(ends[0]);
  Fd other(ends[1]);
  fcntl(other.Get(), F_SETPIPE_SZ, kPipeSize);
  native_->patience = limits.seconds * 1000;
  native_->process = fork();
  if (native_->process == 0) {
    native_->pipe = Fd();
    Run(job, arguments, std::move(other), limits);
  }
  if (native_->process < 0) {
    throw std::system_error(LastError());
  }
}

ChildProcess::~ChildProcess() {
  native_->pipe = Fd();
  if (native_->process > 0) {
    kill(native_->process, SIGKILL);
    waitpid(native_->process, nullptr, 0);
  }
}

ChildProcess::Event ChildProcess::Read(std::string& bytes) {
  pollfd ready = {native_->pipe.Get(), POLLIN, 0};
  const int count = poll(&ready, 1, native_->patience);
  if (count == 0) {
    return Event::kSilent;
  }
  std::array<char, 1 << 16> part;
  ssize_t size = -1;
  if (count > 0) {
    size = read(native_->pipe.Get(), part.data(), part.size());
  }
  if (size > 0) {
    bytes.append(part.data(), static_cast<std::size_t>(size));
    return Event::kBytes;
  }
  if (size < 0 && errno == EINTR) {
    return Event::kSignal;
  }
  return Event::kEnded;
}

ChildProcess::End ChildProcess::Await() {
  int status = 0;
  waitpid(native_->process, &status, 0);
  native_->process = -1;
  End end;
  end.no_memory = WIFEXITED(status) && WEXITSTATUS(status) == ChildJob::kNoMemory;
  if (WIFSIGNALED(status)) {
    end.signal = WTERMSIG(status);
  }
  return end;
}

void ServeAsChild(const std::vector<std::string>& /*words*/,
                  const std::vector<ChildJob>& /*jobs*/) {}

}  // namespace sys
