// The process that reads an old archive. Whatever a damaged or hostile file does to it, this
// process goes on and reports that to the user.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "archivio/jet/stream.h"
#include "platform/system/child.h"

namespace archivio::jet {

// The job of the process: sends what `read` sends, and at last kEnd, or kFailure with
// what() of what it throws.
using Read = void (*)(const std::vector<std::string>& arguments, Sender& sender);
void Serve(Read read, const std::vector<std::string>& arguments, sys::ToParent& parent);

class Process {
 public:
  // Throws Failure where the system has no resources left.
  Process(const sys::ChildJob& job, const std::vector<std::string>& arguments,
          const sys::ChildLimits& limits = {});

  // The next message, until the next call. Throws Damaged when the process
  // can't go on, doesn't, or sends what isn't a message.
  Kind Next(std::string_view& message);

 private:
  void Fill(std::size_t bytes);
  [[noreturn]] void FailEnded();

  sys::ChildLimits limits_;
  sys::ChildProcess process_;
  std::string buffer_;
  std::size_t taken_ = 0;
};

}  // namespace archivio::jet
