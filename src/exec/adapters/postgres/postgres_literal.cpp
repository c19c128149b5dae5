#include "exec/adapters/postgres/postgres_literal.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "exec/adapters/postgres/PostgresError.h"

namespace vorn {

namespace {

char* writeNumber(char* out, const std::string&) {
  return out;  // a text is no number
}
char* writeNumber(char* out, long value) {
  return std::to_chars(out, out + kPostgresNumberSize, value).ptr;
}
char* writeNumber(char* out, unsigned long value) {
  return std::to_chars(out, out + kPostgresNumberSize, value).ptr;
}

// Up to the greatest whole number that a bigint takes, and some more, without an exponent, which integer
// columns refuse.
char* writeNumber(char* out, double value) {
  const double magnitude = std::fabs(value);
  if (magnitude == 0 || (magnitude >= 1e-4 && magnitude < 1e19)) {
    return std::to_chars(out, out + kPostgresNumberSize, value, std::chars_format::fixed).ptr;
  }
  if (std::isfinite(value)) return std::to_chars(out, out + kPostgresNumberSize, value).ptr;
  const std::string_view word = std::isnan(value) ? "NaN" : value > 0 ? "Infinity" : "-Infinity";
  return std::copy(word.begin(), word.end(), out);
}

// The escaped form has one meaning, whatever a statement has set the session to.
void appendQuoted(std::string& out, const std::string& text) {
  const bool escapes = text.find('\\') != std::string::npos;
  out += escapes ? "E'" : "'";
  for (const char c : text) {
    if (c == '\'' || (escapes && c == '\\')) out += c;
    out += c;
  }
  out += '\'';
}

}  // namespace

// A float goes out as the double it equals: that is exact for columns of either width.
char* writePostgresNumber(char* out, const BatchColumn& column, std::size_t row) {
  return column.visit([out, row](const auto* elements) { return writeNumber(out, elements[row]); });
}

void appendPostgresLiteral(std::string& sql, const BatchColumn& column, std::size_t row) {
  if (column.isText()) return appendQuoted(sql, column.text(row));
  char number[kPostgresNumberSize];
  const char* const end = writePostgresNumber(number, column, row);
  sql.append(1, '\'').append(number, static_cast<std::size_t>(end - number)).append(1, '\'');
}

ExecResult refuseZeroBytes(const BatchColumns& columns) {
  for (const BatchColumn& column : columns) {
    if (!column.isText()) continue;
    for (std::size_t row = 0; row < columns.rows(); ++row) {
      if (column.text(row).find('\0') != std::string::npos) {
        return postgresFailure("22021", "invalid byte sequence for encoding \"UTF8\": 0x00");
      }
    }
  }
  return {};
}

}  // namespace vorn
