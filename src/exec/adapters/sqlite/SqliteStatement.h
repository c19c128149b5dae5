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
  std::string text;        ///< empty when the statement is not to be kept
  std::size_t bytes = 0;   ///< the memory that keeping it takes, roughly
  bool controls = false;   ///< begins, ends or divides the transaction
  bool mayCommit = false;  ///< may end it by a commit
  SqliteHandle handle;

  sqlite3_stmt* get() const { return handle.get(); }
  explicit operator bool() const { return handle != nullptr; }
  bool readOnly() const { return sqlite3_stmt_readonly(get()) != 0; }
};

}  // namespace vorn
