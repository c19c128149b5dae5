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

  bool isText() const { return elementCode == element_code::kString; }
  bool isInteger() const {
    return elementCode == element_code::kSigned64 || elementCode == element_code::kUnsigned64;
  }

  /// Of a column of texts.
  const std::string& text(std::size_t row) const { return static_cast<const std::string*>(first)[row]; }

  /// Of a column of integers: the value in two's complement.
  unsigned long bits(std::size_t row) const { return static_cast<const unsigned long*>(first)[row]; }

  /// Calls a visitor with the column's elements as an array of their own type.
  /// @code
  ///   column.visit([row](const auto* elements) { return print(elements[row]); });
  /// @endcode
  template <typename Visitor>
  decltype(auto) visit(const Visitor& visitor) const {
    switch (elementCode) {
      case element_code::kString:
        return visitor(static_cast<const std::string*>(first));
      case element_code::kSigned64:
        return visitor(static_cast<const long*>(first));
      case element_code::kUnsigned64:
        return visitor(static_cast<const unsigned long*>(first));
      case element_code::kFloat:
        return visitor(static_cast<const float*>(first));
      default:
        return visitor(static_cast<const double*>(first));
    }
  }
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
