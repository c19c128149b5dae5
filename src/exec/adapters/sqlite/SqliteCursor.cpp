#include "exec/adapters/sqlite/SqliteCursor.h"

#include <new>
#include <utility>

#include "exec/adapters/sqlite/SqliteError.h"

namespace vorn {

SqliteCursor::SqliteCursor(SqliteDatabase& database, SqliteStatement statement)
    : m_database(database), m_statement(std::move(statement)) {
  database.addCursor(this);
}

SqliteCursor::~SqliteCursor() {
  end({});
}

ExecResult SqliteCursor::start() {
  m_atRow = step();
  // Known only now: a statement is prepared again in its first step if the schema has changed.
  if (m_atRow) m_columns = sqlite3_data_count(m_statement.get());
  return failure();
}

// The statement goes back as soon as its last row was seen, and with it the snapshot it holds.
bool SqliteCursor::step() noexcept {
  const int code = sqlite3_step(m_statement.get());
  if (code == SQLITE_ROW) return true;
  end(code == SQLITE_DONE ? ExecResult() : sqliteFailure(m_database.handle()));
  return false;
}

bool SqliteCursor::take(std::vector<RowValue>& row) {
  if (!m_atRow && !step()) return false;
  m_atRow = false;
  readRow(row);
  return true;
}

void SqliteCursor::letGo() noexcept {
  // A statement that has written rows, but not returned them all, would be kept by its end. Only one that
  // stands at a row: to interrupt one that found the database locked would undo the caller's transaction.
  if (!m_statement.readOnly() && sqlite3_data_count(m_statement.get()) != 0) {
    sqlite3_interrupt(m_database.handle());
    sqlite3_step(m_statement.get());
  }
  m_database.removeCursor(this);
  m_database.finish(std::move(m_statement));
}

void SqliteCursor::forget() noexcept {
  m_statement = {};
}

namespace {

// A blob's bytes come as they are; a text's too, once it is UTF-8.
void readBytes(sqlite3_value* value, int type, RowValue& target) {
  const void* bytes = type == SQLITE_BLOB ? sqlite3_value_blob(value) : sqlite3_value_text(value);
  const int size = sqlite3_value_bytes(value);
  if (bytes == nullptr && size > 0) throw std::bad_alloc();
  target.setText(bytes == nullptr ? "" : static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

}  // namespace

void SqliteCursor::readRow(std::vector<RowValue>& row) {
  sqlite3_stmt* const statement = m_statement.get();
  const int columns = m_columns;
  if (row.size() != static_cast<std::size_t>(columns)) row.resize(static_cast<std::size_t>(columns));
  RowValue* target = row.data();
  for (int column = 0; column < columns; ++column, ++target) {
    // One look-up of the value serves its type and its contents.
    sqlite3_value* const value = sqlite3_column_value(statement, column);
    const int type = sqlite3_value_type(value);
    if (type == SQLITE_INTEGER) {
      target->setInteger(sqlite3_value_int64(value));
    } else if (type == SQLITE_FLOAT) {
      target->setReal(sqlite3_value_double(value));
    } else if (type == SQLITE_NULL) {
      target->setNull();
    } else {
      readBytes(value, type, *target);
    }
  }
}

}  // namespace vorn
