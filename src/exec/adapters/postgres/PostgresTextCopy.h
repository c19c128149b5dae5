#pragma once

#include <libpq-fe.h>

#include "exec/adapters/BatchColumns.h"

namespace vorn {

/// Writes the rows of a batch as the lines of a COPY in text form: every value passes through the input of
/// its column's own type, whatever that is.
class PostgresTextCopy {
 public:
  explicit PostgresTextCopy(const BatchColumns& columns) : m_columns(columns) {}

  /// Sends all rows to a connection that waits for them.
  /// @return false when the connection takes no more, whose next answer tells why
  bool send(PGconn* connection) const;

 private:
  const BatchColumns& m_columns;
};

}  // namespace vorn
