#include "exec/adapters/sqlite/SqliteCursor.h"

#include <cassert>
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

void readValue(sqlite3_value* value, RowValue& target) {
  const int type = sqlite3_value_type(value);
  if (type == SQLITE_INTEGER) {
    target.setInteger(sqlite3_value_int64(value));
  } else if (type == SQLITE_FLOAT) {
    target.setReal(sqlite3_value_double(value));
  } else if (type == SQLITE_NULL) {
    target.setNull();
  } else {
    readBytes(value, type, target);
  }
}

}  // namespace

// To look a value up takes longer than to read it. SQLite keeps the values of a row in an array, which it
// fills again for the next row: where both ends of the array are found where they were, all of it is there.
bool SqliteCursor::valuesAreInPlace() const noexcept {
  const auto inPlace = [this](int column) {
    return m_values[static_cast<std::size_t>(column)] == sqlite3_column_value(m_statement.get(), column);
  };
  if (m_values.empty() || !inPlace(0) || !inPlace(m_columns - 1)) return false;
  for (int column = 1; column < m_columns; ++column) assert(inPlace(column));
  return true;
}

void SqliteCursor::lookUpValues() {
  m_values.resize(static_cast<std::size_t>(m_columns));
  for (int column = 0; column < m_columns; ++column) {
    m_values[static_cast<std::size_t>(column)] = sqlite3_column_value(m_statement.get(), column);
  }
}

void SqliteCursor::readRow(std::vector<RowValue>& row) {
  const auto columns = static_cast<std::size_t>(m_columns);
  if (row.size() != columns) row.resize(columns);
  RowValue* target = row.data();
  // Many results have one row, for which nothing is worth keeping.
  if (std::exchange(m_atFirstRow, false)) {
    for (int column = 0; column < m_columns; ++column) {
      readValue(sqlite3_column_value(m_statement.get(), column), *target++);
    }
    return;
  }
  if (!valuesAreInPlace()) lookUpValues();
  for (sqlite3_value* const value : m_values) readValue(value, *target++);
}

}  // namespace vorn
