#pragma once

#include "exec/adapters/postgres/PostgresChannel.h"
#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// Writes the rows of a batch as the lines of a COPY in text form: every value passes through the input of
/// its column's own type, whatever that is.
class PostgresTextCopy {
 public:
  explicit PostgresTextCopy(const BatchColumns& columns) : m_columns(columns) {}

  /// Sends all rows to a channel that waits for them.
  /// @return false when the server takes no more; its answer then says why
  bool send(PostgresChannel& channel) const;

 private:
  const BatchColumns& m_columns;
};

}  // namespace vorn
