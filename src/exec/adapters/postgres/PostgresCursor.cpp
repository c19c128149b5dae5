#include "exec/adapters/postgres/PostgresCursor.h"

#include <charconv>
#include <memory>
#include <new>
#include <system_error>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/PostgresConnection.h"
#include "exec/adapters/postgres/PostgresOid.h"

namespace vorn {

namespace {

template <typename Number>
bool parseAll(const char* text, std::size_t size, Number& number) {
  const auto [stop, error] = std::from_chars(text, text + size, number);
  return error == std::errc() && stop == text + size;
}

void setBytes(RowValue& target, const char* text) {
  std::size_t size = 0;
  const std::unique_ptr<unsigned char, void (*)(void*)> bytes(
      PQunescapeBytea(reinterpret_cast<const unsigned char*>(text), &size), PQfreemem);
  if (!bytes) throw std::bad_alloc();
  target.setText(reinterpret_cast<const char*>(bytes.get()), size);
}

}  // namespace

PostgresCursor::PostgresCursor(PostgresConnection& connection) : m_connection(&connection) {
  connection.setStreaming(this);
}

PostgresCursor::~PostgresCursor() {
  // Who wants the outcome closes the cursor before; nobody is left to hear of it here.
  static_cast<void>(PostgresCursor::close());
}

ExecResult PostgresCursor::close() noexcept {
  if (m_connection == nullptr) return {};
  PostgresConnection& connection = *m_connection;
  end({});
  try {
    return connection.abandonRead();
  } catch (...) {
    connection.giveUp();
    return outOfMemory();
  }
}

void PostgresCursor::end(ExecResult failure) noexcept {
  m_failure = std::move(failure);
  m_row.reset();
  if (m_connection != nullptr) std::exchange(m_connection, nullptr)->setStreaming(nullptr);
}

void PostgresCursor::detach() noexcept {
  m_connection = nullptr;
  end(connectionClosed());
}

ExecResult PostgresCursor::start() {
  advance();
  return m_failure;
}

// After the last row comes the outcome of the statement, and with it the connection is free again.
void PostgresCursor::advance() {
  try {
    if (!m_connection->channel().next(m_row)) return end(m_connection->channel().lost());
    if (PQresultStatus(m_row.get()) == PGRES_SINGLE_TUPLE) return;
    end(m_connection->finish(std::move(m_row)));
  } catch (...) {
    // What was cut off cannot be gone on with.
    m_connection->giveUp();
    end(outOfMemory());
    throw;
  }
}

StoreCursor::Fetch PostgresCursor::fetch(std::vector<RowValue>& row, ExecResult& failure) {
  if (m_buffered && m_buffer.pop(row)) return Fetch::Row;
  if (m_connection != nullptr && !m_row) advance();
  if (m_row) {
    readRow(row);  // a row that could not be read is still there for the next call
    m_row.reset();
    return Fetch::Row;
  }
  if (m_failure.succeeded()) return Fetch::End;
  failure = m_failure;
  return Fetch::Failed;
}

ExecResult PostgresCursor::moveToMemory() {
  m_buffered = true;
  std::vector<RowValue> row;
  while (m_connection != nullptr) {
    if (m_row) {
      readRow(row);
      m_buffer.push(row);
      m_row.reset();
    }
    advance();
  }
  return m_failure;
}

PostgresCursor::Form PostgresCursor::formOf(Oid type) {
  switch (type) {
    case postgres_oid::kInt2:
    case postgres_oid::kInt4:
    case postgres_oid::kInt8:
      return Form::Integer;
    case postgres_oid::kFloat4:
    case postgres_oid::kFloat8:
      return Form::Real;
    case postgres_oid::kBool:
      return Form::Boolean;
    case postgres_oid::kBytea:
      return Form::Bytes;
    default:
      return Form::Text;
  }
}

void PostgresCursor::readRow(std::vector<RowValue>& row) {
  const PGresult* result = m_row.get();
  const int columns = PQnfields(result);
  if (m_forms.empty()) {
    m_forms.reserve(static_cast<std::size_t>(columns));
    for (int column = 0; column < columns; ++column) m_forms.push_back(formOf(PQftype(result, column)));
  }
  row.resize(static_cast<std::size_t>(columns));
  for (int column = 0; column < columns; ++column) {
    const auto index = static_cast<std::size_t>(column);
    if (PQgetisnull(result, 0, column) != 0) {
      row[index].setNull();
    } else {
      setValue(row[index], m_forms[index], PQgetvalue(result, 0, column),
               static_cast<std::size_t>(PQgetlength(result, 0, column)));
    }
  }
}

// The server's shortest text of a real(4) is read as a double of the same text, so it prints and narrows as
// the server means it.
void PostgresCursor::setValue(RowValue& target, Form form, const char* text, std::size_t size) {
  std::int64_t integer = 0;
  double real = 0;
  if (form == Form::Integer && parseAll(text, size, integer)) {
    target.setInteger(integer);
  } else if (form == Form::Real && parseAll(text, size, real)) {
    target.setReal(real);
  } else if (form == Form::Boolean) {
    *text == 't' ? target.setText("true", 4) : target.setText("false", 5);
  } else if (form == Form::Bytes) {
    setBytes(target, text);
  } else {
    target.setText(text, size);
  }
}

}  // namespace vorn
