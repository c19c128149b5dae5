#include "vorn/criteria.h"

#include "criteria/text_access.h"
#include "statement/concatenate.h"
#include "statement/keywords.h"

using vorn::concatenate;
using vorn::TextAccess;
namespace keyword = vorn::keyword;

CVORNCriterionItem vornMin(const CVORNCriterionItem& item) {
  return concatenate(keyword::kMin, "(", TextAccess::of(item), ")");
}

CVORNCriterionItem vornMax(const CVORNCriterionItem& item) {
  return concatenate(keyword::kMax, "(", TextAccess::of(item), ")");
}

CVORNCriterionItem vornAvg(const CVORNCriterionItem& item) {
  return concatenate(keyword::kAvg, "(", TextAccess::of(item), ")");
}

CVORNCriterionItem vornCount(const CVORNCriterionItem& item) {
  return concatenate(keyword::kCount, "(", TextAccess::of(item), ")");
}

CVORNCriterionItem vornCount() {
  // The count star form has no trailing blank.
  return concatenate(keyword::kCount, "(*)");
}
