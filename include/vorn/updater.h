#pragma once

#include <string>

#include "vorn/criteria.h"
#include "vorn/export.h"
#include "vorn/statement.h"

/// Builds an UPDATE statement: a table, assignments and a condition. A statement without a condition updates
/// every row of the table.
///
/// Text values may come from outside the program: every single quote in them is doubled. Names are not
/// escaped and must not come from outside the program.
/// @code
///   CVORNUpdater updater;
///   CVORNTable alarm = updater.table("alarm");
///   updater["level"].assign(3);
///   updater["name"].assign("it's");
///   updater.where(alarm["id"] == 7);
///   assert(updater.toString() == "update alarm set level=3,name='it''s' where (alarm.id=7)");
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw, and std::logic_error is thrown for a null text.
class VORN_API CVORNUpdater : public CVORNBase {
 public:
  CVORNUpdater();
  ~CVORNUpdater() override;

  /// Replaces the table; the name is not escaped.
  CVORNTable table(const std::string& name) override;

  /// Names the column of the next assign(). Single quotes in the name are doubled.
  CVORNUpdater& operator[](const std::string& column);

  /// Gives the column last named a text or a character, as an escaped literal.
  ///
  /// Errors: std::logic_error for a null text. Its opening quote stays in the statement until clear().
  ///
  /// Requires: operator[] has named a column, and no value was assigned since then. This holds for every
  /// assign().
  void assign(const std::string& value);
  void assign(const char& value);
  void assign(const char* value);

  /// Gives the column an integer. An unsigned int or unsigned long of 4294967295 or more is written as 0.
  /// Give large values as a long.
  void assign(const short& value);
  void assign(const int& value);
  void assign(const unsigned int& value);
  void assign(const unsigned long& value);
  void assign(const long& value);

  /// Gives the column a real with six decimals and without an exponent.
  ///
  /// Errors: a number that takes more than 199 characters is cut there, which is logged at error level.
  void assign(const float& value);
  void assign(const double& value);

  /// Gives the column NULL.
  void assign(const CVORNNull& value);

  /// Replaces the condition.
  void where(const CVORNCriterion& condition);

  /// @return the statement. Without a table or assignments these are missing in the text, which every store
  ///         refuses.
  std::string toString() const override;

  /// Forgets the assignments, keeps the table, and leaves a bare " where " as the condition. Unlike a new
  /// updater, a cleared one renders no valid statement until where() is called.
  void clear() override;

 private:
  std::string m_update;
  std::string m_setList;
  std::string m_where;
};
