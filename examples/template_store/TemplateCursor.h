#pragma once

#include "exec/adapters/store/BufferedCursor.h"
#include "template_store/TemplateDatabase.h"
#include "template_store/TemplateStatement.h"

namespace vorn {

/// The rows of one read, taken from the engine one by one. What moves into memory, and when, BufferedCursor
/// knows; here is how a row is taken and how the statement is given back.
class TemplateCursor : public BufferedCursor {
 public:
  /// @param statement  prepared, not yet stepped
  TemplateCursor(TemplateDatabase& database, TemplateStatement statement);
  ~TemplateCursor() override;

  /// Steps to the first row, so that the failure of a read shows when it is executed.
  ExecResult start();

 private:
  bool take(std::vector<RowValue>& row) override;
  void letGo() noexcept override;
  void forget() noexcept override;
  bool step();

  TemplateDatabase& m_database;
  TemplateStatement m_statement;
  scripted::Row m_row;
  bool m_atRow = false;  ///< m_row was not taken yet
};

}  // namespace vorn
