#pragma once

#include "vorn/criterion.h"
#include "vorn/export.h"
#include "vorn/statement.h"

/// The aggregates make an operand of an operand, which they do not change. A leading blank is part of each.
/// @code
///   selector << vornMax(person["age"]) << vornCount();  // select  max(person.age), count(*) from …
/// @endcode
VORN_API CVORNCriterionItem vornMin(const CVORNCriterionItem& item);
VORN_API CVORNCriterionItem vornMax(const CVORNCriterionItem& item);
VORN_API CVORNCriterionItem vornAvg(const CVORNCriterionItem& item);
VORN_API CVORNCriterionItem vornCount(const CVORNCriterionItem& item);
VORN_API CVORNCriterionItem vornCount();
