#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "exec/adapters/postgres/PostgresStatements.h"
#include "exec/adapters/sql/StatementShape.h"

namespace vorn {

/// The literals of a text as the parameters of a prepared statement.
///
/// The server reads a literal in quotes by the type of what it is compared with or assigned to, at the time;
/// a parameter has the type that was understood when the statement was prepared. It casts a literal to its
/// column while it plans, and a parameter while it runs, if there is a row to run for.
///
/// Invariants:
/// 1. A text in quotes is bound to a type only in the one form in which that type prints it: bound, and
///    converted to whatever its column has become meanwhile, it means what the text says then.
/// 2. A value that is assigned is bound only if the cast to its column, as it was when the statement was
///    prepared, cannot fail.
/// 3. All that is bound is in bytes that stay until the next bind().
class PostgresParameters {
 public:
  /// @return whether all literals could be bound; otherwise this one text has to run as it is
  /// @param utf8  whether the server counts the characters of a text as UTF-8
  bool bind(const StatementShape& shape, const PostgresStatement& statement, bool utf8);

  int count() const noexcept { return static_cast<int>(m_values.size()); }
  const char* const* values() const noexcept { return m_values.data(); }
  const int* lengths() const noexcept { return m_lengths.data(); }
  const int* formats() const noexcept { return m_formats.data(); }

  /// @return the types to declare for the literals of a shape; 0 for those that the server shall find
  static std::vector<Oid> typesOf(const StatementShape& shape);

 private:
  bool bindOne(const StatementShape::Literal& literal, Oid type, std::size_t at);
  bool bindText(std::string_view text, Oid type, std::size_t at);
  void bindInteger(std::int64_t value, std::size_t size, std::size_t at);
  void bindBytes(std::string_view bytes, std::size_t at);
  /// @param text  shorter than kLongestCopy. @return true
  bool bindCopy(std::string_view text, std::size_t at);

  static constexpr std::size_t kLongestCopy = 40;

  std::vector<const char*> m_values;
  std::vector<int> m_lengths;
  std::vector<int> m_formats;  ///< 1 for binary
  std::vector<std::array<char, kLongestCopy>> m_copies;
};

}  // namespace vorn
