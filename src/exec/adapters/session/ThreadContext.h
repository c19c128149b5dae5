#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "exec/adapters/session/StatementStatistics.h"
#include "exec/adapters/session/ThreadSession.h"
#include "exec/adapters/session/ThreadShapes.h"
#include "exec/adapters/sql/StatementShape.h"

namespace vorn {

/// What the layer keeps for one thread: its sessions by name, its statistics and the outcome of its last
/// call.
///
/// Invariants:
/// 1. A thread has one context from its first call to its very end, the destructors of its thread-local and,
///    on the thread that ends the process, of static objects included.
/// 2. What the thread's sessions hold is ended twice: with its thread-local objects, and, for what came later
///    (destructors that ran statements, a log sink), after all of them. What a static object leaves open is
///    rolled back by the end of the process.
/// 3. A context is never destroyed. One that a thread has left is taken over by a later thread.
class ThreadContext {
 public:
  /// @return the calling thread's context
  static ThreadContext& current();

  /// Gives up what the forking thread's connections must not have open while the process forks.
  static void prepareFork() noexcept;

  /// Keep the contexts' lock from being cut off in the middle by a fork.
  static void lockAll();
  static void unlockAll();

  ThreadContext(const ThreadContext&) = delete;
  ThreadContext& operator=(const ThreadContext&) = delete;

  /// @return what sessions of this name share; it may outlive the thread
  std::shared_ptr<ThreadSession> session(const char* name);

  ThreadStatistics& statistics() noexcept { return m_statistics; }
  ThreadShapes& shapes() noexcept { return m_shapes; }

  /// Whether a line about a slow statement is being written. A log sink may run statements, which have none.
  bool writesSlowLine = false;

  /// Lends a shape that knows the statements of this thread. A statement that runs inside of another one, from a
  /// log sink, is lent one of its own.
  class ShapeLoan {
   public:
    explicit ShapeLoan(ThreadContext& context) : m_context(context), m_shape(std::move(context.m_shape)) {
      if (!m_shape) m_shape = std::make_unique<StatementShape>();
    }
    ~ShapeLoan() { m_context.m_shape = std::move(m_shape); }
    ShapeLoan(const ShapeLoan&) = delete;
    ShapeLoan& operator=(const ShapeLoan&) = delete;

    StatementShape& operator*() const noexcept { return *m_shape; }

   private:
    ThreadContext& m_context;
    std::unique_ptr<StatementShape> m_shape;
  };

  const ExecResult& last() const noexcept { return m_last; }

  /// Keeps an outcome; without its detail where there is no memory for that.
  void setLast(const ExecResult& result) noexcept;
  void setLastToSuccess() noexcept {
    if (!m_lastIsSuccess) setLast(ExecResult());
  }

 private:
  friend struct AllContexts;
  class EndWithThreadObjects;

  ThreadContext() : m_statistics(ThreadStatistics::create()) {}

  static ThreadContext& enter();
  static void leave(void* context) noexcept;
  void endSessions() noexcept;
  void forgetIdleSessions();

  ThreadStatistics& m_statistics;
  ThreadShapes m_shapes;
  std::vector<std::shared_ptr<ThreadSession>> m_sessions;
  std::unique_ptr<StatementShape> m_shape;  ///< null while it is lent
  ExecResult m_last;
  bool m_lastIsSuccess = true;
  ThreadContext* m_nextUnused = nullptr;
};

}  // namespace vorn
