#pragma once

#include <string>

#include "vorn/export.h"

class CVORNBase;
class CVORNNull;
class CVORNSelector;
namespace vorn {
struct TextAccess;
}

/// One rendered condition, without the word "where".
///
/// A condition is a text that grows in place: `a && b` and `a || b` change `a` and return it, so that `a`
/// holds the whole condition afterwards. Join a copy where the original is still needed, and take the result
/// by value: a reference to the join of two temporaries dangles.
/// @code
///   CVORNTable alarm("alarm");
///   CVORNCriterion urgent = alarm["level"] >= 3;
///   CVORNCriterion urgentAndOpen = CVORNCriterion(urgent) && alarm["state"] == "open";
///   assert(urgentAndOpen.toString() == "((alarm.level >= 3) and (alarm.state='open'))");
///   assert(urgent.toString() == "(alarm.level >= 3)");  // because a copy was joined
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw.
class VORN_API CVORNCriterion {
 public:
  /// The empty condition.
  CVORNCriterion() = default;

  /// A condition that the caller has written out. Nothing in the text is escaped.
  CVORNCriterion(const std::string& text);

  /// @return the text of the condition, empty for the empty condition
  std::string toString() const;

  /// Joins the two conditions with " and " in place and puts the result in parentheses. The joiner is left
  /// out when this condition is empty, but not when only the other one is.
  /// @return this condition
  CVORNCriterion& operator&&(const CVORNCriterion& other);

  /// Joins the two conditions with " or ", otherwise like `&&`.
  /// @return this condition
  CVORNCriterion& operator||(const CVORNCriterion& other);

 private:
  friend struct vorn::TextAccess;
  std::string m_text;
};

/// The operand of a condition: a column, or any expression, as text.
///
/// Operands come from CVORNTable::operator[], from a text, or from an aggregate such as vornMax().
///
/// **Comparisons change the operand.** Each comparison appends to the operand's own text and returns a copy
/// of the result, so a second comparison on the same operand chains onto the first. Write a fresh operand for
/// every comparison:
/// @code
///   CVORNTable alarm("alarm");
///   CVORNCriterion between = alarm["level"] >= 2 && alarm["level"] <= 4;
///   assert(between.toString() == "((alarm.level >= 2) and (alarm.level <= 4))");
///
///   CVORNCriterionItem level = alarm["level"];
///   CVORNCriterion first = level == 1;
///   CVORNCriterion second = level == 2;
///   assert(second.toString() == "((alarm.level=1)=2)");  // not what was meant
/// @endcode
///
/// **Text from outside the program** is safe with `!=`, `<=`, `>=` on texts and with like(). It is not safe
/// with:
/// - `==` on a text, which doubles the first single quote only, so two quotes already end the literal early;
/// - `==` and `!=` on a char, which double nothing;
/// - in() and notIn(), whose list is a piece of SQL and not one value;
/// - `!=` on an operand, which takes the text of the operand as it is;
/// - operator(), which leaves the literal without its closing quote.
///
/// For equality with such a text write the condition out, or use two fresh operands and two bounds. Compare
/// with a character as with a text of length one:
/// @code
///   CVORNTable alarm("alarm");
///   CVORNCriterion exact("(alarm.name='" + CSQLiteUtil::getInstance()->replaceSpecialChar(text) + "')");
///   CVORNCriterion bounds = alarm["name"] >= text && alarm["name"] <= text;
///   CVORNCriterion initial = alarm["initial"] == std::string(1, text[0]);
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: a number that cannot be formatted is logged at error level, and the condition goes on with what
/// was formatted.
class VORN_API CVORNCriterionItem {
 public:
  /// The empty operand.
  CVORNCriterionItem() = default;

  /// An operand whose text is `text`. Nothing in it is escaped.
  CVORNCriterionItem(std::string text);

  /// Replaces the operand's text by a name, whose single quotes are doubled.
  /// @return a copy of the operand; comparing the copy leaves this operand as it is
  CVORNCriterionItem operator[](const std::string& name);

  /// Appends a single quote and the value, whose single quotes are doubled.
  ///
  /// Requires: the caller appends the closing quote to the text of the condition.
  CVORNCriterion operator()(const std::string& value);

  /// @return the text of the operand, with what comparisons have appended to it
  std::string toString() const;

  /// Renders ` in (list)`, where every single quote of the list is doubled. This is right for numbers and
  /// wrong for quoted texts. For a list of texts write the condition out, and escape each text on its own:
  /// @code
  ///   CVORNCriterion numbers = CVORNTable("alarm")["level"].in("1,2,3");
  ///   assert(numbers.toString() == "alarm.level in (1,2,3)");
  ///   CVORNCriterion texts("alarm.name in ('disk','fan')");
  /// @endcode
  CVORNCriterion in(const std::string& list);

  /// Renders ` in (select …)` from the text that the sub-select has at the call, where every single quote is
  /// doubled. A sub-select that holds a text literal becomes wrong SQL; write the condition out instead:
  /// @code
  ///   CVORNSelector open;
  ///   open.where(open.table("device")["state"] == "open");
  ///   open.select("id");
  ///   CVORNCriterion affected("alarm.device in (" + open.toString() + ")");
  /// @endcode
  CVORNCriterion in(const CVORNSelector& subSelect);

  /// Renders ` not in (list)` with the list as it is. Unlike in(), notIn() doubles no quotes.
  CVORNCriterion notIn(const std::string& list);

  /// Renders `` LIKE 'pattern'``, where every single quote of the pattern is doubled. The wildcards `%` and
  /// `_` keep their meaning; none is added, and no ESCAPE clause is written.
  CVORNCriterion like(const std::string& pattern);

  /// Compares with another operand. `==` doubles the single quotes in the text of the other operand, `!=`
  /// takes that text as it is.
  CVORNCriterion operator==(CVORNCriterionItem other);
  CVORNCriterion operator!=(CVORNCriterionItem other);

  /// Compares with a text literal. `==` doubles only the first single quote of the value; the other operators
  /// double every one. An empty value compares with `''`: IS NULL is never written.
  CVORNCriterion operator==(const std::string& value);
  CVORNCriterion operator!=(const std::string& value);
  CVORNCriterion operator<=(const std::string& value);
  CVORNCriterion operator>=(const std::string& value);

  /// Compares with the result of a statement, whose text is taken as it is.
  CVORNCriterion operator<=(const CVORNBase& subSelect);
  CVORNCriterion operator>=(const CVORNBase& subSelect);

  /// Compares with a literal of one character, which is not escaped.
  CVORNCriterion operator==(const char& c);
  CVORNCriterion operator!=(const char& c);

  /// Compares with a number. A real is written with six decimals and without an exponent.
  CVORNCriterion operator==(const short& value);
  CVORNCriterion operator==(const int& value);
  CVORNCriterion operator==(const unsigned int& value);
  CVORNCriterion operator==(const unsigned long& value);
  CVORNCriterion operator==(const long& value);
  CVORNCriterion operator==(const float& value);
  CVORNCriterion operator==(const double& value);
  CVORNCriterion operator!=(const short& value);
  CVORNCriterion operator!=(const int& value);
  CVORNCriterion operator!=(const unsigned int& value);
  CVORNCriterion operator!=(const unsigned long& value);
  CVORNCriterion operator!=(const long& value);
  CVORNCriterion operator!=(const float& value);
  CVORNCriterion operator!=(const double& value);
  CVORNCriterion operator>=(int value);
  CVORNCriterion operator<=(int value);

  /// The NULL marker would turn into a number here. Write the condition out instead:
  /// `CVORNCriterion("(alarm.name is null)")`.
  CVORNCriterion operator==(const CVORNNull&) = delete;
  CVORNCriterion operator!=(const CVORNNull&) = delete;
  CVORNCriterion operator<=(const CVORNNull&) = delete;
  CVORNCriterion operator>=(const CVORNNull&) = delete;

 private:
  friend struct vorn::TextAccess;
  std::string m_text;
  std::string m_comparison;  ///< what the last comparison appended, where it is not in m_text yet
  std::string m_auxiliary;   ///< copied with the operand; no operation sets or reads it
};
