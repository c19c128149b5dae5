#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <memory>
#include <string>

#include "exec/adapters/BatchColumns.h"

namespace vorn {

/// Writes the rows of a batch as the lines of a COPY in text form. Its memory is one fixed buffer.
class PostgresCopy {
 public:
  PostgresCopy();

  /// Sends all rows to a connection that waits for them.
  /// @return false when the connection takes no more, whose next answer tells why
  bool send(PGconn* connection, const BatchColumns& columns);

 private:
  bool flush(PGconn* connection);
  bool putText(PGconn* connection, const std::string& text);

  std::unique_ptr<char[]> m_buffer;
  char* m_end;  ///< behind what is in the buffer
};

}  // namespace vorn
