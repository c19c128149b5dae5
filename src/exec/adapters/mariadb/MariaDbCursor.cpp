#include "exec/adapters/mariadb/MariaDbCursor.h"

#include <utility>

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

void MariaDbCursor::readRow(std::vector<RowValue>& row) {
  const MariaDbChannel& channel = m_executor.channel();
  const unsigned columns = channel.columns();
  if (m_forms.empty()) {
    m_forms.reserve(columns);
    for (unsigned column = 0; column < columns; ++column)
      m_forms.push_back(mariaDbForm(channel.fields()[column]));
  }
  row.resize(columns);
  channel.statement() == nullptr ? readText(row) : readBinary(row);
}

void MariaDbCursor::readText(std::vector<RowValue>& row) {
  const char* const* const values = m_executor.channel().values();
  const unsigned long* const lengths = m_executor.channel().lengths();
  for (std::size_t column = 0; column < row.size(); ++column) {
    if (values[column] == nullptr) {
      row[column].setNull();
    } else {
      setFromText(row[column], m_forms[column], values[column], lengths[column]);
    }
  }
}

// The client library shows where in the row a value begins, as nothing is bound for it.
void MariaDbCursor::readBinary(std::vector<RowValue>& row) {
  const MYSQL_STMT* const statement = m_executor.channel().statement();
  for (std::size_t column = 0; column < row.size(); ++column) {
    unsigned char* const bytes = statement->bind[column].u.row_ptr;
    if (bytes == nullptr) {
      row[column].setNull();
    } else {
      setFromBinary(row[column], m_forms[column], statement->fields[column], bytes);
    }
  }
}

}  // namespace vorn
