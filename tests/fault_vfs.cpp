#include "fault_vfs.h"

#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace fault {

namespace {

enum class Call { kOpen, kCreate, kRead, kWrite, kTruncate, kSync, kLock, kDelete, kSyncFolder };

struct State {
  sqlite3_vfs* real = nullptr;
  sqlite3_vfs own = {};
  bool armed = false, lasting = false, struck = false, read_only = false;
  Cause cause = Cause::kIo;
  long left = 0;
  long waited = 0;
  std::vector<Opened> opened;
};
State g;

struct File {
  sqlite3_file base;
  sqlite3_file* Real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
  static sqlite3_file* Real(sqlite3_file* file) { return reinterpret_cast<File*>(file)->Real(); }
};

bool Hits(Cause cause, Call call) {
  switch (cause) {
    case Cause::kDiskFull:
      return call == Call::kCreate || call == Call::kWrite || call == Call::kSync;
    case Cause::kReadOnly:
      return call == Call::kCreate || call == Call::kWrite || call == Call::kTruncate ||
             call == Call::kDelete;
    case Cause::kBusy:
      return call == Call::kLock;
    case Cause::kKill:
      return call != Call::kOpen && call != Call::kRead && call != Call::kLock;
    default:
      return true;
  }
}

// Whether this call fails; then errno says why.
bool Strikes(Call call) {
  if (!g.armed || !Hits(g.cause, call) || --g.left > 0 || (g.left < 0 && !g.lasting)) {
    return false;
  }
  g.struck = true;
  errno = g.cause == Cause::kDiskFull ? ENOSPC : g.cause == Cause::kReadOnly ? EROFS : EIO;
  return true;
}

void DieIfToldTo() {
  if (g.cause == Cause::kKill) {
    raise(SIGKILL);
  }
}

int Fails(int code) {
  const int error = errno;
  DieIfToldTo();
  errno = error;
  return code;
}

int Close(sqlite3_file* file) { return File::Real(file)->pMethods->xClose(File::Real(file)); }

int Read(sqlite3_file* file, void* data, int size, sqlite3_int64 at) {
  return Strikes(Call::kRead) ? Fails(SQLITE_IOERR_READ)
                              : File::Real(file)->pMethods->xRead(File::Real(file), data, size, at);
}

int Write(sqlite3_file* file, const void* data, int size, sqlite3_int64 at) {
  sqlite3_file* const real = File::Real(file);
  if (!Strikes(Call::kWrite)) {
    return real->pMethods->xWrite(real, data, size, at);
  }
  const int error = errno;
  real->pMethods->xWrite(real, data, size / 2, at);
  errno = error;
  return Fails(g.cause == Cause::kDiskFull ? SQLITE_FULL : SQLITE_IOERR_WRITE);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  return Strikes(Call::kTruncate) ? Fails(SQLITE_IOERR_TRUNCATE)
                                  : File::Real(file)->pMethods->xTruncate(File::Real(file), size);
}

int Sync(sqlite3_file* file, int flags) {
  return Strikes(Call::kSync) ? Fails(SQLITE_IOERR_FSYNC)
                              : File::Real(file)->pMethods->xSync(File::Real(file), flags);
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) {
  return File::Real(file)->pMethods->xFileSize(File::Real(file), size);
}

int Lock(sqlite3_file* file, int level) {
  return Strikes(Call::kLock) ? Fails(g.cause == Cause::kBusy ? SQLITE_BUSY : SQLITE_IOERR_LOCK)
                              : File::Real(file)->pMethods->xLock(File::Real(file), level);
}

int Unlock(sqlite3_file* file, int level) {
  return File::Real(file)->pMethods->xUnlock(File::Real(file), level);
}

int CheckReservedLock(sqlite3_file* file, int* reserved) {
  return File::Real(file)->pMethods->xCheckReservedLock(File::Real(file), reserved);
}

int FileControl(sqlite3_file* file, int what, void* data) {
  return File::Real(file)->pMethods->xFileControl(File::Real(file), what, data);
}

int SectorSize(sqlite3_file* file) {
  return File::Real(file)->pMethods->xSectorSize(File::Real(file));
}

int DeviceCharacteristics(sqlite3_file* file) {
  return File::Real(file)->pMethods->xDeviceCharacteristics(File::Real(file));
}

// Version 1: no shared memory, no mapped pages.
constexpr sqlite3_io_methods kMethods = {1,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         Lock,
                                         Unlock,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         DeviceCharacteristics};

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out) {
  file->pMethods = nullptr;
  const bool database = (flags & SQLITE_OPEN_MAIN_DB) != 0;
  const bool creates = (flags & SQLITE_OPEN_CREATE) != 0;
  if (Strikes(creates ? Call::kCreate : Call::kOpen)) {
    return Fails(SQLITE_CANTOPEN);
  }
  if (g.read_only && database) {
    flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
  }
  sqlite3_file* const real = File::Real(file);
  const int code = g.real->xOpen(g.real, name, real, flags, out);
  file->pMethods = real->pMethods != nullptr ? &kMethods : nullptr;
  if (code == SQLITE_OK) {
    struct stat info = {};
    if (name != nullptr) {
      stat(name, &info);
    }
    g.opened.push_back({name != nullptr ? name : "", info.st_mode & 07777});
  }
  return code;
}

int Delete(sqlite3_vfs*, const char* name, int sync_folder) {
  if (Strikes(Call::kDelete)) {
    return Fails(SQLITE_IOERR_DELETE);
  }
  const int code = g.real->xDelete(g.real, name, sync_folder);
  return code == SQLITE_OK && sync_folder != 0 && Strikes(Call::kSyncFolder)
             ? Fails(SQLITE_IOERR_DIR_FSYNC)
             : code;
}

int Sleep(sqlite3_vfs*, int microseconds) {
  g.waited += microseconds / 1000;
  return microseconds;
}

}  // namespace

const char* Name(Cause cause) {
  static constexpr const char* kNames[] = {"disk full", "I/O error", "read-only", "busy", "kill"};
  return kNames[static_cast<int>(cause)];
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

void OpenReadOnly(bool on) { g.read_only = on; }
long TakeWaited() { return std::exchange(g.waited, 0); }
std::vector<Opened> TakeOpened() { return std::exchange(g.opened, {}); }

}  // namespace fault
