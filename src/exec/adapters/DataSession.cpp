#include "vorn/platform/data_session.h"

#include <chrono>
#include <utility>

#include "exec/adapters/LayerError.h"
#include "exec/adapters/StatementStatistics.h"
#include "exec/adapters/ThreadContext.h"
#include "vorn/platform/logging.h"
#include "vorn/platform/row_value.h"

namespace vorn {

class DataSession::Impl {
 public:
  explicit Impl(const char* name)
      : m_context(&ThreadContext::current()),
        m_shared(m_context->session(name)),
        m_forks(StoreTable::forks()) {
    m_shared->addSession();
  }
  ~Impl() {
    closeCursor();
    m_shared->dropSession();
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  ThreadSession& shared() { return *m_shared; }

  ExecResult note(ExecResult result) {
    m_context->setLast(result);
    return result;
  }

  /// Runs one statement through `run`, which is handed the connection and the place to count rows.
  template <typename Run>
  ExecResult execute(const std::string& statementId, const std::string& sqlText, const Run& run) {
    const auto start = std::chrono::steady_clock::now();
    closeCursor();
    std::uint64_t rows = 0;
    ExecResult result = runOn(sqlText, rows, run);

    m_counters = &statementCounters(statementId);
    StatementCounters::add(m_counters->calls, 1);
    if (!result.succeeded()) StatementCounters::add(m_counters->failures, 1);
    StatementCounters::add(m_counters->rows, rows);
    const std::chrono::nanoseconds elapsed = std::chrono::steady_clock::now() - start;
    StatementCounters::add(m_counters->nanoseconds, static_cast<std::uint64_t>(elapsed.count()));
    m_context->setLast(result);
    return result;
  }

  std::unique_ptr<StoreCursor>& cursor() { return m_cursor; }

  bool fetch(ExecResult& status, const TypedRef& rowTarget) {
    if (!m_cursor || m_forks != StoreTable::forks() || rowTarget.type.code != type_code::kRow ||
        rowTarget.object == nullptr) {
      return refuseFetch(status, rowTarget);
    }
    auto& row = *static_cast<std::vector<RowValue>*>(rowTarget.object);
    const StoreCursor::Fetch fetched = m_cursor->fetch(row, m_fetchFailure);
    if (fetched == StoreCursor::Fetch::Row) {
      setSuccess(status);
      StatementCounters::add(m_counters->rows, 1);
      return true;
    }
    if (fetched == StoreCursor::Fetch::End) {
      setSuccess(status);
      return false;
    }
    status = note(std::exchange(m_fetchFailure, ExecResult()));
    return failFetch(status);
  }

 private:
  template <typename Run>
  ExecResult runOn(const std::string& sqlText, std::uint64_t& rows, const Run& run) {
    if (sqlText.find('\0') != std::string::npos) {
      return makeFailure(LayerError::EmbeddedNul, "the statement's text has a zero byte");
    }
    StoreConnection* connection = nullptr;
    ExecResult result = m_shared->connection(connection);
    if (!result.succeeded()) return result;
    result = run(*connection, rows);
    m_shared->statementRan(result);
    return result;
  }

  // The outcome of nearly every fetch, and usually what both places hold already.
  void setSuccess(ExecResult& status) {
    if (!status.succeeded() || status.errorCode() != 0 || status.detail()) status = ExecResult();
    m_context->setLastToSuccess();
  }

  bool refuseFetch(ExecResult& status, const TypedRef& rowTarget) {
    if (rowTarget.type.code != type_code::kRow || rowTarget.object == nullptr) {
      status = note(makeFailure(LayerError::InvalidReference, "the row target does not refer to a row"));
      return false;
    }
    if (m_cursor) {
      status = note(makeFailure(LayerError::ForkedSession, "the result was opened by the parent process"));
      return failFetch(status);
    }
    setSuccess(status);  // no statement was executed, or its result is over
    return false;
  }

  // The rows before the failure were handed out already, so only the log and lastResult() can tell.
  bool failFetch(const ExecResult& status) {
    Logger::error(static_cast<std::uint32_t>(status.errorCode()),
                  LogScrubber::scrub("[VORNLib]reading rows broke off: " + status.detail().value_or("")),
                  {"DataSession", "fetchRow", __LINE__});
    closeCursor();
    return false;
  }

  void closeCursor() {
    if (m_forks != StoreTable::forks()) {
      // The cursor belongs to the parent process and is left alone.
      static_cast<void>(m_cursor.release());
      m_forks = StoreTable::forks();
    }
    m_cursor.reset();
  }

  ThreadContext* m_context;
  std::shared_ptr<ThreadSession> m_shared;
  std::unique_ptr<StoreCursor> m_cursor;
  StatementCounters* m_counters = nullptr;
  ExecResult m_fetchFailure;
  std::uint32_t m_forks;
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
  return m_impl->execute(statementId, sqlText, [&](StoreConnection& connection, std::uint64_t& rows) {
    return kind == SqlKind::Read ? connection.read(sqlText, m_impl->cursor())
                                 : connection.write(sqlText, rows);
  });
}

ExecResult DataSession::execute(const std::string& statementId, SqlKind, const std::string& sqlText,
                                const TypedRef& parameters) {
  return m_impl->execute(statementId, sqlText, [&](StoreConnection& connection, std::uint64_t& rows) {
    return connection.batch(sqlText, parameters, rows);
  });
}

bool DataSession::fetchRow(ExecResult& status, const TypedRef& rowTarget, int) {
  return m_impl->fetch(status, rowTarget);
}

}  // namespace vorn
