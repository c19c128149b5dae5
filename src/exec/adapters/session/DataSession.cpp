#include "vorn/platform/data_session.h"

#include <chrono>
#include <utility>

#include "common/log_line.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/base/OwnedByProcess.h"
#include "exec/adapters/session/StatementStatistics.h"
#include "exec/adapters/session/ThreadContext.h"
#include "exec/adapters/session/fork_handlers.h"
#include "exec/adapters/session/slow_statement.h"
#include "exec/adapters/sql/TransactionText.h"
#include "vorn/platform/row_value.h"

namespace vorn {

namespace {

// The rows before the failure were handed out already, so only the log and lastResult() can say so.
void logBrokenRead(const char* what, const ExecResult& failure) noexcept {
  try {
    Logger::error(static_cast<std::uint32_t>(failure.errorCode()),
                  taggedLine(std::string(what) + ": " + failure.detail().value_or("")),
                  {"DataSession", "fetchRow", __LINE__});
  } catch (...) {
    // Without memory for the line the failure is known by its code alone.
    return;
  }
}

}  // namespace

/// Invariants:
/// 1. Whatever may fail in keeping the books of a statement comes before it runs. A statement that has run
///    ends with its own outcome.
/// 2. A result that failed, or out of which an exception came, be it from execute() or from fetch(), is over:
///    every further fetch fails, and none delivers a row.
/// 3. The result of a parent process is not touched, see OwnedByProcess.
class DataSession::Impl {
 public:
  explicit Impl(const char* name) : m_context(&ThreadContext::current()), m_shared(m_context->session(name)) {
    installForkHandlers();
    m_shared->addSession();
  }
  ~Impl() {
    closeCursor();
    m_shared->dropSession();
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  ThreadSession& shared() { return *m_shared; }

  ExecResult note(ExecResult result) noexcept {
    m_context->setLast(result);
    return result;
  }

  /// Runs one statement through `run`, which is handed the connection and the place to count rows.
  /// @param text  what the statement does to the transaction
  template <typename Run>
  ExecResult execute(const std::string& statementId, const std::string& sqlText, TransactionText text,
                     const Run& run) {
    const auto start = std::chrono::steady_clock::now();
    closeCursor();
    m_counters = &m_context->statistics().find(statementId);
    m_shapeCounters = nullptr;
    std::uint64_t rows = 0;
    try {
      ExecResult result = runOn(sqlText, text, rows, run);
      count(start, sqlText, result, rows);
      return result;
    } catch (...) {
      m_brokeOff = true;
      count(start, sqlText, outOfMemory(), 0);
      throw;
    }
  }

  std::unique_ptr<StoreCursor>& cursor() { return m_cursor.slot(); }

  bool fetch(ExecResult& status, const TypedRef& rowTarget) {
    const bool inherited = m_cursor.forgetInherited();
    if (!m_cursor || rowTarget.type.code != type_code::kRow || rowTarget.object == nullptr) {
      return refuseFetch(status, rowTarget, inherited);
    }
    auto& row = *static_cast<std::vector<RowValue>*>(rowTarget.object);
    const StoreCursor::Fetch fetched = fetchInto(row);
    if (fetched == StoreCursor::Fetch::Row) {
      setSuccess(status);
      StatementCounters::add(m_counters->rows, 1);
      StatementCounters::add(m_shapeCounters->rows, 1);
      return true;
    }
    if (fetched == StoreCursor::Fetch::End) {
      setSuccess(status);
      return false;
    }
    return failFetch(status, std::exchange(m_fetchFailure, ExecResult()));
  }

 private:
  template <typename Run>
  ExecResult runOn(const std::string& sqlText, TransactionText text, std::uint64_t& rows, const Run& run) {
    if (sqlText.find('\0') != std::string::npos) {
      return makeFailure(Failure::EmbeddedNul, "the statement's text has a zero byte");
    }
    StoreConnection* connection = nullptr;
    ExecResult result = m_shared->connection(connection, text);
    if (connection == nullptr) return result;
    try {
      const ThreadContext::ShapeLoan shape(*m_context);
      m_dialect = &connection->dialect();
      (*shape).read(sqlText, *m_dialect);
      m_shapeCounters = &m_context->shapes().find(m_shared->store(), *shape, *m_dialect);
      result = run(*connection, *shape, rows);
    } catch (...) {
      m_cursor.take().reset();
      m_shared->connectionThrew(text);
      throw;
    }
    m_shared->statementRan(result, text);
    return result;
  }

  using Time = std::chrono::steady_clock::time_point;

  void count(Time start, const std::string& sqlText, const ExecResult& result, std::uint64_t rows) noexcept {
    const bool succeeded = result.succeeded();
    StatementCounters::add(m_counters->calls, 1);
    StatementCounters::add(succeeded ? m_counters->rows : m_counters->failures, succeeded ? rows : 1);
    const auto elapsed = static_cast<std::uint64_t>(
        std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count());
    StatementCounters::add(m_counters->nanoseconds, elapsed);
    const bool ran = m_shapeCounters != nullptr;
    ShapeCounters* const counters = ran ? m_shapeCounters : m_context->shapes().findNotRun(m_shared->store());
    if (counters != nullptr) counters->addCall(succeeded, rows, elapsed);
    if (isSlowStatement(elapsed)) logSlow(ran ? &sqlText : nullptr, elapsed, rows, succeeded);
    m_context->setLast(result);
  }

  // Comes before the outcome is kept: the sink may run statements, whose outcome is not the caller's.
  void logSlow(const std::string* sqlText, std::uint64_t elapsed, std::uint64_t rows,
               bool succeeded) noexcept {
    if (std::exchange(m_context->writesSlowLine, true)) return;
    writeSlowLine(sqlText, elapsed, rows, succeeded);
    m_context->writesSlowLine = false;
  }

  void writeSlowLine(const std::string* sqlText, std::uint64_t elapsed, std::uint64_t rows,
                     bool succeeded) noexcept {
    try {
      std::string text = kNotRun;
      if (sqlText != nullptr) {
        StatementShape shape;
        shape.read(*sqlText, *m_dialect);
        text = StatementShape::masked(shape.key(), *m_dialect);
      }
      logSlowStatement(text, m_shared->store().text, elapsed, rows, succeeded);
    } catch (...) {
      // The statement has run: neither a lack of memory nor a sink that throws is its outcome.
      return;
    }
  }

  // What an exception leaves in the row is of no use, and a cursor need not be exact after one.
  StoreCursor::Fetch fetchInto(std::vector<RowValue>& row) {
    try {
      return m_cursor->fetch(row, m_fetchFailure);
    } catch (...) {
      row.clear();
      closeCursor();
      m_brokeOff = true;
      m_context->setLast(outOfMemory());
      throw;
    }
  }

  // The outcome of nearly every fetch, and usually what both places hold already.
  void setSuccess(ExecResult& status) {
    if (!status.succeeded() || status.errorCode() != 0 || status.detail()) status = ExecResult();
    m_context->setLastToSuccess();
  }

  bool refuseFetch(ExecResult& status, const TypedRef& rowTarget, bool inherited) {
    if (inherited) {
      return failFetch(status,
                       makeFailure(Failure::ForkedSession, "the result was opened by the parent process"));
    }
    if (rowTarget.type.code != type_code::kRow || rowTarget.object == nullptr) {
      status = note(makeFailure(Failure::InvalidReference, "the row target does not refer to a row"));
      return false;
    }
    if (m_brokeOff) return failFetch(status, outOfMemory());
    if (!m_failure.succeeded()) {
      status = note(m_failure);
      return false;
    }
    setSuccess(status);  // no statement was executed, or its result is over
    return false;
  }

  // The log comes first: its sink may run statements, whose outcome is not the caller's.
  bool failFetch(ExecResult& status, ExecResult failure) noexcept {
    logBrokenRead("reading rows broke off", failure);
    closeCursor();
    m_context->setLast(failure);
    assignResult(m_failure, failure);
    status = std::move(failure);
    return false;
  }

  void closeCursor() noexcept {
    m_cursor.forgetInherited();
    m_brokeOff = false;
    m_failure = {};
    const std::unique_ptr<StoreCursor> cursor = m_cursor.take();
    const ExecResult closed = cursor ? cursor->close() : ExecResult();
    if (closed.succeeded()) return;
    logBrokenRead("a read was given up", closed);
    m_context->setLast(closed);
  }

  ThreadContext* m_context;
  std::shared_ptr<ThreadSession> m_shared;
  OwnedByProcess<StoreCursor> m_cursor;
  StatementCounters* m_counters = nullptr;
  ShapeCounters* m_shapeCounters = nullptr;  ///< nothing as long as the statement has not been run
  const SqlDialect* m_dialect = nullptr;     ///< in which m_shapeCounters' statement was run
  ExecResult m_fetchFailure;
  ExecResult m_failure;     ///< with which the result ended
  bool m_brokeOff = false;  ///< whether an exception ended the result, and no fetch has said so yet
};

DataSession::DataSession(const char* sessionName) : m_impl(std::make_unique<Impl>(sessionName)) {}

DataSession::~DataSession() = default;

ExecResult DataSession::beginTransaction() {
  return m_impl->note(m_impl->shared().begin());
}

ExecResult DataSession::commit() {
  return m_impl->note(m_impl->shared().commit());
}

ExecResult DataSession::rollback() {
  return m_impl->note(m_impl->shared().rollback());
}

ExecResult DataSession::execute(const std::string& statementId, SqlKind kind, const std::string& sqlText,
                                NoParametersType) {
  return m_impl->execute(statementId, sqlText, transactionText(sqlText),
                         [&](StoreConnection& connection, const StatementShape& shape, std::uint64_t& rows) {
                           return kind == SqlKind::Read ? connection.read(shape, m_impl->cursor())
                                                        : connection.write(shape, rows);
                         });
}

ExecResult DataSession::execute(const std::string& statementId, SqlKind, const std::string& sqlText,
                                const TypedRef& parameters) {
  return m_impl->execute(statementId, sqlText, TransactionText::None,
                         [&](StoreConnection& connection, const StatementShape&, std::uint64_t& rows) {
                           BatchColumns columns;
                           ExecResult result = BatchColumns::read(parameters, columns);
                           return result.succeeded() ? connection.batch(sqlText, columns, rows) : result;
                         });
}

bool DataSession::fetchRow(ExecResult& status, const TypedRef& rowTarget, int) {
  return m_impl->fetch(status, rowTarget);
}

}  // namespace vorn
