// Work in a process of its own, for what may crash, hang or ask for any amount of memory. Its
// results come through a pipe.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sys {

// The child's end of the pipe.
class ToParent {
 public:
  // Waits until there is room. Ends the child where the parent no longer reads.
  virtual void Write(std::string_view bytes) = 0;

 protected:
  ~ToParent() = default;
};

// What a child does. All that it needs of its parent comes in its arguments: a system that
// can't copy a process starts the program once more, and its main runs the job of that
// name. A job that throws std::bad_alloc, or exits with kNoMemory, has run out of memory.
struct ChildJob {
  static constexpr int kNoMemory = 12;  // exit status; 3 may mean a call of abort

  std::string_view name;  // also the process's, where the system shows one
  void (*run)(const std::vector<std::string>& arguments, ToParent& parent);
};

struct ChildLimits {
  int seconds = 60;                           // how long it may send nothing
  std::size_t memory = std::size_t{2} << 30;  // bytes
};

// A child can't write files, leaves no core file, has the null device for its standard
// files, and doesn't outlive its parent.
class ChildProcess {
 public:
  // To be called while there is one thread. Throws std::system_error where the system has no
  // resources left.
  ChildProcess(const ChildJob& job, const std::vector<std::string>& arguments,
               const ChildLimits& limits);
  // Ends the child.
  ~ChildProcess();

  // What a wait ended with.
  enum class Event {
    kBytes,
    kEnded,   // the child has ended, or closed the pipe
    kSilent,  // for as long as its limits allow
    kSignal,  // a signal was remembered (signals.h)
  };
  // Waits for bytes and appends them to `bytes`.
  Event Read(std::string& bytes);

  struct End {
    bool no_memory = false;
    int signal = 0;  // that ended it, or 0
  };
  // How it ended; waits for that.
  End Await();

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

// To be called first of all by the main of a program that has child processes, with its words
// (environment.h) and all their jobs. On a system that starts the program once more for a
// child, runs the child's job and ends the process; elsewhere, and in any other process,
// returns at once.
void ServeAsChild(const std::vector<std::string>& words, const std::vector<ChildJob>& jobs);

}  // namespace sys
