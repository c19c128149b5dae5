#pragma once

#include <string>

#include "vorn/export.h"
#include "vorn/statement.h"

/// Builds a DROP statement for a table or a view.
///
/// Names are not escaped and must not come from outside the program.
/// @code
///   CVORNDroper dropper;
///   dropper.table("t_tmp");
///   assert(dropper.toString() == "drop table t_tmp");
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw.
class VORN_API CVORNDroper : public CVORNBase {
 public:
  CVORNDroper();
  ~CVORNDroper() override;

  /// Replaces the name of what is dropped. After view() the statement still drops a view.
  CVORNTable table(const std::string& name) override;

  /// Replaces the name of what is dropped, and makes this builder drop views from now on, also after clear().
  /// Use a new builder to drop a table.
  CVORNTable view(const std::string& name);

  /// Replaces the database, which is written before the word `table` or `view`: `drop main.table t`. Most
  /// stores take that for a syntax error. To qualify a name, put the database into it: `table("main.t")`.
  void database(const std::string& name);

  /// Stores the name of an index, which is never rendered.
  void index(const std::string& name);

  /// @return the statement. Without a name its text ends after `drop `, which every store refuses.
  std::string toString() const override;

  /// Forgets all names. A builder that drops views goes on to do so.
  void clear() override;

 private:
  std::string m_database;
  std::string m_index;
  bool m_isTable = true;
};
