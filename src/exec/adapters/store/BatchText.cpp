#include "exec/adapters/store/BatchText.h"

#include <algorithm>

#include "common/ascii.h"
#include "common/joined.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/sql/SqlScanner.h"

namespace vorn {

namespace {

constexpr const char kInsertInto[] = "insert into ";

// The end of the identifier that begins at `at`, or `at` when there is none.
std::size_t identifierEnd(const std::string& text, std::size_t at) {
  std::size_t end = at;
  if (end < text.size() && text[end] == '"') {
    do {
      end = text.find('"', end + 1);
      if (end == std::string::npos) return at;
      ++end;
    } while (end < text.size() && text[end] == '"');
    return end == at + 2 ? at : end;
  }
  if (end < text.size() && ascii::isDigit(text[end])) return at;
  while (end < text.size() && ascii::isIdentifierByte(text[end])) ++end;
  return end;
}

bool isIdentifier(const std::string& text) {
  return !text.empty() && identifierEnd(text, 0) == text.size();
}

// A name, alone or qualified: a, b.a
bool isTableName(const std::string& text) {
  std::size_t at = 0;
  for (;;) {
    const std::size_t end = identifierEnd(text, at);
    if (end == at) return false;
    if (end == text.size()) return true;
    if (text[end] != '.') return false;
    at = end + 1;
  }
}

// The column that the placeholder at `at` names; size() for none.
std::size_t columnAt(const std::string& sql, std::size_t at, const BatchColumns& columns) {
  for (std::size_t column = 0; column < columns.size(); ++column) {
    const std::string& name = *columns[column].name;
    const std::size_t close = at + 1 + name.size();
    if (close < sql.size() && sql[close] == '}' && sql.compare(at + 1, name.size(), name) == 0) return column;
  }
  return columns.size();
}

}  // namespace

bool isPlainBatchInsert(const std::string& sql, const BatchColumns& columns, std::string& table) {
  const auto isNamed = [](const BatchColumn& column) { return isIdentifier(*column.name); };
  if (!std::all_of(columns.begin(), columns.end(), isNamed)) return false;
  std::string tail = " (";
  appendJoined(tail, columns, ", ",
               [](std::string& text, const BatchColumn& column) { text += *column.name; });
  tail += ") values(";
  appendJoined(tail, columns, ", ", [](std::string& text, const BatchColumn& column) {
    text.append("{").append(*column.name).append("}");
  });
  tail += ")";
  const std::size_t head = sizeof kInsertInto - 1;
  if (columns.size() == 0 || sql.size() <= head + tail.size() || sql.compare(0, head, kInsertInto) != 0 ||
      sql.compare(sql.size() - tail.size(), tail.size(), tail) != 0) {
    return false;
  }
  table = sql.substr(head, sql.size() - tail.size() - head);
  return isTableName(table);
}

ExecResult numberPlaceholders(const std::string& sql, const BatchColumns& columns, const SqlDialect& dialect,
                              std::string& result, std::vector<std::size_t>* order) {
  const SqlScanner scanner(sql, dialect);
  result.clear();
  std::vector<bool> used(columns.size(), false);
  for (std::size_t at = 0; at < sql.size();) {
    const std::size_t end = scanner.opaqueEnd(at);
    if (end > at) {
      result.append(sql, at, end - at);
      at = end;
    } else if (sql[at] == '{') {
      const std::size_t column = columnAt(sql, at, columns);
      if (column == columns.size()) {
        return makeFailure(Failure::ParameterMismatch, "a placeholder of the statement names no parameter");
      }
      used[column] = true;
      result += dialect.parameterMark;
      if (dialect.numberedParameters) result += std::to_string(column + 1);
      if (order != nullptr) order->push_back(column);
      at += columns[column].name->size() + 2;
    } else {
      result += sql[at++];
    }
  }
  const auto unused = std::find(used.begin(), used.end(), false);
  if (unused == used.end()) return {};
  const auto& name = *columns[static_cast<std::size_t>(unused - used.begin())].name;
  return makeFailure(Failure::ParameterMismatch,
                     "no placeholder of the statement names parameter '" + name + "'");
}

}  // namespace vorn
