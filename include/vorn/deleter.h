#pragma once

#include <string>

#include "vorn/criteria.h"
#include "vorn/export.h"
#include "vorn/statement.h"

/// Builds a DELETE statement. A statement without a condition deletes every row of the table.
///
/// Names are not escaped and must not come from outside the program.
/// @code
///   CVORNDeleter deleter;
///   deleter.where(deleter.table("alarm")["level"] == 3);
///   assert(deleter.toString() == "delete from alarm where (alarm.level=3)");
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw.
class VORN_API CVORNDeleter : public CVORNBase {
 public:
  CVORNDeleter();
  ~CVORNDeleter() override;

  /// Replaces the table.
  CVORNTable table(const std::string& name) override;

  /// Replaces the condition.
  void where(const CVORNCriterion& condition);

  /// @return the statement. Without a table its name is missing in the text, which every store refuses.
  std::string toString() const override;

  /// Forgets the condition and keeps the table. The statement of a cleared deleter deletes every row.
  void clear() override;

 private:
  std::string m_where;
};
