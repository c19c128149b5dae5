#pragma once

#include <vector>

#include "vorn/platform/data_session.h"
#include "vorn/platform/row_value.h"

namespace vorn {

/// The rows of one read. It belongs to the connection that made it and is used on the connection's thread. A
/// cursor may outlive its connection: it then delivers what is in memory, and fails if that is not all.
/// Destroying it gives up the rows that are left. Stores derive theirs from BufferedCursor.
///
/// Invariant: after any exception a cursor delivers exactly the rows that are left, or ends with a failure.
class StoreCursor {
 public:
  enum class Fetch { Row, End, Failed };

  virtual ~StoreCursor() = default;

  /// Replaces `row` by the next row. On End and on Failed `row` stays as it is.
  /// @param failure  set on Failed only
  virtual Fetch fetch(std::vector<RowValue>& row, ExecResult& failure) = 0;

  /// Gives up the rows that are left.
  /// @return a failure when the read had to be cut off, so that what it has written may be lost
  virtual ExecResult close() noexcept { return {}; }
};

}  // namespace vorn
