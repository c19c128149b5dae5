#pragma once

#include <cstdint>
#include <string>

namespace vorn {

/// How the connections of one SQLite store are opened.
struct SqliteSettings {
  std::string file;  ///< a path, or a file: URI for a database in memory
  bool isUri = false;
  std::string name;                  ///< see StoreDriver::name()
  std::uint32_t busyTimeout = 5000;  ///< milliseconds
  std::string journalMode = "wal";
  std::string synchronous = "full";
};

}  // namespace vorn
