// An SQLite file system over the usual one that fails when it is told to, or
// ends the process there, and keeps count. One of it in the process; no threads.
#pragma once

#include <filesystem>
#include <vector>

namespace fault {

enum class Cause {
  kDiskFull,      // making a file, writing (half is written), synchronising
  kIo,            // every call
  kReadOnly,      // making a file, writing, truncating, deleting
  kBusy,          // locking
  kTooManyFiles,  // opening a file
  kKill,          // every call that changes a file: Kill, in a write when half is done
};

// Ends this process at once, with nothing more done, as the system does where it is told to;
// its exit status, as RunProgram has it, is kKilled.
[[noreturn]] void Kill();
constexpr int kKilled = 137;

// Becomes the default for files opened from now on.
void Install();

// Fails the nth call from now on that the cause can hit; `lasting`: and all
// such calls after it. Deleting a file and synchronising its folder count as
// two calls.
void Arm(Cause cause, long nth, bool lasting = false);
// From now on nothing fails. Answers whether anything did.
bool Disarm();

// Milliseconds that the waits for locks would have taken, since the last call:
// here they return at once.
long TakeWaited();

struct Opened {
  std::filesystem::path name;  // empty: a temporary file
  std::filesystem::perms mode;
};
// The files opened since the last call.
std::vector<Opened> TakeOpened();

}  // namespace fault
