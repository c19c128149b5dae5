#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/store/BufferedCursor.h"
#include "exec/adapters/store/StatementCache.h"
#include "template_store/ScriptedEngine.h"
#include "template_store/TemplateError.h"
#include "template_store/TemplateStatement.h"

namespace vorn {

/// The engine's handle and what runs on it, one statement after another. It knows that there is a cursor, and
/// neither its class nor a batch: connection, cursor and batch stand on it, and none of them on another.
///
/// Invariants:
/// 1. Once given up, there is no handle, and every call fails.
/// 2. Nothing runs before the rest of the streaming cursor has moved into memory: the engine has one active
///    statement. An engine that allows several keeps a list of cursors here.
/// 3. The session counts as changed from before a statement that may change it runs.
class TemplateDatabase {
 public:
  explicit TemplateDatabase(std::unique_ptr<scripted::Session> session);
  ~TemplateDatabase();
  TemplateDatabase(const TemplateDatabase&) = delete;
  TemplateDatabase& operator=(const TemplateDatabase&) = delete;

  bool usable() const noexcept { return m_session && !m_session->hungUp(); }
  bool inTransaction() const noexcept { return usable() && m_session->inTransaction(); }
  bool sessionChanged() const noexcept { return m_sessionChanged; }

  /// Frees the handle: the engine undoes its transaction. The open cursor fails.
  void giveUp() noexcept;

  /// Moves what the streaming cursor has not delivered yet into memory.
  void drainCursor() noexcept;

  /// Prepares the one statement of a text, or takes it out of the cache, and makes the engine ready for it.
  ExecResult prepare(const std::string& sql, TemplateStatement& statement);

  /// Runs a prepared statement to its end; rows that it returns are dropped.
  /// @param rows  the number of rows written is added to it
  ExecResult runToEnd(TemplateStatement& statement, std::uint64_t& rows);

  /// Gives a statement back, wherever it stands.
  void finish(TemplateStatement statement) noexcept;

  /// @return the failure that a step of the engine came to
  ExecResult failure(scripted::Code code) const { return templateFailure(code, m_session->message()); }

  /// For the cursor that streams, from its first step to its end.
  void startStreaming(BufferedCursor* cursor) noexcept { m_cursor = cursor; }
  void stopStreaming() noexcept { m_cursor = nullptr; }

 private:
  std::unique_ptr<scripted::Session> m_session;
  StatementCache<TemplateStatement> m_cache;  ///< after the session: its statements go first
  BufferedCursor* m_cursor = nullptr;
  bool m_sessionChanged = false;
};

}  // namespace vorn
