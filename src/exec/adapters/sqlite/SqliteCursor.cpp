#include "exec/adapters/sqlite/SqliteCursor.h"

#include <new>
#include <utility>

#include "exec/adapters/LayerError.h"
#include "exec/adapters/sqlite/SqliteConnection.h"
#include "exec/adapters/sqlite/SqliteError.h"

namespace vorn {

SqliteCursor::SqliteCursor(SqliteConnection& connection, SqliteStatement statement)
    : m_connection(&connection), m_statement(std::move(statement)) {
  connection.addCursor(this);
}

SqliteCursor::~SqliteCursor() {
  end();
}

ExecResult SqliteCursor::start() {
  step();
  return m_failure;
}

void SqliteCursor::step() {
  const int code = sqlite3_step(m_statement.get());
  if (code == SQLITE_ROW) {
    m_state = State::AtRow;
    return;
  }
  if (code != SQLITE_DONE) m_failure = sqliteFailure(sqlite3_db_handle(m_statement.get()));
  end();
}

// The statement goes back as soon as its last row was seen, and with it the snapshot it holds.
void SqliteCursor::end() {
  m_state = State::Ended;
  if (m_connection == nullptr) return;
  m_connection->removeCursor(this);
  m_connection->finish(std::move(m_statement));
  m_connection = nullptr;
}

void SqliteCursor::detach() {
  m_failure = makeFailure(LayerError::ConnectionLost, "the connection of the result was closed");
  m_state = State::Ended;
  m_statement = {};
  m_connection = nullptr;
}

void SqliteCursor::readRow(std::vector<RowValue>& row) {
  sqlite3_stmt* statement = m_statement.get();
  const int columns = sqlite3_column_count(statement);
  row.resize(static_cast<std::size_t>(columns));
  for (int column = 0; column < columns; ++column) {
    RowValue& target = row[static_cast<std::size_t>(column)];
    sqlite3_value* value = sqlite3_column_value(statement, column);
    switch (sqlite3_value_type(value)) {
      case SQLITE_INTEGER:
        target.setInteger(sqlite3_value_int64(value));
        break;
      case SQLITE_FLOAT:
        target.setReal(sqlite3_value_double(value));
        break;
      case SQLITE_NULL:
        target.setNull();
        break;
      default:
        // A blob's bytes come as they are; a text's too, once it is UTF-8.
        const void* bytes =
            sqlite3_value_type(value) == SQLITE_BLOB ? sqlite3_value_blob(value) : sqlite3_value_text(value);
        const int size = sqlite3_value_bytes(value);
        if (bytes == nullptr && size > 0) throw std::bad_alloc();
        target.setText(bytes == nullptr ? "" : static_cast<const char*>(bytes),
                       static_cast<std::size_t>(size));
    }
  }
}

StoreCursor::Fetch SqliteCursor::fetch(std::vector<RowValue>& row, ExecResult& failure) {
  if (m_state == State::BetweenRows) step();
  if (m_state == State::AtRow) {
    readRow(row);
    m_state = State::BetweenRows;
    return Fetch::Row;
  }
  if (m_buffered && m_buffer.pop(row)) return Fetch::Row;
  if (m_failure.succeeded()) return Fetch::End;
  failure = m_failure;
  return Fetch::Failed;
}

ExecResult SqliteCursor::drain() {
  m_buffered = true;
  std::vector<RowValue> row;
  while (m_state != State::Ended) {
    if (m_state == State::AtRow) {
      readRow(row);
      m_buffer.push(row);
    }
    step();
  }
  return m_failure;
}

}  // namespace vorn
