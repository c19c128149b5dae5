#include "exec/adapters/sqlite/sqlite_values.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "exec/adapters/base/Failure.h"

namespace vorn {

namespace {

constexpr unsigned long kLargest = std::numeric_limits<long>::max();

bool isMisfit(const std::string&) {
  return false;
}
bool isMisfit(long) {
  return false;
}
bool isMisfit(unsigned long value) {
  return value > kLargest;
}
bool isMisfit(double value) {
  return std::isnan(value);
}

int bind(sqlite3_stmt* statement, int parameter, const std::string& text) {
  return sqlite3_bind_text64(statement, parameter, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}
int bind(sqlite3_stmt* statement, int parameter, long value) {
  return sqlite3_bind_int64(statement, parameter, value);
}
int bind(sqlite3_stmt* statement, int parameter, unsigned long value) {
  return sqlite3_bind_int64(statement, parameter, static_cast<sqlite3_int64>(value));
}
int bind(sqlite3_stmt* statement, int parameter, double value) {
  return sqlite3_bind_double(statement, parameter, value);
}

void giveBack(sqlite3_context* context, const std::string& text) {
  sqlite3_result_text64(context, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}
void giveBack(sqlite3_context* context, long value) {
  sqlite3_result_int64(context, value);
}
void giveBack(sqlite3_context* context, unsigned long value) {
  sqlite3_result_int64(context, static_cast<sqlite3_int64>(value));
}
void giveBack(sqlite3_context* context, double value) {
  sqlite3_result_double(context, value);
}

}  // namespace

ExecResult checkSqliteValues(const BatchColumns& columns) {
  const std::size_t rows = columns.rows();
  for (const BatchColumn& column : columns) {
    if (column.isText() || column.elementCode == element_code::kSigned64) continue;
    const std::size_t row = column.visit([rows](const auto* elements) {
      const auto* const found =
          std::find_if(elements, elements + rows, [](const auto& element) { return isMisfit(element); });
      return static_cast<std::size_t>(found - elements);
    });
    if (row == rows) continue;
    const char* what = column.isInteger() ? " is above the largest integer of the store, 9223372036854775807"
                                          : " is NaN, which the store cannot hold";
    return makeFailure(Failure::ValueOutOfRange,
                       "value " + std::to_string(row + 1) + " of column '" + *column.name + "'" + what);
  }
  return {};
}

int bindSqliteRow(sqlite3_stmt* statement, const BatchColumns& columns, std::size_t row) {
  int parameter = 0;
  for (const BatchColumn& column : columns) {
    ++parameter;
    const int code =
        column.visit([&](const auto* elements) { return bind(statement, parameter, elements[row]); });
    if (code != SQLITE_OK) return code;
  }
  return SQLITE_OK;
}

void returnSqliteValue(sqlite3_context* context, const BatchColumn& column, std::size_t row) noexcept {
  column.visit([&](const auto* elements) { giveBack(context, elements[row]); });
}

}  // namespace vorn
