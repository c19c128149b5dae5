#pragma once

#include <memory>
#include <string>
#include <vector>

#include "exec/adapters/ThreadSession.h"

namespace vorn {

/// What the layer keeps for one thread: its sessions by name and the outcome of its last call.
class ThreadContext {
 public:
  /// @return the calling thread's context; also while the thread ends
  static ThreadContext& current();

  ThreadContext() = default;
  ~ThreadContext();
  ThreadContext(const ThreadContext&) = delete;
  ThreadContext& operator=(const ThreadContext&) = delete;

  /// @return what sessions of this name share; it may outlive the thread
  std::shared_ptr<ThreadSession> session(const char* name);

  const ExecResult& last() const noexcept { return m_last; }
  void setLast(const ExecResult& result) {
    m_last = result;
    m_lastIsSuccess = result.succeeded() && !result.detail();
  }
  void setLastToSuccess() {
    if (!m_lastIsSuccess) setLast(ExecResult());
  }

 private:
  void forgetIdleSessions();

  std::vector<std::shared_ptr<ThreadSession>> m_sessions;
  ExecResult m_last;
  bool m_lastIsSuccess = true;
};

}  // namespace vorn
