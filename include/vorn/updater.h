#pragma once

#include <string>

#include "vorn/criteria.h"
#include "vorn/export.h"
#include "vorn/statement.h"

/// Builds an UPDATE statement: a table, assignments and a condition.
/// @code
///   CVORNUpdater updater;
///   CVORNTable alarm = updater.table("alarm");
///   updater["level"].assign(3);
///   updater["text"].assign("it's");
///   updater.where(alarm["id"] == 7);
///   // update alarm set level=3,text='it''s' where (alarm.id=7)
/// @endcode
/// Text values may come from outside the program: every single quote in them is doubled. Names may not.
/// Without a condition every row of the table is updated. One thread at a time; the only exceptions are those
/// of the standard strings.
class VORN_API CVORNUpdater : public CVORNBase {
 public:
  CVORNUpdater();
  ~CVORNUpdater() override;

  /// Replaces the table; the name is not escaped.
  CVORNTable table(const std::string& name) override;

  /// Names the column of the next assign(), single quotes in its name doubled.
  CVORNUpdater& operator[](const std::string& column);

  /// Gives the column last named an escaped literal.
  /// @throws std::logic_error for a null text, whose opening quote stays in the statement: clear() then
  void assign(const std::string& value);
  void assign(const char& value);
  void assign(const char* value);

  /// Gives it an integer. Both unsigned types write 4294967295 and everything above as 0: give large values
  /// as a long.
  void assign(const short& value);
  void assign(const int& value);
  void assign(const unsigned int& value);
  void assign(const unsigned long& value);
  void assign(const long& value);

  /// Gives it a real with six decimals and no exponent. Text of more than 199 characters is cut there and
  /// logged.
  void assign(const float& value);
  void assign(const double& value);

  /// Gives it NULL.
  void assign(const CVORNNull& value);

  /// Replaces the condition.
  void where(const CVORNCriterion& condition);

  std::string toString() const override;

  /// Forgets the assignments and leaves a bare " where " as the condition: unlike a new updater, a cleared
  /// one needs a where() call. The table stays.
  void clear() override;

 private:
  std::string m_update;
  std::string m_setList;
  std::string m_where;
};
