#pragma once

#include <string>

#include "vorn/criterion.h"
#include "vorn/export.h"

class CVORNTable;

/// The contract of every statement builder; MIRAsqlDB knows a statement only through it.
///
/// A builder is created empty, filled by its caller, rendered any number of times and reused after clear().
/// It copies what it is given and keeps no reference to it. Nothing is validated: what was called is what is
/// rendered. One thread at a time; the only exceptions are those of the standard strings.
///
/// The three operations are pure, yet each has a body that a derived class may call explicitly.
class VORN_API CVORNBase {
 public:
  CVORNBase() = default;
  CVORNBase(const CVORNBase&) = default;
  CVORNBase& operator=(const CVORNBase&) = default;
  virtual ~CVORNBase();

  /// Names the table the statement works on.
  /// The base body replaces the table of a single-table builder.
  /// @return the table, so that a caller can go on with `builder.table("t")["column"]`
  virtual CVORNTable table(const std::string& name) = 0;

  /// @return the complete SQL text of the statement; the base body returns the empty text
  virtual std::string toString() const = 0;

  /// Makes the builder ready for a new statement. What stays differs from builder to builder and is told
  /// there; the base body forgets the table of a single-table builder and nothing else.
  virtual void clear() = 0;

  /// Adds a table to the table list of a builder that renders one.
  ///
  /// A name that occurs anywhere in the list already is not added again. The test looks for a part of the
  /// text, so "task" after "taskinfo" counts as present.
  void constructAttachAndDetachSQL(const CVORNTable& table);

 protected:
  std::string m_table;      ///< the table of a single-table builder
  std::string m_attachSQL;  ///< text at the very front of a statement with a table list
  std::string m_detachSQL;  ///< text at the very end of a statement with a table list
  std::string m_tableList;  ///< comma-separated tables, without blanks
};

/// A column of a table, rendered as `table.column`.
class VORN_API CVORNColumn {
 public:
  CVORNColumn(const std::string& tableName, const std::string& columnName);

  std::string getTableName() const;

  /// @return the suffix of the qualified name, `.column`; empty for a column without a table
  std::string getColumnName() const;

  /// @return `table.column`, neither escaped nor quoted; empty for a column without a table
  std::string toString() const;

 private:
  std::string m_tableName;
  std::string m_columnName;
};

/// A table by its name.
class VORN_API CVORNTable {
 public:
  CVORNTable(const std::string& name);

  std::string getTableName() const;

  /// @return the column of this table, its name not escaped
  CVORNColumn column(const std::string& columnName);

  /// Makes a condition operand qualified by the table.
  /// @code
  ///   selector.where(CVORNTable("alarm")["level"] == 3);  // where (alarm.level=3)
  /// @endcode
  /// @return an operand over `table.column`, single quotes in the column name doubled; over the empty text
  ///         when the table has no name
  CVORNCriterionItem operator[](const std::string& columnName) const;

 private:
  std::string m_tableName;
};

/// The NULL marker: given to the inserter or the updater it stands for SQL NULL, given to the reader before a
/// field it becomes true when that field was empty. One byte.
class VORN_API CVORNNull {
 public:
  CVORNNull() = default;
  operator bool() const { return m_isNull; }

 private:
  friend class CVORNReader;
  bool m_isNull = false;
};

/// A raw statement: SQL text that the caller supplies whole.
///
/// Nothing in it is escaped or checked. Text from outside does not belong in it.
class VORN_API CVORNsqlstr : public CVORNBase {
 public:
  CVORNsqlstr();
  ~CVORNsqlstr() override;

  /// Replaces the text, byte for byte.
  void assign(const std::string& sql);

  /// Records the table in the table list, which has no effect on the text.
  CVORNTable table(const std::string& name) override;
  std::string toString() const override;

  /// Empties the text; recorded tables stay.
  void clear() override;

  /// Does nothing: a raw statement accepts the same call as the other builders and ignores the condition.
  void where(const CVORNCriterion& condition);

 private:
  std::string m_sql;
};
