#pragma once

#include <string>
#include <variant>
#include <vector>

#include "vorn/batch_inserter.h"
#include "vorn/selector.h"

namespace bench {

/// A table of any shape with columns c0, c1, …, its values and the statements that all competitors use.
struct SweepTable {
  using Integers = std::vector<long>;
  using Texts = std::vector<std::string>;
  using Reals = std::vector<double>;

  /// @param kinds  a letter for each column: integer, text or real
  SweepTable(const std::string& kinds, std::size_t rowCount, std::size_t textLength,
             std::size_t statementCount);

  std::vector<std::variant<Integers, Texts, Reals>> columns;
  std::size_t rows;  ///< a statement
  std::size_t statements;
  std::string schema;
  std::string insertText;
  BatchInserter batch;
  CVORNSelector selector;
};

}  // namespace bench
