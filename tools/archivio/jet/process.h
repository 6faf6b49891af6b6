// The process that reads an old archive. Whatever a damaged or hostile file
// does to it, this one goes on and tells the user.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "archivio/jet/stream.h"

namespace archivio::jet {

struct Limits {
  int seconds = 60;                           // without a sign of life
  std::size_t memory = std::size_t{2} << 30;  // bytes
};

// Runs `read` in a process of its own. That is a fork without an exec: the tool
// has one thread, so the copy is whole, and it finds the code that it runs
// wherever the tool is installed or called from. It can't write files, leaves no
// core file, and doesn't outlive this process.
class Process {
 public:
  using Read = std::function<void(Sender&)>;
  explicit Process(const Read& read, Limits limits = {});
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // The next message, until the next call. Throws Damaged when the process
  // can't go on, doesn't, or sends what isn't a message.
  Kind Next(std::string_view& message);

 private:
  void Fill(std::size_t bytes);
  [[noreturn]] void FailEnded();

  Limits limits_;
  pid_t process_ = -1;
  int pipe_ = -1;
  std::string buffer_;
  std::size_t taken_ = 0;
};

}  // namespace archivio::jet
