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
/// A condition is a text and grows in place: `a && b` and `a || b` change `a` and return it, so `a` holds the
/// whole condition afterwards. Join a copy to keep the original, and take the result by value: a reference to
/// the join of two temporaries dangles.
/// @code
///   CVORNTable alarm("alarm");
///   CVORNCriterion urgent = alarm["level"] >= 3;
///   CVORNCriterion urgentAndOpen = CVORNCriterion(urgent) && alarm["state"] == "open";  // urgent keeps its
///   text
/// @endcode
/// A plain value; one thread at a time; the only exceptions are those of the standard strings.
class VORN_API CVORNCriterion {
 public:
  /// The empty condition.
  CVORNCriterion() = default;

  /// A condition that the caller has written out; nothing in it is escaped.
  CVORNCriterion(const std::string& text);

  std::string toString() const;

  /// Joins with " and " in place; the joiner is left out when this condition is empty, but not when only the
  /// other one is. The whole result is parenthesised.
  /// @return this condition
  CVORNCriterion& operator&&(const CVORNCriterion& other);

  /// Joins with " or ", otherwise like `&&`.
  CVORNCriterion& operator||(const CVORNCriterion& other);

 private:
  friend struct vorn::TextAccess;
  std::string m_text;
};

/// The operand of a condition: a column, or any expression, as text.
///
/// Operands come from CVORNTable::operator[], from a text, or from an aggregate such as vornMax().
///
/// **Comparisons change the operand.** Each appends to the operand's own text and returns a copy of that, so
/// a second comparison on the same object chains onto the first: after `item == 1`, `item == 2` renders
/// `((age=1)=2)`. Write a fresh operand for every comparison:
/// @code
///   CVORNTable person("person");
///   selector.where(person["age"] >= 18 && person["age"] <= 65);
///   // where ((person.age >= 18) and (person.age <= 65))
/// @endcode
///
/// **Text from outside the program** is safe with `!=`, `<=`, `>=` on texts and with like(). It is not with:
/// - `==` on a text, which doubles the first single quote only, so two quotes already end the literal early;
/// - `==` and `!=` on a char, which double nothing;
/// - in() and notIn(), whose list is a piece of SQL and not one value;
/// - `!=` on an operand and operator(), which is left without its closing quote.
///
/// For equality with such a text write the condition out, or use two fresh operands and two bounds; a single
/// character goes as a text of length one:
/// @code
///   CVORNCriterion a("(t.name='" + CSQLiteUtil::getInstance()->replaceSpecialChar(text) + "')");
///   CVORNCriterion b = table["name"] >= text && table["name"] <= text;
///   CVORNCriterion c = table["kind"] == std::string(1, character);
/// @endcode
///
/// A plain value; one thread at a time. A number that cannot be formatted is logged, and the condition goes
/// on with what was formatted; the only exceptions are those of the standard strings.
class VORN_API CVORNCriterionItem {
 public:
  /// The empty operand.
  CVORNCriterionItem() = default;

  /// An operand over the text as it is.
  CVORNCriterionItem(std::string text);

  /// Replaces the operand's text by the name, its single quotes doubled.
  /// @return a copy; comparing the copy leaves this operand alone
  CVORNCriterionItem operator[](const std::string& name);

  /// Appends a quote and the escaped value. The closing quote is the caller's.
  CVORNCriterion operator()(const std::string& value);

  std::string toString() const;

  /// Renders ` in (list)`, every single quote of the list doubled: right for numbers (`"1,2,3"`), wrong for
  /// quoted texts. For those write the condition out, each text escaped on its own:
  /// @code
  ///   CVORNCriterion kinds("alarm.kind in ('disk','fan')");
  /// @endcode
  CVORNCriterion in(const std::string& list);

  /// Renders ` in (select …)` from the sub-select's text of this moment, every single quote in it doubled: a
  /// sub-select that holds a text literal becomes wrong SQL. Then write the condition out instead:
  /// @code
  ///   CVORNCriterion affected("alarm.device in (" + subSelect.toString() + ")");
  /// @endcode
  CVORNCriterion in(const CVORNSelector& subSelect);

  /// Renders ` not in (list)` with the list as it is, quoted texts included: unlike in() it doubles nothing.
  CVORNCriterion notIn(const std::string& list);

  /// Renders ` LIKE 'pattern'`. The wildcards `%` and `_` are the caller's; none is added and there is no
  /// ESCAPE clause.
  CVORNCriterion like(const std::string& pattern);

  /// Compares with another operand. `==` doubles the single quotes of its text, `!=` takes it as it is.
  CVORNCriterion operator==(CVORNCriterionItem other);
  CVORNCriterion operator!=(CVORNCriterionItem other);

  /// Compares with a text literal. `==` doubles only the first single quote of the value, the others double
  /// all. An empty value compares with '': IS NULL is never written.
  CVORNCriterion operator==(const std::string& value);
  CVORNCriterion operator!=(const std::string& value);
  CVORNCriterion operator<=(const std::string& value);
  CVORNCriterion operator>=(const std::string& value);

  /// Compares with the result of a statement, its text taken as it is.
  CVORNCriterion operator<=(const CVORNBase& subSelect);
  CVORNCriterion operator>=(const CVORNBase& subSelect);

  /// Compares with a one-character literal. The character is not escaped.
  CVORNCriterion operator==(const char& c);
  CVORNCriterion operator!=(const char& c);

  /// Compares with a number; reals are written with six decimals and no exponent.
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

  /// The NULL marker would turn into a number here. Write the condition out: `CVORNCriterion("(t.x is
  /// null)")`.
  CVORNCriterion operator==(const CVORNNull&) = delete;
  CVORNCriterion operator!=(const CVORNNull&) = delete;
  CVORNCriterion operator<=(const CVORNNull&) = delete;
  CVORNCriterion operator>=(const CVORNNull&) = delete;

 private:
  friend struct vorn::TextAccess;
  std::string m_text;
  std::string m_auxiliary;  ///< travels with the operand; no operation sets or reads it
};
