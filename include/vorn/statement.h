#pragma once

#include <string>

#include "vorn/criterion.h"
#include "vorn/export.h"

class CVORNTable;

/// The contract of every statement builder. MIRAsqlDB knows a statement only through this class.
///
/// A builder is created empty, filled by its caller, rendered any number of times, and used again after
/// clear(). A builder copies its arguments and keeps no reference to them. Nothing is validated: what was
/// called is what is rendered.
///
/// The three operations are pure, yet each has a body that a derived class may call:
/// @code
///   #include <vorn/vorn.h>
///
///   class Truncation : public CVORNBase {
///    public:
///     CVORNTable table(const std::string& name) override { return CVORNBase::table(name); }
///     std::string toString() const override { return "truncate table " + m_table; }
///     void clear() override { CVORNBase::clear(); }
///   };
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw.
class VORN_API CVORNBase {
 public:
  CVORNBase() = default;
  CVORNBase(const CVORNBase&) = default;
  CVORNBase& operator=(const CVORNBase&) = default;
  virtual ~CVORNBase();

  /// Names the table that the statement works on. The base body replaces the table of a builder of statements
  /// on one table.
  /// @return the table, so that a caller can go on with `builder.table("t")["column"]`
  virtual CVORNTable table(const std::string& name) = 0;

  /// @return the complete SQL text of the statement. The base body returns the empty text.
  virtual std::string toString() const = 0;

  /// Makes the builder ready for a new statement. Each builder documents what it keeps. The base body forgets
  /// the table of a builder of statements on one table, and nothing else.
  virtual void clear() = 0;

  /// Adds a table to the table list of a builder that renders one.
  ///
  /// A name that occurs anywhere in the text of the list is not added: "task" is not added after "taskinfo".
  void constructAttachAndDetachSQL(const CVORNTable& table);

 protected:
  std::string m_table;      ///< the table of a builder of statements on one table
  std::string m_attachSQL;  ///< text at the very front of a statement with a table list
  std::string m_detachSQL;  ///< text at the very end of a statement with a table list
  std::string m_tableList;  ///< comma-separated tables, without blanks
};

/// A column of a table, rendered as `table.column`.
/// @code
///   CVORNSelector selector;
///   CVORNTable alarm = selector.table("alarm");
///   selector.select(alarm.column("id"));
///   assert(selector.toString() == "select alarm.id from alarm");
/// @endcode
class VORN_API CVORNColumn {
 public:
  /// A column by the names of its table and of itself, which are neither escaped nor quoted.
  CVORNColumn(const std::string& tableName, const std::string& columnName);

  /// @return the name of the table, as it was given
  std::string getTableName() const;

  /// @return the name of the column after a point, `.column`; empty for a column whose table has no name
  std::string getColumnName() const;

  /// @return `table.column`; empty for a column whose table has no name
  std::string toString() const;

 private:
  std::string m_tableName;
  std::string m_columnName;
};

/// A table by its name.
class VORN_API CVORNTable {
 public:
  /// A table by its name, which is neither escaped nor quoted.
  CVORNTable(const std::string& name);

  /// @return the name, as it was given
  std::string getTableName() const;

  /// @return a column of this table, whose name is not escaped
  CVORNColumn column(const std::string& columnName);

  /// Makes an operand of a condition, qualified by the table.
  /// @code
  ///   assert((CVORNTable("alarm")["level"] == 3).toString() == "(alarm.level=3)");
  /// @endcode
  /// @return an operand with the text `table.column`, where single quotes in the name of the column are
  ///         doubled; with the empty text when the table has no name
  CVORNCriterionItem operator[](const std::string& columnName) const;

 private:
  friend class CVORNBase;
  std::string m_tableName;
};

/// The NULL marker. An inserter or an updater writes it as NULL. A reader makes it true when the field after
/// it is empty.
/// @code
///   CVORNInserter inserter;
///   inserter.table("alarm");
///   inserter["id"]["name"] << 5 << CVORNNull();
///   assert(inserter.toString() == "insert into alarm (id,name) values(5,NULL)");
/// @endcode
class VORN_API CVORNNull {
 public:
  CVORNNull() = default;

  /// @return whether a reader has found a field empty that this marker was given for
  operator bool() const { return m_isNull; }

 private:
  friend class CVORNReader;
  bool m_isNull = false;
};

/// A raw statement: SQL text that the caller supplies whole.
///
/// Nothing in the text is escaped or checked. Text from outside the program does not belong in it.
/// @code
///   CVORNsqlstr statement;
///   statement.assign("update alarm set level = level + 1");
///   if (db->execWriteSQL(statement) != 0) std::cerr << "no alarm was changed\n";
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw.
class VORN_API CVORNsqlstr : public CVORNBase {
 public:
  CVORNsqlstr();
  ~CVORNsqlstr() override;

  /// Replaces the text, byte for byte.
  void assign(const std::string& sql);

  /// Adds the table to the table list, which has no effect on the text.
  CVORNTable table(const std::string& name) override;

  /// @return the text, as it was assigned
  std::string toString() const override;

  /// Empties the text and keeps the table list.
  void clear() override;

  /// Does nothing. A raw statement accepts the same call as the other builders and ignores the condition.
  void where(const CVORNCriterion& condition);

 private:
  std::string m_sql;
};
