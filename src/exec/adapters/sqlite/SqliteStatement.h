#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <utility>

namespace vorn {

struct SqliteFinalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

using SqliteHandle = std::unique_ptr<sqlite3_stmt, SqliteFinalizer>;

/// A prepared statement and the text under which the cache keeps it.
struct SqliteStatement {
  std::string text;
  SqliteHandle handle;

  sqlite3_stmt* get() const { return handle.get(); }
  explicit operator bool() const { return handle != nullptr; }
};

}  // namespace vorn
