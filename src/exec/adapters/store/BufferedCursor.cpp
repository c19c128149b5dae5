#include "exec/adapters/store/BufferedCursor.h"

#include <utility>

#include "exec/adapters/base/Failure.h"

namespace vorn {

StoreCursor::Fetch BufferedCursor::fetch(std::vector<RowValue>& row, ExecResult& failure) {
  try {
    if (m_buffered && m_buffer.pop(row)) return Fetch::Row;
    if (m_streams && take(row)) return Fetch::Row;
  } catch (...) {
    m_buffered = false;
    end(outOfMemory());
    m_failure = outOfMemory();  // also where the store's rows had ended before
    throw;
  }
  if (m_failure.succeeded()) return Fetch::End;
  failure = m_failure;
  return Fetch::Failed;
}

bool BufferedCursor::drain() noexcept {
  m_buffered = true;
  try {
    std::vector<RowValue> row;
    while (m_streams && take(row)) m_buffer.push(row);
    return true;
  } catch (...) {
    end(outOfMemory());
    return false;
  }
}

void BufferedCursor::detach() noexcept {
  if (!std::exchange(m_streams, false)) return;
  m_failure = connectionClosed();
  forget();
}

void BufferedCursor::end(ExecResult failure) noexcept {
  if (!std::exchange(m_streams, false)) return;
  m_failure = std::move(failure);
  letGo();
}

}  // namespace vorn
