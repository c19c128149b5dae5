#pragma once

#include "vorn/criterion.h"
#include "vorn/export.h"
#include "vorn/statement.h"

/// Each aggregate makes an operand from the text of an operand, which stays as it is. The new operand begins
/// with a blank.
/// @code
///   CVORNSelector selector;
///   CVORNTable alarm = selector.table("alarm");
///   selector << vornMax(alarm["level"]) << vornCount();
///   assert(selector.toString() == "select  max(alarm.level), count(*) from alarm");
/// @endcode
/// @return an operand with the text ` min(…)`, ` max(…)`, ` avg (…)`, ` count(…)`, or ` count(*)` without an
///         argument
VORN_API CVORNCriterionItem vornMin(const CVORNCriterionItem& item);
VORN_API CVORNCriterionItem vornMax(const CVORNCriterionItem& item);
VORN_API CVORNCriterionItem vornAvg(const CVORNCriterionItem& item);
VORN_API CVORNCriterionItem vornCount(const CVORNCriterionItem& item);
VORN_API CVORNCriterionItem vornCount();
