#include "exec/adapters/sqlite/SqliteFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "common/c_locale.h"
#include "common/log_line.h"
#include "exec/adapters/base/ProcessEpoch.h"

namespace vorn {

// One file that connections of this process have or had open. Entries are only ever added, and without a
// lock: a fork may come at any moment, and the child reads what the other threads have left.
struct SqliteFile::Entry {
  Identity identity;
  std::uint32_t epoch = 0;  ///< of the process whose connections are counted
  std::atomic<unsigned> connections{0};
  std::atomic<bool> reported{false};
  Entry* next = nullptr;

  static inline std::atomic<Entry*> s_first{nullptr};
};

SqliteFile::Identity SqliteFile::identify(const std::string& path) noexcept {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino};
}

SqliteFile::Entry* SqliteFile::enter(const Identity& identity) {
  const std::uint32_t now = ProcessEpoch::current();
  for (Entry* entry = Entry::s_first.load(); entry != nullptr; entry = entry->next) {
    if (entry->epoch != now || !(entry->identity == identity)) continue;
    // The number of an inode is used again when its file is gone.
    if (entry->connections.fetch_add(1) == 0) entry->reported = false;
    return entry;
  }
  auto* const made = new Entry;
  made->identity = identity;
  made->epoch = now;
  made->connections = 1;
  made->next = Entry::s_first.load();
  while (!Entry::s_first.compare_exchange_weak(made->next, made)) {
  }
  return made;
}

bool SqliteFile::isOpenInParent(const std::string& path) noexcept {
  const std::uint32_t now = ProcessEpoch::current();
  if (now == 0) return false;
  const Identity identity = identify(path);
  if (identity.inode == 0) return false;
  for (const Entry* entry = Entry::s_first.load(); entry != nullptr; entry = entry->next) {
    if (entry->epoch != now && entry->identity == identity && entry->connections > 0) return true;
  }
  return false;
}

void SqliteFile::opened(sqlite3* database) {
  const char* const path = sqlite3_db_filename(database, "main");
  if (path == nullptr || *path == '\0') return;
  const Identity identity = identify(path);
  if (identity.inode == 0) return;
  m_logPath = sqlite3_filename_wal(path);
  m_indexPath = std::string(path) + "-shm";
  m_entry = enter(identity);
}

std::string SqliteFile::whyNotOpened(const std::string& path) {
  const auto because = [](const std::string& what, int error) {
    return " (" + what + ": " + strerror_l(error, cLocale()) + ")";
  };
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return because(path, EISDIR);
    return ::access(path.c_str(), R_OK) == 0 ? "" : because(path, errno);
  }
  if (errno != ENOENT) return because(path, errno);
  // The file would have been made.
  const std::string folder = std::filesystem::path(path).parent_path().string();
  return ::access(folder.c_str(), W_OK | X_OK) == 0 ? "" : because(folder, errno);
}

void SqliteFile::noteCompanions() noexcept {
  if (m_entry == nullptr) return;
  m_log = identify(m_logPath);
  m_index = identify(m_indexPath);
}

void SqliteFile::forgetCompanions() noexcept {
  m_log = {};
  m_index = {};
}

bool SqliteFile::inPlace(sqlite3* database) const noexcept {
  if (m_entry == nullptr) return true;
  int moved = 0;
  const int code = sqlite3_file_control(database, "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return code != SQLITE_OK || moved == 0;
}

bool SqliteFile::wholeInPlace(sqlite3* database) const noexcept {
  return inPlace(database) && (m_log.inode == 0 || identify(m_logPath) == m_log) &&
         (m_index.inode == 0 || identify(m_indexPath) == m_index);
}

void SqliteFile::reportMoved(sqlite3* database) const noexcept {
  if (m_entry == nullptr || m_entry->reported.exchange(true)) return;
  try {
    Logger::info(taggedLine("the file of an SQLite store was moved, replaced or deleted under its "
                            "connections; they are closed, and the next one opens it anew: " +
                            std::string(sqlite3_db_filename(database, "main"))),
                 {"SqliteFile", "reportMoved", __LINE__});
  } catch (...) {
    m_entry->reported = false;  // there is no memory for the line; the next connection says it
  }
}

void SqliteFile::forget() noexcept {
  if (m_entry == nullptr) return;
  m_entry->connections.fetch_sub(1);
  m_entry = nullptr;
}

}  // namespace vorn
