#pragma once

#include <mysql.h>

#include <memory>

#include "exec/adapters/mariadb/MariaDbChannel.h"
#include "exec/adapters/store/StatementCache.h"

namespace vorn {

struct MariaDbStatementCloser {
  MariaDbChannel* channel = nullptr;
  void operator()(MYSQL_STMT* statement) const { channel->close(statement); }
};

/// A prepared statement that closes itself, on its channel, which must outlive it.
struct MariaDbStatement : CachedStatement {
  bool asText = false;  ///< there is no statement: its like are asked as text
  std::unique_ptr<MYSQL_STMT, MariaDbStatementCloser> handle;
};

}  // namespace vorn
