#include "fault_vfs.h"

#include <sqlite3.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <signal.h>
#endif

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace fault {

namespace {

enum class Call { kOpen, kCreate, kRead, kWrite, kTruncate, kSync, kLock, kDelete, kSyncFolder };

struct State {
  sqlite3_vfs* real = nullptr;
  sqlite3_vfs own = {};
  bool armed = false, lasting = false, struck = false;
  Cause cause = Cause::kIo;
  long left = 0;
  long waited = 0;
  std::vector<Opened> opened;
};
State g;

// The real file's own structure follows this one.
struct File {
  sqlite3_file base;
  static sqlite3_file* Real(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(reinterpret_cast<File*>(file) + 1);
  }
};

bool Hits(Cause cause, Call call) {
  const bool making = call == Call::kCreate || call == Call::kWrite;
  switch (cause) {
    case Cause::kDiskFull:
      return making || call == Call::kSync;
    case Cause::kReadOnly:
      return making || call == Call::kTruncate || call == Call::kDelete;
    case Cause::kBusy:
      return call == Call::kLock;
    case Cause::kTooManyFiles:
      return call == Call::kOpen || call == Call::kCreate;
    case Cause::kKill:
      return call != Call::kOpen && call != Call::kRead && call != Call::kLock;
    default:
      return true;
  }
}

// What the system would say.
void SetError(Cause cause) {
#ifdef _WIN32
  SetLastError(cause == Cause::kDiskFull       ? ERROR_DISK_FULL
               : cause == Cause::kReadOnly     ? ERROR_WRITE_PROTECT
               : cause == Cause::kTooManyFiles ? ERROR_TOO_MANY_OPEN_FILES
                                               : ERROR_IO_DEVICE);
#else
  errno = cause == Cause::kDiskFull       ? ENOSPC
          : cause == Cause::kReadOnly     ? EROFS
          : cause == Cause::kTooManyFiles ? EMFILE
                                          : EIO;
#endif
}

// Whether this call fails; then the system's error says why.
bool Strikes(Call call) {
  if (!g.armed || !Hits(g.cause, call) || --g.left > 0 || (g.left < 0 && !g.lasting)) {
    return false;
  }
  g.struck = true;
  if (g.cause == Cause::kKill && call != Call::kWrite) {
    Kill();
  }
  SetError(g.cause);
  return true;
}

template <auto method, class... Arguments>
int Pass(sqlite3_file* file, Arguments... arguments) {
  sqlite3_file* const real = File::Real(file);
  return (real->pMethods->*method)(real, arguments...);
}

template <auto method, Call call, int code, class... Arguments>
int PassOrFail(sqlite3_file* file, Arguments... arguments) {
  return Strikes(call) ? code : Pass<method>(file, arguments...);
}

int Write(sqlite3_file* file, const void* data, int size, sqlite3_int64 at) {
  if (!Strikes(Call::kWrite)) {
    return Pass<&sqlite3_io_methods::xWrite>(file, data, size, at);
  }
  Pass<&sqlite3_io_methods::xWrite>(file, data, size / 2, at);
  if (g.cause == Cause::kKill) {
    Kill();
  }
  SetError(g.cause);
  return g.cause == Cause::kDiskFull ? SQLITE_FULL : SQLITE_IOERR_WRITE;
}

int Lock(sqlite3_file* file, int level) {
  return !Strikes(Call::kLock)     ? Pass<&sqlite3_io_methods::xLock>(file, level)
         : g.cause == Cause::kBusy ? SQLITE_BUSY
                                   : SQLITE_IOERR_LOCK;
}

using Methods = sqlite3_io_methods;
// Version 1: no shared memory, no mapped pages.
constexpr Methods kMethods = {
    .iVersion = 1,
    .xClose = Pass<&Methods::xClose>,
    .xRead = PassOrFail<&Methods::xRead, Call::kRead, SQLITE_IOERR_READ>,
    .xWrite = Write,
    .xTruncate = PassOrFail<&Methods::xTruncate, Call::kTruncate, SQLITE_IOERR_TRUNCATE>,
    .xSync = PassOrFail<&Methods::xSync, Call::kSync, SQLITE_IOERR_FSYNC>,
    .xFileSize = Pass<&Methods::xFileSize>,
    .xLock = Lock,
    .xUnlock = Pass<&Methods::xUnlock>,
    .xCheckReservedLock = Pass<&Methods::xCheckReservedLock>,
    .xFileControl = Pass<&Methods::xFileControl>,
    .xSectorSize = Pass<&Methods::xSectorSize>,
    .xDeviceCharacteristics = Pass<&Methods::xDeviceCharacteristics>};

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out) {
  file->pMethods = nullptr;
  if (Strikes((flags & SQLITE_OPEN_CREATE) != 0 ? Call::kCreate : Call::kOpen)) {
    return SQLITE_CANTOPEN;
  }
  sqlite3_file* const real = File::Real(file);
  const int code = g.real->xOpen(g.real, name, real, flags, out);
  file->pMethods = real->pMethods != nullptr ? &kMethods : nullptr;
  if (code == SQLITE_OK && name == nullptr) {
    g.opened.push_back({});
  } else if (code == SQLITE_OK) {
    g.opened.push_back({name, std::filesystem::status(name).permissions()});
  }
  return code;
}

int Delete(sqlite3_vfs*, const char* name, int sync_folder) {
  if (Strikes(Call::kDelete)) {
    return SQLITE_IOERR_DELETE;
  }
  const int code = g.real->xDelete(g.real, name, sync_folder);
  return code == SQLITE_OK && sync_folder != 0 && Strikes(Call::kSyncFolder)
             ? SQLITE_IOERR_DIR_FSYNC
             : code;
}

int Sleep(sqlite3_vfs*, int microseconds) {
  g.waited += microseconds / 1000;
  return microseconds;
}

}  // namespace

void Kill() {
#ifdef _WIN32
  TerminateProcess(GetCurrentProcess(), kKilled);
#else
  raise(SIGKILL);
#endif
  std::abort();
}

void Install() {
  if (g.real != nullptr) {
    return;
  }
  g.real = sqlite3_vfs_find(nullptr);
  g.own = *g.real;
  g.own.zName = "fault";
  g.own.pNext = nullptr;
  g.own.szOsFile = static_cast<int>(sizeof(File)) + g.real->szOsFile;
  g.own.xOpen = Open;
  g.own.xDelete = Delete;
  g.own.xSleep = Sleep;
  sqlite3_vfs_register(&g.own, 1);
}

void Arm(Cause cause, long nth, bool lasting) {
  g.cause = cause;
  g.left = nth;
  g.lasting = lasting;
  g.armed = true;
  g.struck = false;
}

bool Disarm() {
  g.armed = false;
  return std::exchange(g.struck, false);
}

long TakeWaited() { return std::exchange(g.waited, 0); }
std::vector<Opened> TakeOpened() { return std::exchange(g.opened, {}); }

}  // namespace fault
