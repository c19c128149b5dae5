#include "vorn/criteria.h"

#include "statement/concatenate.h"
#include "statement/keywords.h"

using vorn::concatenate;
namespace keyword = vorn::keyword;

CVORNCriterionItem vornMin(const CVORNCriterionItem& item) {
  return concatenate(keyword::kMin, "(", item.toString(), ")");
}

CVORNCriterionItem vornMax(const CVORNCriterionItem& item) {
  return concatenate(keyword::kMax, "(", item.toString(), ")");
}

CVORNCriterionItem vornAvg(const CVORNCriterionItem& item) {
  return concatenate(keyword::kAvg, "(", item.toString(), ")");
}

CVORNCriterionItem vornCount(const CVORNCriterionItem& item) {
  return concatenate(keyword::kCount, "(", item.toString(), ")");
}

CVORNCriterionItem vornCount() {
  // The count star form has no trailing blank.
  return concatenate(keyword::kCount, "(*)");
}
