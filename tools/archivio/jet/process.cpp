#include "archivio/jet/process.h"

#include <fcntl.h>
#include <glib.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <new>

#include "archivio/archivio.h"
#include "archivio/interruption.h"

namespace archivio::jet {

namespace {

constexpr std::size_t kLongest = 1'000'000'000;  // of what SQLite puts into a row
constexpr int kPipeSize = 1 << 20;
constexpr int kNoMemory = 3;  // exit status

void Limit(auto resource, rlim_t value) {
  const rlimit limit = {value, value};
  setrlimit(resource, &limit);
}

// GLib would end the process with a signal, as if it had crashed.
void OnLog(const char* /*domain*/, GLogLevelFlags level, const char* /*message*/,
           void* /*nothing*/) {
  if ((level & G_LOG_FLAG_FATAL) != 0) {
    _exit(kNoMemory);
  }
}

[[noreturn]] void RunReader(const Process::Read& read, int pipe, const Limits& limits) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  Limit(RLIMIT_CORE, 0);
  Limit(RLIMIT_FSIZE, 0);
#ifndef __SANITIZE_ADDRESS__  // it reserves far more than any limit
  Limit(RLIMIT_AS, limits.memory);
#else
  static_cast<void>(limits);
#endif
  // The library tells on these what it finds amiss.
  const int nowhere = open("/dev/null", O_RDWR);
  dup2(nowhere, STDIN_FILENO);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  g_log_set_default_handler(OnLog, nullptr);
  Sender sender(pipe);
  try {
    read(sender);
    sender.Send(Kind::kEnd);
  } catch (const std::bad_alloc&) {
    _exit(kNoMemory);
  } catch (const std::exception& failure) {
    sender.Send(Kind::kFailure, failure.what());
  }
  sender.Flush();
  _exit(0);
}

[[noreturn]] void FailToStart() {
  throw Failure("Il sistema non ha più risorse per leggere l'archivio.");
}

}  // namespace

Process::Process(const Read& read, Limits limits) : limits_(limits) {
  std::array<int, 2> ends;
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    FailToStart();
  }
  fcntl(ends[1], F_SETPIPE_SZ, kPipeSize);
  process_ = fork();
  if (process_ == 0) {
    close(ends[0]);
    RunReader(read, ends[1], limits_);
  }
  close(ends[1]);
  pipe_ = ends[0];
  if (process_ < 0) {
    close(pipe_);
    FailToStart();
  }
}

Process::~Process() {
  close(pipe_);
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
}

void Process::FailEnded() {
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNoMemory) {
    throw Damaged("la lettura vuole più di " + std::to_string(limits_.memory >> 20) +
                  " MB di memoria");
  }
  throw Damaged("la lettura si è interrotta" +
                (WIFSIGNALED(status) ? " (segnale " + std::to_string(WTERMSIG(status)) + ")"
                                     : std::string()));
}

// Makes at least `bytes` available after what has been taken.
void Process::Fill(std::size_t bytes) {
  if (buffer_.size() - taken_ >= bytes) {
    return;
  }
  buffer_.erase(0, taken_);
  taken_ = 0;
  while (buffer_.size() < bytes) {
    CheckInterrupted();
    pollfd ready = {pipe_, POLLIN, 0};
    const int count = poll(&ready, 1, limits_.seconds * 1000);
    if (count == 0) {
      throw Damaged("la lettura è ferma da " + std::to_string(limits_.seconds) + " secondi");
    }
    std::array<char, 1 << 16> part;
    const ssize_t size = count < 0 ? -1 : ::read(pipe_, part.data(), part.size());
    if (size > 0) {
      buffer_.append(part.data(), static_cast<std::size_t>(size));
    } else if (size == 0 || errno != EINTR) {
      FailEnded();
    }
  }
}

Kind Process::Next(std::string_view& message) {
  Fill(kHeadSize);
  std::size_t length = 0;
  for (std::size_t i = 1; i < kHeadSize; ++i) {
    length = (length << 8) | static_cast<unsigned char>(buffer_[taken_ + i]);
  }
  const auto kind = static_cast<unsigned char>(buffer_[taken_]);
  if (length > kLongest || kind > static_cast<unsigned char>(Kind::kEnd)) {
    throw Damaged("il lettore dà messaggi non validi");
  }
  Fill(kHeadSize + length);
  message = std::string_view(buffer_).substr(taken_ + kHeadSize, length);
  taken_ += kHeadSize + length;
  if (static_cast<Kind>(kind) == Kind::kFailure) {
    throw Damaged(std::string(message));
  }
  return static_cast<Kind>(kind);
}

}  // namespace archivio::jet
