#include "exec/adapters/ThreadContext.h"

#include <algorithm>

namespace vorn {

namespace {

thread_local bool contextEnded = false;

}  // namespace

ThreadContext& ThreadContext::current() {
  thread_local ThreadContext context;
  if (!contextEnded) return context;
  // A static object that runs a statement after its thread's own objects are gone.
  thread_local ThreadContext* late = nullptr;
  if (late == nullptr) late = new ThreadContext;
  return *late;
}

ThreadContext::~ThreadContext() {
  contextEnded = true;
  for (const auto& session : m_sessions) session->endThread();
}

std::shared_ptr<ThreadSession> ThreadContext::session(const char* name) {
  for (const auto& session : m_sessions) {
    if (session->name() == name) return session;
  }
  if (m_sessions.size() >= 16) forgetIdleSessions();
  m_sessions.push_back(std::make_shared<ThreadSession>(name));
  return m_sessions.back();
}

void ThreadContext::forgetIdleSessions() {
  m_sessions.erase(
      std::remove_if(m_sessions.begin(), m_sessions.end(),
                     [](const std::shared_ptr<ThreadSession>& session) { return session->idle(); }),
      m_sessions.end());
}

const ExecResult& lastResult() noexcept {
  return ThreadContext::current().last();
}

}  // namespace vorn
