#include "exec/adapters/sqlite/SqliteCursor.h"

#include <new>
#include <utility>

#include "exec/adapters/base/Failure.h"
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
  // Known only now: a statement is prepared again in its first step if the schema has changed.
  if (m_state == State::AtRow) m_columns = sqlite3_data_count(m_statement.get());
  return m_failure;
}

void SqliteCursor::step() noexcept {
  note(sqlite3_step(m_statement.get()));
}

// Takes note of what a step came to.
void SqliteCursor::note(int code) noexcept {
  if (code == SQLITE_ROW) {
    m_state = State::AtRow;
    return;
  }
  if (code != SQLITE_DONE) m_failure = sqliteFailure(sqlite3_db_handle(m_statement.get()));
  end();
}

void SqliteCursor::fail(ExecResult failure) noexcept {
  m_failure = std::move(failure);
  end();
}

// The statement goes back as soon as its last row was seen, and with it the snapshot it holds.
void SqliteCursor::end() noexcept {
  m_state = State::Ended;
  if (m_connection == nullptr) return;
  m_connection->removeCursor(this);
  m_connection->finish(std::move(m_statement));
  m_connection = nullptr;
}

// The text is short enough to stand in the string itself.
void SqliteCursor::detach() noexcept {
  constexpr auto kCode = static_cast<std::uint32_t>(Failure::ConnectionLost);
  m_failure = {1, makeErrorCode(ErrorFamily::Layer, kCode), std::string("connection lost")};
  m_state = State::Ended;
  m_statement = {};
  m_connection = nullptr;
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

StoreCursor::Fetch SqliteCursor::fetch(std::vector<RowValue>& row, ExecResult& failure) {
  try {
    if (m_state == State::BetweenRows) {
      const int code = sqlite3_step(m_statement.get());
      if (code == SQLITE_ROW) {
        readRow(row);
        return Fetch::Row;
      }
      note(code);
    }
    return fetchAtEdge(row, failure);
  } catch (...) {
    m_buffered = false;  // no row may follow one that is missing
    fail(outOfMemory());
    throw;
  }
}

// The first row, to which start() has stepped, and everything from the last one on.
StoreCursor::Fetch SqliteCursor::fetchAtEdge(std::vector<RowValue>& row, ExecResult& failure) {
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

void SqliteCursor::drain() noexcept {
  m_buffered = true;
  try {
    std::vector<RowValue> row;
    while (m_state != State::Ended) {
      if (m_state == State::AtRow) {
        readRow(row);
        m_buffer.push(row);
      }
      step();
    }
  } catch (...) {
    // A statement that has written rows, but not returned them all, would be kept by its end.
    if (!m_statement.readOnly()) {
      sqlite3_interrupt(sqlite3_db_handle(m_statement.get()));
      sqlite3_step(m_statement.get());
    }
    fail(outOfMemory());
  }
}

}  // namespace vorn
