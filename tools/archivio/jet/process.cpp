#include "archivio/jet/process.h"

#include <glib.h>

#include <cstdlib>
#include <new>
#include <system_error>

#include "archivio/archivio.h"
#include "archivio/interruption.h"

namespace archivio::jet {

namespace {

constexpr std::size_t kLongest = 1'000'000'000;  // of what SQLite puts into a row

// GLib would end the process with a signal, as if it had crashed.
void OnLog(const char* /*domain*/, GLogLevelFlags level, const char* /*message*/,
           void* /*nothing*/) {
  if ((level & G_LOG_FLAG_FATAL) != 0) {
    std::_Exit(sys::ChildJob::kNoMemory);
  }
}

sys::ChildProcess Started(const sys::ChildJob& job, const std::vector<std::string>& arguments,
                          const sys::ChildLimits& limits) {
  try {
    return sys::ChildProcess(job, arguments, limits);
  } catch (const std::system_error&) {
    throw Failure("Il sistema non ha più risorse per leggere l'archivio.");
  }
}

}  // namespace

void Serve(Read read, const std::vector<std::string>& arguments, sys::ToParent& parent) {
  g_log_set_default_handler(OnLog, nullptr);
  Sender sender(parent);
  try {
    read(arguments, sender);
    sender.Send(Kind::kEnd);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& failure) {
    sender.Send(Kind::kFailure, failure.what());
  }
  sender.Flush();
}

Process::Process(const sys::ChildJob& job, const std::vector<std::string>& arguments,
                 const sys::ChildLimits& limits)
    : limits_(limits), process_(Started(job, arguments, limits)) {}

void Process::FailEnded() {
  const sys::ChildProcess::End end = process_.Await();
  if (end.no_memory) {
    throw Damaged("la lettura vuole più di " + std::to_string(limits_.memory >> 20) +
                  " MB di memoria");
  }
  std::string cause = "la lettura si è interrotta";
  if (end.signal != 0) {
    cause += " (segnale " + std::to_string(end.signal) + ")";
  }
  throw Damaged(cause);
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
    switch (process_.Read(buffer_)) {
      case sys::ChildProcess::Event::kBytes:
      case sys::ChildProcess::Event::kSignal:
        break;
      case sys::ChildProcess::Event::kSilent:
        throw Damaged("la lettura è ferma da " + std::to_string(limits_.seconds) + " secondi");
      case sys::ChildProcess::Event::kEnded:
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
