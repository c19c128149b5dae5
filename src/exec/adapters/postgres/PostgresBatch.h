#pragma once

#include <string>
#include <vector>

#include "exec/adapters/BatchColumns.h"
#include "exec/adapters/postgres/PostgresConnection.h"

namespace vorn {

/// Runs one statement for every row of a parameter set, all rows or none.
///
/// A plain insert goes as COPY where that means the same, else as one insert from unnested arrays; any other
/// statement is prepared and run row by row, many rows a round trip.
class PostgresBatch {
 public:
  PostgresBatch(PostgresConnection& connection, const BatchColumns& columns);

  /// @param rows  set to the number of rows written
  ExecResult run(const std::string& sql, std::uint64_t& rows);

 private:
  ExecResult insertColumns(const std::string& table, bool nested, std::uint64_t& rows);
  ExecResult insertByCopy(const std::string& target, bool mayBeBinary, std::uint64_t& rows);
  template <typename Format>
  ExecResult copy(const Format& format, const std::string& destination, std::uint64_t& rows);
  ExecResult insertUnnested(const std::string& target, std::uint64_t& rows);
  ExecResult canCopy(const std::string& table, bool nested, bool& can, bool& binary);
  ExecResult columnTypes(const std::string& target, std::vector<Oid>& types);
  ExecResult namesOf(const std::vector<Oid>& types, std::vector<std::string>& names);
  ExecResult insertSlice(const std::string& sql, std::size_t& row, std::uint64_t& rows);
  ExecResult runRowByRow(const std::string& sql, std::uint64_t& rows);
  ExecResult runRows(std::size_t first, std::size_t last, std::uint64_t& rows);
  ExecResult collectRows(std::uint64_t& rows);
  ExecResult send(const std::string& sql, const std::vector<std::string>& parameters);
  ExecResult queryRow(const std::string& sql, const std::vector<std::string>& parameters,
                      std::vector<std::string>& row);

  PostgresConnection& m_connection;
  const BatchColumns& m_columns;
};

}  // namespace vorn
