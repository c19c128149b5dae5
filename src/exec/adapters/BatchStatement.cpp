#include "exec/adapters/BatchStatement.h"

#include <algorithm>

#include "exec/adapters/LayerError.h"

namespace vorn {

namespace {

constexpr const char kInsertInto[] = "insert into ";

bool isIdentifierByte(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

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
  if (end < text.size() && text[end] >= '0' && text[end] <= '9') return at;
  while (end < text.size() && isIdentifierByte(text[end])) ++end;
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

// The end of the literal, quoted identifier or comment that begins at `at`; `at` itself for anything else.
std::size_t opaqueEnd(const std::string& sql, std::size_t at) {
  const auto behind = [&sql, at](const char* closing, std::size_t size) {
    const std::size_t found = sql.find(closing, at + size);
    return found == std::string::npos ? sql.size() : found + size;
  };
  if (sql[at] == '\'' || sql[at] == '"' || sql[at] == '`') return behind(std::string(1, sql[at]).c_str(), 1);
  if (sql.compare(at, 2, "/*") == 0) return behind("*/", 2);
  if (sql.compare(at, 2, "--") == 0) return std::min(sql.find('\n', at), sql.size());
  return at;
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
  std::string names = " (";
  std::string values = ") values(";
  for (const BatchColumn& column : columns) {
    if (!isIdentifier(*column.name)) return false;
    const char* separator = &column == &columns[0] ? "" : ", ";
    names.append(separator).append(*column.name);
    values.append(separator).append("{").append(*column.name).append("}");
  }
  const std::string tail = names + values + ")";
  const std::size_t head = sizeof kInsertInto - 1;
  if (columns.size() == 0 || sql.size() <= head + tail.size() || sql.compare(0, head, kInsertInto) != 0 ||
      sql.compare(sql.size() - tail.size(), tail.size(), tail) != 0) {
    return false;
  }
  table = sql.substr(head, sql.size() - tail.size() - head);
  return isTableName(table);
}

ExecResult numberPlaceholders(const std::string& sql, const BatchColumns& columns, char marker,
                              std::string& result) {
  result.clear();
  std::vector<bool> used(columns.size(), false);
  for (std::size_t at = 0; at < sql.size();) {
    const std::size_t end = opaqueEnd(sql, at);
    if (end > at) {
      result.append(sql, at, end - at);
      at = end;
    } else if (sql[at] == '{') {
      const std::size_t column = columnAt(sql, at, columns);
      if (column == columns.size()) {
        return makeFailure(LayerError::ParameterMismatch,
                           "a placeholder of the statement names no parameter");
      }
      used[column] = true;
      result.append(1, marker).append(std::to_string(column + 1));
      at += columns[column].name->size() + 2;
    } else {
      result += sql[at++];
    }
  }
  const auto unused = std::find(used.begin(), used.end(), false);
  if (unused == used.end()) return {};
  const auto& name = *columns[static_cast<std::size_t>(unused - used.begin())].name;
  return makeFailure(LayerError::ParameterMismatch,
                     "no placeholder of the statement names parameter '" + name + "'");
}

}  // namespace vorn
