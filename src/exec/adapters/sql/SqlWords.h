#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

#include "exec/adapters/sql/SqlScanner.h"

namespace vorn {

/// A statement's words and signs, one after the other, as a store's dialect has them. Comments are passed over; one in
/// slashes that is not closed is a sign, as it is an error of the statement.
class SqlWords {
 public:
  /// The text must stay as it is while the words are read.
  SqlWords(const std::string& sql, const SqlDialect& dialect)
      : m_scanner(sql, dialect), m_sql(sql), m_dialect(dialect) {}

  /// Goes on to the next token. @return false at the end
  bool next();

  /// Goes on to the first word, which may stand after parentheses. @return false at the end
  bool toFirst();

  /// @return a word in lower case, or one character: a sign, or the one that a literal or a quoted name begins with
  const std::string& word() const { return m_word; }
  const std::string& previous() const { return m_previous; }

  /// @return the token as the statement has it
  std::string_view text() const { return std::string_view(m_sql).substr(m_begin, m_at - m_begin); }

  /// @return whether it is a word or a quoted name
  bool isName() const;

 private:
  bool isWordByte(char c) const;
  bool isComment() const;

  const SqlScanner m_scanner;
  const std::string& m_sql;
  const SqlDialect& m_dialect;
  std::size_t m_begin = 0;  ///< of the token
  std::size_t m_at = 0;     ///< its end
  std::string m_word;
  std::string m_previous;
};

/// @return whether a word is in a list, which is sorted
template <std::size_t Size>
bool isIn(const std::string_view (&words)[Size], std::string_view word) {
  return std::binary_search(std::begin(words), std::end(words), word);
}

}  // namespace vorn
