#include "exec/adapters/mariadb/MariaDbBatch.h"

#include <mysqld_error.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/mariadb/MariaDbDialect.h"
#include "exec/adapters/mariadb/MariaDbError.h"
#include "exec/adapters/store/BatchScope.h"
#include "exec/adapters/store/BatchText.h"

namespace vorn {

namespace {

// More at once makes neither side faster, and takes memory on both.
constexpr std::size_t kChunk = 524288;

// What goes before the values of a request, and what goes before one value.
constexpr std::size_t kRequestHead = 16;
constexpr std::size_t kParameterHead = 2;
constexpr std::size_t kNumberSize = 1 + 8;
constexpr std::size_t kTextHead = 1 + 9;

bool isMisfit(double value) {
  return !std::isfinite(value);
}
bool isMisfit(const auto&) {
  return false;
}

void setType(MYSQL_BIND& bind, const BatchColumn& column) {
  if (column.isText()) {
    bind.buffer_type = MYSQL_TYPE_STRING;
  } else if (column.isInteger()) {
    bind.buffer_type = MYSQL_TYPE_LONGLONG;
    bind.is_unsigned = column.elementCode == element_code::kUnsigned64 ? 1 : 0;
  } else {
    bind.buffer_type = column.elementCode == element_code::kFloat ? MYSQL_TYPE_FLOAT : MYSQL_TYPE_DOUBLE;
  }
}

// The client library does not write to what it sends.
void* address(const auto* element) {
  return const_cast<void*>(static_cast<const void*>(element));
}

// Whether a prepared statement has to be prepared anew, as after a change behind a proxy.
bool isForgotten(const ExecResult& outcome) {
  return isMariaDbError(outcome, ER_UNKNOWN_STMT_HANDLER) || isMariaDbError(outcome, ER_NEED_REPREPARE);
}

}  // namespace

MariaDbBatch::MariaDbBatch(StoreConnection& connection, MariaDbExecutor& executor,
                           StatementCache<MariaDbStatement>& statements, const BatchColumns& columns)
    : m_connection(connection), m_executor(executor), m_statements(statements), m_columns(columns) {}

ExecResult MariaDbBatch::run(const std::string& sql, std::uint64_t& rows) {
  std::string marked;
  ExecResult result = checkValues();
  if (result.succeeded()) result = numberPlaceholders(sql, m_columns, kMariaDbDialect, marked, &m_order);
  if (!result.succeeded()) return result;
  m_effects = effectsOf(marked);
  result = isOneStatement() ? runAlone(marked, rows) : runInScope(marked, rows);
  keepStatement();
  return result;
}

// One row is one statement, and the session as it was settled commits it by itself. Several rows that are
// sent together are one for the server too, but it may say that they are stored where its own commit of them
// has failed.
bool MariaDbBatch::isOneStatement() const {
  return m_columns.rows() == 1 && !m_connection.inTransaction() &&
         m_executor.sessionEffect() == SessionEffect::None;
}

ExecResult MariaDbBatch::runAlone(const std::string& marked, std::uint64_t& rows) {
  ExecResult result = prepare(marked);
  return result.succeeded() ? runChunks(rows) : result;
}

ExecResult MariaDbBatch::runInScope(const std::string& marked, std::uint64_t& rows) {
  BatchScope scope(m_connection);
  ExecResult result = scope.open();
  return result.succeeded() ? scope.close(runAlone(marked, rows), rows) : result;
}

// A statement is kept with the database and the modes that it was prepared with.
void MariaDbBatch::keepStatement() noexcept {
  if (!m_statement.handle || !m_executor.channel().atRest()) return;
  if (m_executor.sessionEffect() == SessionEffect::None) m_statements.put(std::move(m_statement));
}

bool MariaDbBatch::takesArrays() const noexcept {
  unsigned long capabilities = 0;
  constexpr unsigned long kArrays = MARIADB_CLIENT_STMT_BULK_OPERATIONS >> 32;
  return mariadb_get_infov(m_executor.channel().handle(), MARIADB_CONNECTION_EXTENDED_SERVER_CAPABILITIES,
                           &capabilities) == 0 &&
         (capabilities & kArrays) != 0;
}

// A value is stored exactly or the batch is refused, before anything runs.
ExecResult MariaDbBatch::checkValues() const {
  for (const BatchColumn& column : m_columns) {
    const bool fits = column.visit([this](const auto* elements) {
      return std::none_of(elements, elements + m_columns.rows(),
                          [](const auto& element) { return isMisfit(element); });
    });
    if (!fits) {
      return makeFailure(Failure::ValueOutOfRange,
                         "column '" + *column.name + "' has a real that is not finite");
    }
  }
  return {};
}

ExecResult MariaDbBatch::prepare(const std::string& marked) {
  ExecResult result = m_executor.makeReady();
  if (!result.succeeded()) return result;
  result = m_executor.hideOthers(m_effects);
  if (!result.succeeded()) return result;
  m_executor.noteEffect(m_effects.session);
  m_marked = &marked;
  const std::size_t hash = std::hash<std::string>{}(marked);
  if (m_executor.sessionEffect() == SessionEffect::None) m_statement = m_statements.take(marked, hash, false);
  m_isKnown = static_cast<bool>(m_statement.handle);
  if (!m_isKnown) result = m_executor.prepare(marked, m_statement);
  m_statement.hash = hash;
  if (result.succeeded() && mysql_stmt_param_count(m_statement.handle.get()) != m_order.size()) {
    return makeFailure(Failure::ParameterMismatch, "the statement has a parameter of its own");
  }
  m_binds.resize(m_order.size());
  m_texts.resize(m_columns.size());
  return result;
}

ExecResult MariaDbBatch::runChunks(std::uint64_t& rows) {
  std::uint64_t* const counted = m_effects.countsRows ? &rows : nullptr;
  bool atOnce = m_columns.rows() > 1 && takesArrays();
  for (std::size_t first = 0, count = 0; first < m_columns.rows(); first += count) {
    ExecResult result = nextChunk(first, count);
    if (result.succeeded()) result = runRows(first, count, atOnce, counted);
    // These are found before anything is run.
    if (first == 0 && m_isKnown && isForgotten(result)) {
      const std::size_t hash = m_statement.hash;
      result = m_executor.prepare(*m_marked, m_statement);
      m_statement.hash = hash;
      if (result.succeeded()) result = runRows(first, count, atOnce, counted);
    }
    if (first == 0 && atOnce && isMariaDbError(result, ER_UNSUPPORTED_PS)) {
      atOnce = false;
      result = runRows(first, count, atOnce, counted);
    }
    if (!result.succeeded()) return result;
  }
  return {};
}

ExecResult MariaDbBatch::runRows(std::size_t first, std::size_t count, bool atOnce, std::uint64_t* rows) {
  if (atOnce) return execute(first, static_cast<unsigned>(count), true, rows);
  ExecResult result;
  for (std::size_t row = first; row < first + count && result.succeeded(); ++row) {
    result = execute(row, 1, false, rows);
  }
  return result;
}

ExecResult MariaDbBatch::execute(std::size_t first, unsigned count, bool atOnce, std::uint64_t* rows) {
  MYSQL_STMT* const statement = m_statement.handle.get();
  const unsigned size = atOnce ? count : 0;
  bind(first, count, atOnce);
  if (mysql_stmt_attr_set(statement, STMT_ATTR_ARRAY_SIZE, &size) != 0 ||
      mysql_stmt_bind_param(statement, m_binds.data()) != 0) {
    return mariaDbFailure(statement);
  }
  ExecResult result = m_executor.channel().ask(statement);
  return result.succeeded() ? m_executor.finish(rows) : result;
}

// Many rows of texts are bound by arrays of their addresses and sizes, one row by its own.
void MariaDbBatch::bind(std::size_t first, std::size_t count, bool atOnce) {
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    if (!m_columns[index].isText()) continue;
    Texts& texts = m_texts[index];
    texts.bytes.resize(count);
    texts.sizes.resize(count);
    for (std::size_t row = 0; row < count; ++row) {
      const std::string& text = m_columns[index].text(first + row);
      texts.bytes[row] = const_cast<char*>(text.data());
      texts.sizes[row] = text.size();
    }
  }
  for (std::size_t parameter = 0; parameter < m_order.size(); ++parameter) {
    const BatchColumn& column = m_columns[m_order[parameter]];
    Texts& texts = m_texts[m_order[parameter]];
    MYSQL_BIND& bind = m_binds[parameter] = MYSQL_BIND{};
    setType(bind, column);
    if (column.isText()) {
      bind.buffer = atOnce ? address(texts.bytes.data()) : texts.bytes[0];
      bind.length = texts.sizes.data();
    } else {
      bind.buffer = column.visit([first](const auto* elements) { return address(elements + first); });
    }
  }
}

std::size_t MariaDbBatch::sizeOf(std::size_t row) const {
  std::size_t size = 0;
  for (const std::size_t index : m_order) {
    size += m_columns[index].isText() ? kTextHead + m_columns[index].text(row).size() : kNumberSize;
  }
  return size;
}

// The rows from `first` on whose values fit into so many bytes.
std::size_t MariaDbBatch::rowsWithin(std::size_t first, std::size_t size) const {
  std::size_t sum = kRequestHead + kParameterHead * m_order.size();
  std::size_t row = first;
  while (row < m_columns.rows() && (sum += sizeOf(row)) <= size) ++row;
  return row - first;
}

ExecResult MariaDbBatch::nextChunk(std::size_t first, std::size_t& count) {
  count = rowsWithin(first, MariaDbExecutor::kSurelyTaken);
  if (first + count == m_columns.rows()) return {};
  const std::uint64_t known = m_executor.largestPacket();
  const std::uint64_t largest = known == 0 ? MariaDbExecutor::kSurelyTaken : known;
  count = rowsWithin(first, std::min<std::uint64_t>(kChunk, largest));
  if (count == 0) count = rowsWithin(first, largest) == 0 ? 0 : 1;
  if (count > 0) return {};
  return mariaDbFailure(ER_NET_PACKET_TOO_LARGE,
                        "a row is larger than 'max_allowed_packet' of the server; it was not sent");
}

}  // namespace vorn
