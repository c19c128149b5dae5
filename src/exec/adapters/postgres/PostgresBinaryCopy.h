#pragma once

#include <libpq-fe.h>

#include <vector>

#include "exec/adapters/postgres/PostgresChannel.h"
#include "exec/adapters/postgres/postgres_binary.h"
#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// Writes the rows of a batch as the tuples of a COPY in binary form, which spares the server the reading of
/// texts. The bytes of a value are those of its column's type, so not every batch can go this way.
class PostgresBinaryCopy {
 public:
  /// @param types  of the table's columns, one for each of the batch
  PostgresBinaryCopy(const BatchColumns& columns, const std::vector<Oid>& types);

  /// @return whether every value has a binary form that the server takes for what its text would be
  bool possible() const;

  /// Sends all rows to a channel that waits for them.
  /// @return false when the server takes no more; its answer then says why
  bool send(PostgresChannel& channel) const;

 private:
  const BatchColumns& m_columns;
  std::vector<PostgresForm> m_forms;
};

}  // namespace vorn
