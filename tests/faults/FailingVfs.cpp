#include "faults/FailingVfs.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstddef>

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

struct File {
  sqlite3_file base;
  // The plain file follows, at an address that suits any type.
  sqlite3_file* plainFile() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};
static_assert(sizeof(File) % alignof(std::max_align_t) == 0 || sizeof(File) == sizeof(void*));

sqlite3_file* plainOf(sqlite3_file* file) {
  return reinterpret_cast<File*>(file)->plainFile();
}

// A method that passes on to the plain file, unless a fault of the kind is due.
template <auto Method, Kind Of, int Code, typename... Arguments>
int pass(sqlite3_file* file, Arguments... arguments) {
  if (isDue(Of)) return Code;
  return (plainOf(file)->pMethods->*Method)(plainOf(file), arguments...);
}

template <auto Method, typename... Arguments>
auto passAlways(sqlite3_file* file, Arguments... arguments) {
  return (plainOf(file)->pMethods->*Method)(plainOf(file), arguments...);
}

using Methods = sqlite3_io_methods;

int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
  const bool isShort = isDue(Kind::ShortWrite);
  if (isShort) static_cast<void>(passAlways<&Methods::xWrite>(file, bytes, size / 2, at));
  if (isShort || isDue(Kind::IoError)) return SQLITE_IOERR_WRITE;
  if (isDue(Kind::Full)) return SQLITE_FULL;
  return passAlways<&Methods::xWrite>(file, bytes, size, at);
}

// The functions are told apart by their arguments.
Methods methodsOf(int version) {
  Methods own{};
  own.iVersion = std::min(version, 2);  // no memory-mapped files, which have no operations to fail
  own.xClose = [](sqlite3_file* file) { return passAlways<&Methods::xClose>(file); };
  own.xRead = pass<&Methods::xRead, Kind::IoError, SQLITE_IOERR_READ, void*, int, sqlite3_int64>;
  own.xWrite = write;
  own.xTruncate = pass<&Methods::xTruncate, Kind::IoError, SQLITE_IOERR_TRUNCATE, sqlite3_int64>;
  own.xSync = pass<&Methods::xSync, Kind::IoError, SQLITE_IOERR_FSYNC, int>;
  own.xFileSize = pass<&Methods::xFileSize, Kind::IoError, SQLITE_IOERR_FSTAT, sqlite3_int64*>;
  own.xLock = pass<&Methods::xLock, Kind::Busy, SQLITE_BUSY, int>;
  own.xUnlock = passAlways<&Methods::xUnlock, int>;
  own.xCheckReservedLock = passAlways<&Methods::xCheckReservedLock, int*>;
  own.xFileControl = passAlways<&Methods::xFileControl, int, void*>;
  own.xSectorSize = [](sqlite3_file* file) { return passAlways<&Methods::xSectorSize>(file); };
  own.xDeviceCharacteristics = [](sqlite3_file* file) {
    return passAlways<&Methods::xDeviceCharacteristics>(file);
  };
  own.xShmMap = pass<&Methods::xShmMap, Kind::IoError, SQLITE_IOERR_SHMMAP, int, int, int, void volatile**>;
  own.xShmLock = [](sqlite3_file* file, int offset, int count, int flags) {
    if (flags == (SQLITE_SHM_LOCK | SQLITE_SHM_EXCLUSIVE) && isDue(Kind::Busy)) return SQLITE_BUSY;
    return passAlways<&Methods::xShmLock>(file, offset, count, flags);
  };
  own.xShmBarrier = [](sqlite3_file* file) { passAlways<&Methods::xShmBarrier>(file); };
  own.xShmUnmap = passAlways<&Methods::xShmUnmap, int>;
  return own;
}

int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  if (isDue(Kind::IoError)) return SQLITE_CANTOPEN;
  const int result = plain()->xOpen(plain(), name, plainOf(file), flags, outFlags);
  if (plainOf(file)->pMethods == nullptr) return result;
  static const Methods methods = methodsOf(plainOf(file)->pMethods->iVersion);
  file->pMethods = &methods;
  return result;
}

int remove(sqlite3_vfs*, const char* name, int isFlushed) {
  return isDue(Kind::IoError) ? SQLITE_IOERR_DELETE : plain()->xDelete(plain(), name, isFlushed);
}

}  // namespace

void FailingVfs::install() {
  static sqlite3_vfs own = *plain();
  own.zName = "failing";
  own.szOsFile = static_cast<int>(sizeof(File)) + plain()->szOsFile;
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
