#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "exec/adapters/sql/SqlDialect.h"

namespace vorn {

/// The tokens of a statement's text, one after the other, and the literals among them. What is none of the few
/// kinds is Bad: what stores could read in different ways, comments, operators that are no comparisons.
///
/// Invariant: whatever the tokens before it, a literal is one that every store with this dialect sees where it
/// is, with the value that is said.
class StatementTokens {
 public:
  enum class Token : unsigned char { End, Word, Name, Literal, Open, Close, Comma, Dot, Compare, Star, Bad };

  /// Integer fits 32 bits, Long 64; Decimal is every other number.
  enum class Type : unsigned char { Null, Integer, Long, Decimal, Text };

  struct Literal {
    Type type;
    std::int64_t integer;    ///< of an Integer and a Long
    std::string_view bytes;  ///< of a Text, its doubled quotes undone, and the digits of a number
  };

  /// @return the letters of a word of at most eight, in lower case, as one number. No two words that differ in
  ///         more than case come to the same.
  static constexpr std::uint64_t wordOf(std::string_view letters) {
    std::array<char, sizeof(std::uint64_t)> bytes{};
    for (std::size_t at = 0; at < letters.size(); ++at) bytes[at] = static_cast<char>(letters[at] | 0x20);
    return std::bit_cast<std::uint64_t>(bytes);
  }

  /// The one word of more than eight letters that is told from others.
  static constexpr std::uint64_t kIntersect = 1;

  StatementTokens() = default;
  StatementTokens(const StatementTokens&) = delete;
  StatementTokens& operator=(const StatementTokens&) = delete;

  /// Goes before the first token. The text must stay where and as it is while tokens are read.
  void start(const std::string& sql, const SqlDialect& dialect);

  /// Goes on to the next token.
  void next();

  Token token() const noexcept { return m_token; }
  std::uint64_t word() const noexcept { return m_word; }  ///< wordOf() a Word; 0 for a longer one
  const char* begin() const noexcept { return m_begin; }  ///< of the token
  const char* at() const noexcept { return m_at; }        ///< after the token
  const char* end() const noexcept { return m_end; }      ///< of the text

  /// The literals so far.
  std::vector<Literal>& literals() noexcept { return m_literals; }
  const std::vector<Literal>& literals() const noexcept { return m_literals; }

  /// Passes over bytes that are known. @return whether they come next
  bool passOver(std::string_view run);

  /// Passes over a literal without a sign. @return whether one comes next
  bool passLiteral();

 private:
  void bad();
  void scanComparison();
  void scanWord();
  void scanQuotedName();
  void scanText();
  void scanNumber();
  bool signMayStand() const;

  const std::string* m_sql = nullptr;
  const SqlDialect* m_dialect = nullptr;
  const char* m_at = nullptr;
  const char* m_end = nullptr;
  const char* m_begin = nullptr;
  std::uint64_t m_word = 0;
  Token m_token = Token::End;
  std::string m_unescaped;  ///< texts whose doubled quotes were undone; never moves while texts point into it
  std::vector<Literal> m_literals;
};

}  // namespace vorn
