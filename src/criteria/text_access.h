#pragma once

#include <string>

#include "vorn/criterion.h"

namespace vorn {

/// The texts of conditions and operands without the copy that toString() makes.
struct TextAccess {
  static const std::string& of(const CVORNCriterion& condition) { return condition.m_text; }
  static std::string& of(CVORNCriterion& condition) { return condition.m_text; }
  static const std::string& of(const CVORNCriterionItem& item) { return item.m_text; }
  static std::string& of(CVORNCriterionItem& item) { return item.m_text; }
};

}  // namespace vorn
