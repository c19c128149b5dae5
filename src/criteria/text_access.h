#pragma once

#include <string>

#include "vorn/criterion.h"

namespace vorn {

/// The texts of conditions and operands without the copy that toString() makes.
struct TextAccess {
  static const std::string& of(const CVORNCriterion& condition) { return condition.m_text; }
  static std::string& of(CVORNCriterion& condition) { return condition.m_text; }

  /// The text of an operand, with its last comparison in it.
  static std::string& of(CVORNCriterionItem& item) {
    if (!item.m_comparison.empty()) {
      item.m_text = item.toString();
      item.m_comparison.clear();
    }
    return item.m_text;
  }

  /// What was appended to the text of an operand before both were put in parentheses. Most operands are compared
  /// once and never looked at again, so it is kept apart.
  static std::string& comparisonOf(CVORNCriterionItem& item) { return item.m_comparison; }
};

}  // namespace vorn
