#pragma once

#include <vector>

#include "exec/adapters/store/RowBuffer.h"
#include "exec/adapters/store/StoreCursor.h"

namespace vorn {

/// A cursor over rows that its store delivers one by one, and that move into memory when the connection is
/// needed for something else.
///
/// Invariants:
/// 1. While it streams, it holds its connection's statement; after that it holds neither.
/// 2. Rows that were moved into memory are delivered first, in their order, and the failure of the read after
///    them.
/// 3. An exception ends the read with a failure: no row follows one that is missing.
class BufferedCursor : public StoreCursor {
 public:
  BufferedCursor() = default;
  BufferedCursor(const BufferedCursor&) = delete;
  BufferedCursor& operator=(const BufferedCursor&) = delete;

  Fetch fetch(std::vector<RowValue>& row, ExecResult& failure) final;

  /// Moves the remaining rows into memory and ends the statement.
  /// @return false when memory ran out, so that rows are missing before the failure
  bool drain() noexcept;

  /// The connection is going away: what is not in memory is lost.
  void detach() noexcept;

  /// @return whether rows of the store are still to come
  bool streams() const noexcept { return m_streams; }

  /// @return why the read ended early, or success
  const ExecResult& failure() const noexcept { return m_failure; }

 protected:
  /// Takes the next row from the store. Called only while the cursor streams. An exception that leaves the
  /// conversation with the store cut off has to break the connection before it goes on.
  /// @return false when there is none, after end() was called with the outcome of the read
  virtual bool take(std::vector<RowValue>& row) = 0;

  /// Gives the statement back to the connection, wherever it stands. The derived destructor calls end(), as
  /// this class's own comes too late for it.
  virtual void letGo() noexcept = 0;

  /// Drops the statement, without a word to the connection: its handle is freed right after this.
  virtual void forget() noexcept = 0;

  /// The read is over: lets go, unless that was done before.
  void end(ExecResult failure) noexcept;

 private:
  RowBuffer m_buffer;
  ExecResult m_failure;
  bool m_streams = true;
  bool m_buffered = false;  ///< there may be rows in m_buffer
};

}  // namespace vorn
