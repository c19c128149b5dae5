#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "exec/adapters/postgres/postgres_binary.h"
#include "exec/adapters/postgres/postgres_literal.h"
#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// Rows of a batch as the parameters of one statement, row after row. They point into the batch, whose texts
/// must be without zero bytes.
class PostgresBatchParameters {
 public:
  /// @param types  what the server has said of the parameters of the first row, or nothing: a number goes in
  ///               binary form where that is what its text would be, anything else as text
  /// @param rows   at most, for each set()
  PostgresBatchParameters(const BatchColumns& columns, const std::vector<Oid>& types, std::size_t rows);

  /// Takes some rows.
  void set(std::size_t first, std::size_t last);

  int count() const { return static_cast<int>(m_values.size()); }
  const char* const* values() const { return m_values.data(); }
  const int* lengths() const { return m_lengths.data(); }
  const int* formats() const { return m_formats.data(); }

 private:
  struct Number {
    char bytes[kPostgresNumberSize + 1];
  };

  void setOne(std::size_t at, const BatchColumn& column, PostgresForm form, std::size_t row);

  const BatchColumns& m_columns;
  std::vector<PostgresForm> m_forms;  ///< of the columns; None for texts, and for what goes as text
  std::unique_ptr<Number[]> m_numbers;
  std::vector<const char*> m_values;
  std::vector<int> m_lengths;  ///< of binary values
  std::vector<int> m_formats;
};

}  // namespace vorn
