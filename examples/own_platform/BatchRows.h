#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "vorn/platform/type_registry.h"

/// The rows of a batch as literals. The batch hands its columns over by reference, each under the name of its placeholder;
/// the columns are of the same length, as the library has refused the batch otherwise.
class BatchRows {
 public:
  /// @param text  a statement with a placeholder `{name}` for each column
  BatchRows(std::string text, const vorn::ParamRefMap& columns);

  std::size_t count() const { return m_count; }

  /// @return the statement with the literals of a row in the place of the placeholders
  std::string statement(std::size_t row) const;

 private:
  const std::string m_text;
  const vorn::ParamRefMap& m_columns;
  std::size_t m_count;
};
