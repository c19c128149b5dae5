#include "vorn/criteria.h"
#include "vorn/selector.h"

// A member of the operand that needs the whole selector, which conditions do not know.
CVORNCriterion CVORNCriterionItem::in(const CVORNSelector& subSelect) {
  return in(subSelect.toString());
}
