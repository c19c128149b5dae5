#include "faults/FailingVfs.h"

#include <sqlite3.h>

#include <algorithm>

namespace {

using Kind = FailingVfs::Kind;

std::atomic<long> left{0};  // before the first failure, that one included; 0: none is to fail
std::atomic<bool> isLasting{false};
std::atomic<bool> hasFailed{false};
std::atomic<Kind> armed{Kind::IoError};

bool isDue(Kind kind) {
  if (left == 0 || armed != kind || --left > 0) return false;
  if (isLasting) left = 1;
  hasFailed = true;
  return true;
}

sqlite3_vfs* plain() {
  static sqlite3_vfs* const vfs = sqlite3_vfs_find("unix");
  return vfs;
}

using Methods = sqlite3_io_methods;

// What the plain file system does with a file, but for what may fail.
struct OwnMethods : Methods {
  const Methods* plain;
};

const Methods& plainOf(sqlite3_file* file) {
  return *static_cast<const OwnMethods*>(file->pMethods)->plain;
}

// A method that does what it does on the plain file system, unless a fault of the kind is due.
template <auto Method, Kind Of, int Code, typename... Arguments>
int pass(sqlite3_file* file, Arguments... arguments) {
  return isDue(Of) ? Code : (plainOf(file).*Method)(file, arguments...);
}

int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
  const bool isShort = isDue(Kind::ShortWrite);
  if (isShort) static_cast<void>(plainOf(file).xWrite(file, bytes, size / 2, at));
  if (isShort || isDue(Kind::IoError)) return SQLITE_IOERR_WRITE;
  return isDue(Kind::Full) ? SQLITE_FULL : plainOf(file).xWrite(file, bytes, size, at);
}

int lockShared(sqlite3_file* file, int offset, int count, int flags) {
  if (flags == (SQLITE_SHM_LOCK | SQLITE_SHM_EXCLUSIVE) && isDue(Kind::Busy)) return SQLITE_BUSY;
  return plainOf(file).xShmLock(file, offset, count, flags);
}

OwnMethods ownMethods(const Methods& plain) {
  OwnMethods own{plain, &plain};
  own.iVersion = std::min(plain.iVersion, 2);  // no memory-mapped files, which have no operations to fail
  own.xRead = pass<&Methods::xRead, Kind::IoError, SQLITE_IOERR_READ, void*, int, sqlite3_int64>;
  own.xWrite = write;
  own.xTruncate = pass<&Methods::xTruncate, Kind::IoError, SQLITE_IOERR_TRUNCATE, sqlite3_int64>;
  own.xSync = pass<&Methods::xSync, Kind::IoError, SQLITE_IOERR_FSYNC, int>;
  own.xFileSize = pass<&Methods::xFileSize, Kind::IoError, SQLITE_IOERR_FSTAT, sqlite3_int64*>;
  own.xLock = pass<&Methods::xLock, Kind::Busy, SQLITE_BUSY, int>;
  own.xShmMap = pass<&Methods::xShmMap, Kind::IoError, SQLITE_IOERR_SHMMAP, int, int, int, void volatile**>;
  own.xShmLock = lockShared;
  return own;
}

int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  if (isDue(Kind::IoError)) return SQLITE_CANTOPEN;
  const int result = plain()->xOpen(plain(), name, file, flags, outFlags);
  if (file->pMethods == nullptr) return result;
  if ((flags & SQLITE_OPEN_MAIN_DB) != 0) {
    static const OwnMethods database = ownMethods(*file->pMethods);
    file->pMethods = &database;
  } else {  // which is never locked
    static const OwnMethods other = ownMethods(*file->pMethods);
    file->pMethods = &other;
  }
  return result;
}

int remove(sqlite3_vfs*, const char* name, int isFlushed) {
  return isDue(Kind::IoError) ? SQLITE_IOERR_DELETE : plain()->xDelete(plain(), name, isFlushed);
}

}  // namespace

void FailingVfs::install() {
  static sqlite3_vfs own = *plain();
  own.zName = "failing";
  own.xOpen = open;
  own.xDelete = remove;
  sqlite3_vfs_register(&own, 1);
}

void FailingVfs::arm(Kind kind, long first, bool lasting) noexcept {
  armed = kind;
  isLasting = lasting;
  hasFailed = false;
  left = first;
}

bool FailingVfs::disarm() noexcept {
  left = 0;
  return hasFailed;
}
