#include "exec/adapters/mariadb/MariaDbCursor.h"

#include <utility>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"

namespace vorn {

MariaDbCursor::MariaDbCursor(MariaDbExecutor& executor) : m_executor(executor) {
  executor.startStreaming(this);
}

MariaDbCursor::~MariaDbCursor() {
  end({});
}

ExecResult MariaDbCursor::close() noexcept {
  if (!streams()) return {};
  end({});
  return std::move(m_closing);
}

ExecResult MariaDbCursor::start() {
  m_ahead = advance();
  return failure();
}

// With the outcome of the statement, which comes after its last row, the connection is free again.
bool MariaDbCursor::advance() {
  try {
    ExecResult outcome;
    if (m_executor.channel().hasRows()) {
      if (m_executor.channel().nextRow(outcome)) return true;
    }
    if (outcome.succeeded() && !m_executor.channel().atRest()) outcome = m_executor.finish();
    end(std::move(outcome));
    return false;
  } catch (...) {
    // What was cut off cannot be gone on with.
    m_executor.channel().setBroken();
    throw;
  }
}

bool MariaDbCursor::take(std::vector<RowValue>& row) {
  if (!std::exchange(m_ahead, false) && !advance()) return false;
  readRow(row);
  return true;
}

void MariaDbCursor::letGo() noexcept {
  m_ahead = false;
  m_executor.stopStreaming();
  if (m_executor.channel().atRest() || m_executor.channel().broken()) return;
  try {
    m_closing = m_executor.abandonRead();
  } catch (...) {
    m_executor.giveUp();
    m_closing = outOfMemory();
  }
}

void MariaDbCursor::forget() noexcept {
  m_ahead = false;
}

// A number that is filled with zeros is its digits.
MariaDbCursor::Form MariaDbCursor::formOf(const MYSQL_FIELD& field) {
  if ((field.flags & ZEROFILL_FLAG) != 0) return Form::Text;
  switch (field.type) {
    case MYSQL_TYPE_TINY:
    case MYSQL_TYPE_SHORT:
    case MYSQL_TYPE_INT24:
    case MYSQL_TYPE_LONG:
    case MYSQL_TYPE_LONGLONG:
      return Form::Integer;
    case MYSQL_TYPE_FLOAT:
    case MYSQL_TYPE_DOUBLE:
      return Form::Real;
    default:
      return Form::Text;
  }
}

void MariaDbCursor::readRow(std::vector<RowValue>& row) {
  const MariaDbChannel& channel = m_executor.channel();
  const unsigned columns = channel.columns();
  if (m_forms.empty()) {
    m_forms.reserve(columns);
    for (unsigned column = 0; column < columns; ++column) m_forms.push_back(formOf(channel.fields()[column]));
  }
  row.resize(columns);
  const char* const* const values = channel.values();
  const unsigned long* const lengths = channel.lengths();
  for (unsigned column = 0; column < columns; ++column) {
    if (values[column] == nullptr) {
      row[column].setNull();
    } else {
      setValue(row[column], m_forms[column], values[column], lengths[column]);
    }
  }
}

void MariaDbCursor::setValue(RowValue& target, Form form, const char* text, std::size_t size) {
  std::int64_t integer = 0;
  double real = 0;
  if (form == Form::Integer && ascii::parseWhole({text, size}, integer)) {
    target.setInteger(integer);
  } else if (form == Form::Real && ascii::parseWhole({text, size}, real)) {
    target.setReal(real);
  } else {
    target.setText(text, size);
  }
}

}  // namespace vorn
