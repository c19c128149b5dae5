#pragma once

#include <string>

#include "vorn/criteria.h"
#include "vorn/export.h"
#include "vorn/statement.h"

/// How CVORNSelector::compound() joins two selects. Any other value may be cast to this type, and is written
/// as UNION.
enum ENUM_COMPOUND_OP : unsigned int {
  COMPOUND_UNION = 1,
  COMPOUND_UNION_ALL = 2,
  COMPOUND_INTERSECT = 3,
  COMPOUND_EXCEPT = 4
};

/// Builds one SELECT statement, its clauses given in any order.
///
/// Columns, sort keys and tables are added to what was there; where(), limit() and compound() replace it.
/// Every argument is rendered at the call, and no reference to the argument is kept.
///
/// Single quotes in column names are doubled. Nothing else is checked or escaped, so names must not come from
/// outside the program.
/// @code
///   CVORNSelector selector;
///   CVORNTable alarm = selector.table("alarm");
///   selector.select("id");
///   selector.select("name");
///   selector.where(alarm["level"] == 3);
///   selector.orderBy("id", false);
///   selector.limit(10, 20);
///   assert(selector.toString() ==
///          "select id,name from alarm where (alarm.level=3) order by id DESC LIMIT 10 OFFSET 20");
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw.
class VORN_API CVORNSelector : public CVORNBase {
 public:
  CVORNSelector();
  ~CVORNSelector() override;

  /// Adds a table to the list, unless the name occurs in the text of the list already, even as a part of
  /// another name.
  CVORNTable table(const std::string& name) override;

  /// Adds a column. Without any column all columns are selected.
  void select(const std::string& column);
  void select(const CVORNColumn& column);

  /// Adds an operand, an aggregate for instance, as a column: `selector << vornMax(age) << vornCount()`.
  CVORNSelector& operator<<(const CVORNCriterionItem& item);

  /// Selects each row once, however often it occurs. clear() takes this back.
  void distinct();

  /// Adds a sort key. Rows that are equal in the keys before it are sorted by this key.
  void orderBy(const std::string& column, bool ascending = true);
  void orderBy(const CVORNColumn& column, bool ascending = true);

  /// Replaces the condition. Join several conditions by `&&` and `||` before the call.
  void where(const CVORNCriterion& condition);

  /// Replaces the limit: at most `count` rows, after the first `offset` rows have been left out.
  void limit(unsigned int count, unsigned int offset);

  /// Replaces the second select by the text that `other` has at the call. The sort keys and the limit of this
  /// selector are written after the second select and apply to the rows of both. To chain three selects, call
  /// compound() on `other` first.
  void compound(const CVORNSelector& other, ENUM_COMPOUND_OP op);

  /// @return the statement. Without a table its name is missing in the text, which every store refuses.
  std::string toString() const override;

  /// Forgets every clause but the tables: a cleared selector still selects from them.
  void clear() override;

 private:
  std::string m_columns;
  std::string m_orderBy;  ///< the sort keys, with a comma before each
  std::string m_where;
  std::string m_distinct;
  std::string m_limit;  ///< without its keyword
  std::string m_compound;
};
