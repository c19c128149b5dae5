#include "exec/adapters/sql/SqlScanner.h"

#include <algorithm>

namespace vorn {

namespace {

bool standsAt(const std::string& sql, std::size_t at, const char* text) {
  return sql.compare(at, 2, text) == 0;
}

std::size_t endBehind(const std::string& sql, std::size_t from, const std::string& closing) {
  const std::size_t found = sql.find(closing, from);
  return found == std::string::npos ? sql.size() : found + closing.size();
}

// In a literal of the form E'…' a backslash takes the next byte with it. The literal goes on behind a line
// break.
std::size_t escapedLiteralEnd(const std::string& sql, std::size_t at) {
  for (++at; at < sql.size(); ++at) {
    if (sql[at] == '\\' || standsAt(sql, at, "''")) {
      ++at;
    } else if (sql[at] == '\'') {
      const std::size_t next = std::min(sql.find_first_not_of(" \t\r\n\f", at + 1), sql.size());
      const bool goesOn = next < sql.size() && sql[next] == '\'' && sql.find('\n', at) < next;
      if (!goesOn) return at + 1;
      at = next;
    }
  }
  return sql.size();
}

std::size_t nestedCommentEnd(const std::string& sql, std::size_t at) {
  int depth = 0;
  while (at + 1 < sql.size()) {
    if (standsAt(sql, at, "/*")) {
      ++depth;
      at += 2;
    } else if (standsAt(sql, at, "*/")) {
      --depth;
      at += 2;
      if (depth == 0) return at;
    } else {
      ++at;
    }
  }
  return sql.size();
}

// $$…$$ or $tag$…$tag$; a tag is an identifier.
std::size_t dollarQuotedEnd(const std::string& sql, std::size_t at) {
  std::size_t end = at + 1;
  while (end < sql.size() && isIdentifierByte(sql[end])) ++end;
  const bool digitFirst = end > at + 1 && sql[at + 1] >= '0' && sql[at + 1] <= '9';
  if (end == sql.size() || sql[end] != '$' || digitFirst) return at;
  return endBehind(sql, end + 1, sql.substr(at, end + 1 - at));
}

std::size_t postgresOpaqueEnd(const std::string& sql, std::size_t at) {
  const char before = at == 0 ? ' ' : sql[at - 1];
  if (sql[at] == '\'' && (before == 'E' || before == 'e') && (at == 1 || !isIdentifierByte(sql[at - 2]))) {
    return escapedLiteralEnd(sql, at);
  }
  if (sql[at] == '$' && !isIdentifierByte(before) && before != '$') return dollarQuotedEnd(sql, at);
  return standsAt(sql, at, "/*") ? nestedCommentEnd(sql, at) : at;
}

std::size_t sqliteOpaqueEnd(const std::string& sql, std::size_t at) {
  if (sql[at] == '`') return endBehind(sql, at + 1, "`");
  if (sql[at] == '[') return endBehind(sql, at + 1, "]");
  return standsAt(sql, at, "/*") ? endBehind(sql, at + 2, "*/") : at;
}

}  // namespace

bool isIdentifierByte(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// A doubled quote ends one literal and begins the next, which comes to the same.
std::size_t opaqueEnd(const std::string& sql, std::size_t at, SqlDialect dialect) {
  const std::size_t own =
      dialect == SqlDialect::Postgres ? postgresOpaqueEnd(sql, at) : sqliteOpaqueEnd(sql, at);
  if (own != at) return own;
  if (sql[at] == '\'' || sql[at] == '"') return endBehind(sql, at + 1, std::string(1, sql[at]));
  if (standsAt(sql, at, "--")) return std::min(sql.find('\n', at), sql.size());
  return at;
}

}  // namespace vorn
