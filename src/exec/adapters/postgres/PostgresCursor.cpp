#include "exec/adapters/postgres/PostgresCursor.h"

#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/postgres_oid.h"

namespace vorn {

namespace {

void setBytes(RowValue& target, const char* text) {
  std::size_t size = 0;
  const std::unique_ptr<unsigned char, void (*)(void*)> bytes(
      PQunescapeBytea(reinterpret_cast<const unsigned char*>(text), &size), PQfreemem);
  if (!bytes) throw std::bad_alloc();
  target.setText(reinterpret_cast<const char*>(bytes.get()), size);
}

}  // namespace

PostgresCursor::PostgresCursor(PostgresExecutor& executor) : m_executor(executor) {
  executor.startStreaming(this);
}

PostgresCursor::~PostgresCursor() {
  end({});
}

ExecResult PostgresCursor::close() noexcept {
  if (!streams()) return {};
  end({});
  return std::move(m_closing);
}

ExecResult PostgresCursor::start() {
  advance();
  return failure();
}

// After the last row comes the outcome of the statement, and with it the connection is free again.
void PostgresCursor::advance() {
  PostgresChannel& channel = m_executor.channel();
  try {
    if (!channel.next(m_row)) {
      m_lost = true;
      return end(channel.lost());
    }
    if (PQresultStatus(m_row.get()) == PGRES_SINGLE_TUPLE) return;
    ExecResult outcome = m_executor.finish(std::move(m_row));
    m_lost = channel.broken();  // then there is no rest to wait for
    end(std::move(outcome));
  } catch (...) {
    // What was cut off cannot be gone on with.
    channel.setBroken();
    m_lost = true;
    throw;
  }
}

bool PostgresCursor::take(std::vector<RowValue>& row) {
  if (!m_row) advance();
  if (!m_row) return false;
  readRow(row);
  m_row.reset();
  return true;
}

void PostgresCursor::letGo() noexcept {
  m_row.reset();
  m_executor.stopStreaming();
  if (m_lost) return;
  try {
    m_closing = m_executor.abandonRead();
  } catch (...) {
    m_executor.giveUp();
    m_closing = outOfMemory();
  }
}

void PostgresCursor::forget() noexcept {
  m_row.reset();
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
  if (form == Form::Integer && ascii::parseWhole({text, size}, integer)) {
    target.setInteger(integer);
  } else if (form == Form::Real && ascii::parseWhole({text, size}, real)) {
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
