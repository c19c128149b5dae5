#pragma once

#include <string>

#include "vorn/criteria.h"
#include "vorn/export.h"
#include "vorn/statement.h"

/// How CVORNSelector::compound() joins two selects. Any other value is written as UNION, and is a value of
/// the type like these.
enum ENUM_COMPOUND_OP : unsigned int {
  COMPOUND_UNION = 1,
  COMPOUND_UNION_ALL = 2,
  COMPOUND_INTERSECT = 3,
  COMPOUND_EXCEPT = 4
};

/// Builds one SELECT statement, its clauses given in any order.
///
/// Columns, sort keys and tables accumulate; where(), limit() and compound() replace what was there. Every
/// argument is rendered at the call and no reference to it is kept.
/// @code
///   CVORNSelector selector;
///   CVORNTable alarm = selector.table("alarm");
///   selector.select("id");
///   selector.select("name");
///   selector.where(alarm["level"] == 3);
///   selector.orderBy("id", false);
///   selector.limit(10, 20);
///   // select id,name from alarm where (alarm.level=3) order by id DESC LIMIT 10 OFFSET 20
/// @endcode
/// Single quotes in column names are doubled; nothing else is checked or escaped, so names do not come from
/// outside the program. One thread at a time; the only exceptions are those of the standard strings.
class VORN_API CVORNSelector : public CVORNBase {
 public:
  CVORNSelector();
  ~CVORNSelector() override;

  /// Adds a table to the list, unless its name occurs in the list already, be it as a part of another name.
  CVORNTable table(const std::string& name) override;

  /// Adds a column; without any, all columns are selected.
  void select(const std::string& column);
  void select(const CVORNColumn& column);

  /// Adds an operand, an aggregate for instance, as a column: `selector << vornMax(age) << vornCount()`.
  CVORNSelector& operator<<(const CVORNCriterionItem& item);

  void distinct();

  /// Adds a sort key.
  void orderBy(const std::string& column, bool ascending = true);
  void orderBy(const CVORNColumn& column, bool ascending = true);

  /// Replaces the condition; join several with `&&` and `||` before.
  void where(const CVORNCriterion& condition);

  /// Replaces the limit: `count` rows after the first `offset` rows.
  void limit(unsigned int count, unsigned int offset);

  /// Replaces the second select by the text that `other` has now. This selector's sort keys and limit stand
  /// behind it and apply to the whole. To chain three, give `other` its own second select first.
  void compound(const CVORNSelector& other, ENUM_COMPOUND_OP op);

  std::string toString() const override;

  /// Forgets every clause but the tables: a cleared selector still selects from them.
  void clear() override;

 private:
  std::string m_columns;
  std::string m_orderBy;
  std::string m_where;
  std::string m_distinct;
  std::string m_limit;
  std::string m_compound;
};
