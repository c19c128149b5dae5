#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "vorn/platform/data_session.h"

namespace vorn {

/// One column of a parameter set, read in place.
struct BatchColumn {
  const std::string* name;
  std::uint32_t elementCode;  ///< one of element_code
  const void* first;          ///< the first of `rows` elements that stand side by side

  const std::string& text(std::size_t row) const { return static_cast<const std::string*>(first)[row]; }
  long signed64(std::size_t row) const { return static_cast<const long*>(first)[row]; }
  unsigned long unsigned64(std::size_t row) const { return static_cast<const unsigned long*>(first)[row]; }
  float float32(std::size_t row) const { return static_cast<const float*>(first)[row]; }
  double float64(std::size_t row) const { return static_cast<const double*>(first)[row]; }
};

/// The columns of a parameter set, by name in byte-wise order and all of the same length. They refer to the
/// set, which must outlive them and stay as it is.
class BatchColumns {
 public:
  /// @return a failure when the reference is not a parameter set of equally long columns
  static ExecResult read(const TypedRef& parameters, BatchColumns& result);

  std::size_t rows() const { return m_rows; }
  std::size_t size() const { return m_columns.size(); }
  const BatchColumn& operator[](std::size_t column) const { return m_columns[column]; }
  std::vector<BatchColumn>::const_iterator begin() const { return m_columns.begin(); }
  std::vector<BatchColumn>::const_iterator end() const { return m_columns.end(); }

 private:
  std::vector<BatchColumn> m_columns;
  std::size_t m_rows = 0;
};

}  // namespace vorn
