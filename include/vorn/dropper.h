#pragma once

#include <string>

#include "vorn/export.h"
#include "vorn/statement.h"

/// Builds a DROP statement for a table or a view.
/// @code
///   CVORNDroper dropper;
///   dropper.table("t_tmp");  // drop table t_tmp
/// @endcode
/// Names are not escaped. One thread at a time; the only exceptions are those of the standard strings.
class VORN_API CVORNDroper : public CVORNBase {
 public:
  CVORNDroper();
  ~CVORNDroper() override;

  /// Replaces the object's name, not its kind: after view() it still names a view.
  CVORNTable table(const std::string& name) override;

  /// Replaces the object's name and makes it a view for the rest of this builder's life, clear() included. To
  /// drop a table afterwards use a new builder.
  CVORNTable view(const std::string& name);

  /// Replaces the database, written in front of the object's kind: `drop main.table t`. Most stores take
  /// that for a syntax error; to qualify an object, put the database into its name: `table("main.t")`.
  void database(const std::string& name);

  /// Stores an index name, which is never rendered.
  void index(const std::string& name);

  std::string toString() const override;

  /// Forgets all names; the object's kind stays.
  void clear() override;

 private:
  std::string m_database;
  std::string m_index;
  bool m_isTable = true;
};
