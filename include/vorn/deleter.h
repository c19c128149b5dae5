#pragma once

#include <string>

#include "vorn/criteria.h"
#include "vorn/export.h"
#include "vorn/statement.h"

/// Builds a DELETE statement. Without a condition it deletes every row of the table.
/// @code
///   CVORNDeleter deleter;
///   deleter.where(deleter.table("alarm")["level"] == 3);
///   // delete from alarm where (alarm.level=3)
/// @endcode
/// Names are not escaped. One thread at a time; the only exceptions are those of the standard strings.
class VORN_API CVORNDeleter : public CVORNBase {
 public:
  CVORNDeleter();
  ~CVORNDeleter() override;

  /// Replaces the table.
  CVORNTable table(const std::string& name) override;

  /// Replaces the condition.
  void where(const CVORNCriterion& condition);

  std::string toString() const override;

  /// Forgets the condition; the table stays, so that a cleared deleter deletes all of its rows.
  void clear() override;

 private:
  std::string m_where;
};
