#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "exec/adapters/sql/SqlDialect.h"
#include "exec/adapters/sql/StatementTokens.h"

namespace vorn {

/// A statement's text with its literals lifted out, so that one prepared statement serves all texts that
/// differ in their literals only.
///
/// A text is liftable when it is understood whole: a select, insert, update or delete of the forms that the
/// builders render, whose literals all stand where a literal is a mere value (a values list, an assignment,
/// an operand of a condition, limit and offset). Everything else (a literal in a select list, a comment, an
/// operator that is no comparison, a second statement) is not liftable and runs as text.
///
/// The literals of a liftable text are NULL in values lists and assignments, decimal numbers with or without
/// a fraction, and texts in single quotes. A few stay in the statement where its dialect says that the store
/// plans by them; they are part of the shape then.
///
/// Invariants:
/// 1. Two liftable texts have the same key only if they differ in nothing but lifted literals and, where
///    parameters are typed, these have the same types.
/// 2. statement() with parameters is the text but for its lifted literals.
/// 3. masked() shows no literal of any text, liftable or not.
/// 4. A text that differs from one of the last shapes in its literals only is found without being read whole;
///    what comes of it is the same.
/// 5. After the first texts of its kind, read() allocates nothing.
class StatementShape {
 public:
  enum class Verb : unsigned char { Select, Insert, Update, Delete, Other };

  using Type = StatementTokens::Type;
  using Literal = StatementTokens::Literal;

  StatementShape() = default;
  StatementShape(const StatementShape&) = delete;
  StatementShape& operator=(const StatementShape&) = delete;

  /// Takes a text apart. The text must stay where and as it is while the shape is used.
  void read(const std::string& sql, const SqlDialect& dialect);

  const std::string& sql() const noexcept { return *m_sql; }
  Verb verb() const noexcept { return m_verb; }
  bool liftable() const noexcept { return m_liftable; }

  /// @return what tells this shape from all others of its dialect, never from a text that is not liftable;
  ///         not meant to be read
  std::string_view key() const noexcept { return m_key; }
  std::size_t hash() const noexcept { return m_hash; }

  /// @return whether literals stay in the statement, so that it serves fewer texts
  bool keepsLiterals() const noexcept;

  /// The lifted literals, one for each parameter.
  const std::vector<Literal>& literals() const noexcept { return m_tokens.literals(); }

  /// @return the statement with numbered parameters in place of its lifted literals
  std::string statement() const { return written(m_key, *m_dialect, false); }

  /// @return the text of a key with `?` for every literal, also those that stay in the statement. A long one
  ///         is cut off.
  static std::string masked(std::string_view key, const SqlDialect& dialect) {
    return written(key, dialect, true);
  }

 private:
  using Token = StatementTokens::Token;

  /// Which literals may be lifted at a place: all, those that are not kept, whole numbers.
  enum class Takes : unsigned char { Any, NotSmall, Whole };

  /// Where in a key a literal stood, or a kept one begins or ends.
  struct Mark {
    std::size_t at;
    Takes takes;
  };

  /// A shape read before.
  struct Known {
    std::string key;
    std::vector<Mark> marks;
    const SqlDialect* dialect = nullptr;  ///< null for none
    std::size_t hash = 0;
    Verb verb = Verb::Other;
    bool disjunctive = false;
  };

  /// The text that was not liftable before.
  struct Unliftable {
    std::string text;
    std::string key;
    const SqlDialect* dialect = nullptr;  ///< null for none
    std::size_t hash = 0;
    Verb verb = Verb::Other;
  };

  static std::string written(std::string_view key, const SqlDialect& dialect, bool mask);

  bool readStatement();
  bool readSelect();
  bool readInsert();
  bool readUpdate();
  bool readDelete();
  bool readTableName();
  bool readColumnList();
  bool readFrom();
  bool readTail();
  bool readCount(bool kept);
  bool readCondition();
  bool readPredicate();
  bool readComparison(bool literalOnTheLeft);
  bool readOperand(bool& literal, bool kept);
  bool readList();
  bool readSubSelect();
  bool skipNames();
  bool skipCall();

  void remember();
  bool matches(const Known& known);
  bool isLastUnliftable();
  void rememberUnliftable();
  void next();
  bool is(std::uint64_t word) const { return m_tokens.token() == Token::Word && m_tokens.word() == word; }
  bool take(std::uint64_t word);
  bool take(Token token);
  char parameterOf(Type type) const;
  void lift();
  void liftNull();
  bool keepLiteral();
  static bool isSmallInteger(const Literal& literal);
  bool mayBeCombined() const;
  bool isWhole() const;

  const std::string* m_sql = nullptr;
  const SqlDialect* m_dialect = nullptr;
  StatementTokens m_tokens;
  const char* m_copied = nullptr;  ///< up to here the text is in m_text
  std::size_t m_hash = 0;
  int m_depth = 0;
  Verb m_verb = Verb::Other;
  bool m_liftable = false;
  bool m_disjunctive = false;  ///< a condition has an `or`
  std::string_view m_key;
  std::string m_text;  ///< of the key, where it is not a known one
  std::vector<Mark> m_marks;
  std::array<Known, 8> m_known;
  std::size_t m_oldest = 0;  ///< in m_known
  Unliftable m_unliftable;
};

}  // namespace vorn
