#pragma once

#include <sqlite3.h>

#include <memory>

#include "exec/adapters/store/StatementCache.h"

namespace vorn {

struct SqliteFinalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

using SqliteHandle = std::unique_ptr<sqlite3_stmt, SqliteFinalizer>;

/// A prepared statement, as the cache keeps it.
struct SqliteStatement : CachedStatement {
  unsigned uses = 0;
  bool asText = false;     ///< there is no statement: its like are not worth lifting
  bool controls = false;   ///< begins, ends or divides the transaction
  bool mayCommit = false;  ///< may end it by a commit
  SqliteHandle handle;

  sqlite3_stmt* get() const { return handle.get(); }
  explicit operator bool() const { return handle != nullptr; }
  bool readOnly() const { return sqlite3_stmt_readonly(get()) != 0; }
};

}  // namespace vorn
