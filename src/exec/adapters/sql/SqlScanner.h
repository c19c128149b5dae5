#pragma once

#include <cstddef>
#include <string>

#include "exec/adapters/sql/SqlDialect.h"

namespace vorn {

/// Finds the parts of a text that a store takes as they are: literals, quoted names, comments.
class SqlScanner {
 public:
  /// The text must stay as it is while the scanner is used.
  SqlScanner(const std::string& sql, const SqlDialect& dialect) : m_sql(sql), m_dialect(dialect) {}

  /// @param at  not inside such a part
  /// @return the end of the part that begins at `at`, the end of the text if nothing ends it, or `at` if none
  ///         begins there
  std::size_t opaqueEnd(std::size_t at) const;

  /// @return whether the literal that begins at `quote` has a prefix by which backslashes escape
  bool isEscapedLiteral(std::size_t quote) const;

 private:
  bool standsAt(std::size_t at, const char* two) const;
  bool beginsLineComment(std::size_t at) const;
  bool isExecutable(std::size_t at) const;
  std::size_t endAfter(std::size_t from, const std::string& closing) const;
  std::size_t escapedLiteralEnd(std::size_t at) const;
  std::size_t commentEnd(std::size_t at) const;
  std::size_t dollarQuotedEnd(std::size_t at) const;

  const std::string& m_sql;
  const SqlDialect& m_dialect;
};

}  // namespace vorn
