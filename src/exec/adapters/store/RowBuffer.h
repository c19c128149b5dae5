#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "vorn/platform/row_value.h"

namespace vorn {

/// Rows kept in memory, packed, first in, first out. All of them have the same number of values.
///
/// Invariants:
/// 1. A row is written only after there is room for all of it, and counted when it is complete; so push()
///    keeps a row whole or leaves the buffer as it was.
/// 2. A row is taken off the buffer only when all of it has been handed out: if pop() throws, the same row
///    comes again.
/// 3. A block is freed with its last row, so what has been read takes no memory.
class RowBuffer {
 public:
  /// Appends a row.
  void push(const std::vector<RowValue>& row);

  /// Takes the oldest row out into `row`. What `row` holds after an exception is unspecified.
  /// @return false, `row` as it was, when there is none
  bool pop(std::vector<RowValue>& row);

 private:
  struct Block {
    std::unique_ptr<char[]> bytes;
    std::size_t capacity = 0;
    std::size_t used = 0;
  };

  Block& blockFor(std::size_t rowSize);

  std::vector<Block> m_blocks;
  std::size_t m_first = 0;  ///< the block of the oldest row; those before it are freed
  std::size_t m_read = 0;   ///< where in it the row begins
  std::size_t m_columns = 0;
  std::size_t m_rows = 0;
};

}  // namespace vorn
