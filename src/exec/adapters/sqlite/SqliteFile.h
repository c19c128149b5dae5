#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <string>

namespace vorn {

/// The file of one open connection, and its place among the files that the process has open.
///
/// SQLite keeps the locks of a file by process. A child that inherits an open file believes to hold its
/// parent's locks, so it must not open that file once more.
class SqliteFile {
 public:
  SqliteFile() = default;
  ~SqliteFile() { forget(); }
  SqliteFile(const SqliteFile&) = delete;
  SqliteFile& operator=(const SqliteFile&) = delete;

  /// @return whether a connection of the parent process to the file was open when it forked this one
  static bool isOpenInParent(const std::string& path) noexcept;

  /// @return the system's word for why a file could neither be opened nor made, in parentheses and with the
  ///         path it is about; nothing where that cannot be seen from outside
  static std::string whyNotOpened(const std::string& path);

  /// Takes note of the file that a connection has just opened; of nothing for a database in memory.
  void opened(sqlite3* database);

  /// Takes note of the write-ahead log and its index, once they are there.
  void noteCompanions() noexcept;

  /// Forgets them, since the connection itself may do away with them.
  void forgetCompanions() noexcept;

  /// @return whether the file still stands under its name
  bool inPlace(sqlite3* database) const noexcept;

  /// @return the same, of the write-ahead log and its index too
  bool wholeInPlace(sqlite3* database) const noexcept;

  /// Says in the log, once for each file, that it does not stand in its place any more.
  void reportMoved(sqlite3* database) const noexcept;

  /// The connection has closed the file.
  void forget() noexcept;

 private:
  struct Identity {
    dev_t device = 0;
    ino_t inode = 0;  ///< 0 for none
    bool operator==(const Identity& other) const { return device == other.device && inode == other.inode; }
  };
  struct Entry;

  static Identity identify(const std::string& path) noexcept;
  static Entry* enter(const Identity& identity);

  Entry* m_entry = nullptr;
  std::string m_logPath;
  std::string m_indexPath;
  Identity m_log;
  Identity m_index;
};

}  // namespace vorn
