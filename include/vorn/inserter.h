#pragma once

#include <string>

#include "vorn/export.h"
#include "vorn/statement.h"

/// Builds an INSERT statement of one row with literal values.
///
/// Columns and values pair by position only; their numbers are not compared, and without columns the table's
/// own order counts. For many rows use BatchInserter.
/// @code
///   CVORNInserter inserter;
///   inserter.table("alarm");
///   inserter["id"]["text"] << 5 << "disk 'C' full";
///   // insert into alarm (id,text) values(5,'disk ''C'' full')
/// @endcode
/// Text values may come from outside the program: every single quote in them is doubled. Names may not. One
/// thread at a time; the only exceptions are those of the standard strings.
class VORN_API CVORNInserter : public CVORNBase {
 public:
  CVORNInserter();
  ~CVORNInserter() override;

  /// Replaces the table; the name is not escaped.
  CVORNTable table(const std::string& name) override;

  /// Adds a column, single quotes in its name doubled.
  CVORNInserter& operator[](const std::string& column);

  /// Adds a value: NULL, a bool as 1 or 0, a text or character as an escaped literal.
  /// @throws std::logic_error for a null text, whose opening quote stays in the statement: clear() then
  CVORNInserter& operator<<(const CVORNNull& value);
  CVORNInserter& operator<<(const bool& value);
  CVORNInserter& operator<<(const char& value);
  CVORNInserter& operator<<(const char* value);
  CVORNInserter& operator<<(const std::string& value);

  /// Adds an integer.
  ///
  /// Both unsigned types write 4294967295 and everything above as 0, and an unsigned int from 2147483648 on
  /// comes out as its negative reading. Give large values as a long.
  CVORNInserter& operator<<(const short& value);
  CVORNInserter& operator<<(const int& value);
  CVORNInserter& operator<<(const unsigned short& value);
  CVORNInserter& operator<<(const unsigned int& value);
  CVORNInserter& operator<<(const unsigned long& value);
  CVORNInserter& operator<<(const long& value);

  /// Adds a real with six decimals and no exponent. Text of more than 199 characters is cut there and logged.
  CVORNInserter& operator<<(const float& value);
  CVORNInserter& operator<<(const double& value);

  /// Any other pointer would be written as a bool, so it is refused, as an ambiguity with this operator.
  /// Being one of a constant inserter, it is never the better match: a caller's own operator for pointers
  /// comes first.
  template <typename Other>
  CVORNInserter& operator<<(const Other* value) const = delete;

  std::string toString() const override;

  /// Forgets columns and values; the table stays.
  void clear() override;

 private:
  std::string m_insertInto;
  std::string m_columns;
  std::string m_values;
};
