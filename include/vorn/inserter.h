#pragma once

#include <string>

#include "vorn/export.h"
#include "vorn/statement.h"

/// Builds an INSERT statement of one row with literal values.
///
/// Columns and values pair by position only, and their numbers are not compared. Without columns the values
/// stand in the table's own order. For many rows use BatchInserter.
///
/// Text values may come from outside the program: every single quote in them is doubled. Names are not
/// escaped and must not come from outside the program.
/// @code
///   CVORNInserter inserter;
///   inserter.table("alarm");
///   inserter["id"]["name"] << 5 << "disk 'C' full";
///   assert(inserter.toString() == "insert into alarm (id,name) values(5,'disk ''C'' full')");
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw, and std::logic_error is thrown for a null text.
class VORN_API CVORNInserter : public CVORNBase {
 public:
  CVORNInserter();
  ~CVORNInserter() override;

  /// Replaces the table; the name is not escaped.
  CVORNTable table(const std::string& name) override;

  /// Adds a column. Single quotes in the name are doubled.
  CVORNInserter& operator[](const std::string& column);

  /// Adds NULL, a bool as 1 or 0, or a text or a character as an escaped literal.
  ///
  /// Errors: std::logic_error for a null text. Its opening quote stays in the statement until clear().
  CVORNInserter& operator<<(const CVORNNull& value);
  CVORNInserter& operator<<(const bool& value);
  CVORNInserter& operator<<(const char& value);
  CVORNInserter& operator<<(const char* value);
  CVORNInserter& operator<<(const std::string& value);

  /// Adds an integer.
  ///
  /// An unsigned int or unsigned long of 4294967295 or more is written as 0. An unsigned int from 2147483648
  /// on is written as the negative number with the same bits. Give large values as a long.
  CVORNInserter& operator<<(const short& value);
  CVORNInserter& operator<<(const int& value);
  CVORNInserter& operator<<(const unsigned short& value);
  CVORNInserter& operator<<(const unsigned int& value);
  CVORNInserter& operator<<(const unsigned long& value);
  CVORNInserter& operator<<(const long& value);

  /// Adds a real with six decimals and without an exponent.
  ///
  /// Errors: a number that takes more than 199 characters is cut there, which is logged at error level.
  CVORNInserter& operator<<(const float& value);
  CVORNInserter& operator<<(const double& value);

  /// Any other pointer would be written as a bool. The compiler refuses it, because the call is ambiguous
  /// between this operator and the one for bool. As this operator is one of a constant inserter it is never
  /// the better match, so that a caller's own operator for pointers is still found.
  template <typename Other>
  CVORNInserter& operator<<(const Other* value) const = delete;

  /// @return the statement. Without values only the closing parenthesis of their list is written, which every
  ///         store refuses.
  std::string toString() const override;

  /// Forgets the columns and the values, and keeps the table.
  void clear() override;

 private:
  std::string m_insertInto;
  std::string m_columns;
  std::string m_values;
};
