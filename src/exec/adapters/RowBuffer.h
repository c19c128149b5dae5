#pragma once

#include <cstddef>
#include <vector>

#include "vorn/platform/row_value.h"

namespace vorn {

/// Rows kept in memory, packed, first in, first out. All of them have the same number of values.
class RowBuffer {
 public:
  /// Appends a row.
  void push(const std::vector<RowValue>& row);

  /// Takes the oldest row out into `row`.
  /// @return false, `row` as it was, when there is none
  bool pop(std::vector<RowValue>& row);

 private:
  void append(const void* bytes, std::size_t size);
  void extract(void* bytes, std::size_t size);

  std::vector<char> m_bytes;
  std::size_t m_read = 0;
  std::size_t m_columns = 0;
  std::size_t m_rows = 0;
};

}  // namespace vorn
