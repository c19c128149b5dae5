#include "exec/adapters/sqlite/SqliteBatch.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "exec/adapters/base/Failure.h"

namespace vorn {

namespace {

constexpr unsigned long kLargest = std::numeric_limits<long>::max();

// The first row whose value does not fit, or rows.
std::size_t firstMisfit(const BatchColumn& column, std::size_t rows) {
  const auto search = [rows](const auto* first, auto misfits) {
    return static_cast<std::size_t>(std::find_if(first, first + rows, misfits) - first);
  };
  switch (column.elementCode) {
    case element_code::kUnsigned64:
      return search(static_cast<const unsigned long*>(column.first),
                    [](unsigned long value) { return value > kLargest; });
    case element_code::kFloat:
      return search(static_cast<const float*>(column.first), [](float value) { return std::isnan(value); });
    case element_code::kDouble:
      return search(static_cast<const double*>(column.first), [](double value) { return std::isnan(value); });
    default:
      return rows;
  }
}

int bindValue(sqlite3_stmt* statement, int parameter, const BatchColumn& column, std::size_t row) {
  switch (column.elementCode) {
    case element_code::kString: {
      const std::string& text = column.text(row);
      return sqlite3_bind_text64(statement, parameter, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    }
    case element_code::kSigned64:
      return sqlite3_bind_int64(statement, parameter, column.signed64(row));
    case element_code::kUnsigned64:
      return sqlite3_bind_int64(statement, parameter, static_cast<sqlite3_int64>(column.unsigned64(row)));
    case element_code::kFloat:
      return sqlite3_bind_double(statement, parameter, static_cast<double>(column.float32(row)));
    default:
      return sqlite3_bind_double(statement, parameter, column.float64(row));
  }
}

}  // namespace

ExecResult checkSqliteValues(const BatchColumns& columns) {
  for (const BatchColumn& column : columns) {
    const std::size_t row = firstMisfit(column, columns.rows());
    if (row == columns.rows()) continue;
    const char* what = column.elementCode == element_code::kUnsigned64
                           ? " is above the largest integer of the store, 9223372036854775807"
                           : " is NaN, which the store cannot hold";
    return makeFailure(Failure::ValueOutOfRange,
                       "value " + std::to_string(row + 1) + " of column '" + *column.name + "'" + what);
  }
  return {};
}

int bindSqliteRow(sqlite3_stmt* statement, const BatchColumns& columns, std::size_t row) {
  for (std::size_t column = 0; column < columns.size(); ++column) {
    const int code = bindValue(statement, static_cast<int>(column) + 1, columns[column], row);
    if (code != SQLITE_OK) return code;
  }
  return SQLITE_OK;
}

}  // namespace vorn
