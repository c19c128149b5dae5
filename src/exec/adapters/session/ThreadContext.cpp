#include "exec/adapters/session/ThreadContext.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>

#include "common/NoDestructor.h"
#include "exec/adapters/base/Failure.h"

namespace vorn {

namespace {

// Has no destructor, so it can be read to the thread's last moment.
thread_local ThreadContext* contextOfThread = nullptr;

// The system calls its function at the end of each thread but the one that ends the process, after all
// thread-local objects are gone, and again if a destructor of another key has used the layer meanwhile.
class ThreadEndKey {
 public:
  explicit ThreadEndKey(void (*atEnd)(void*)) : m_valid(pthread_key_create(&m_key, atEnd) == 0) {}
  // The function must not be called when the library is unloaded.
  ~ThreadEndKey() {
    if (m_valid.exchange(false)) pthread_key_delete(m_key);
  }
  ThreadEndKey(const ThreadEndKey&) = delete;
  ThreadEndKey& operator=(const ThreadEndKey&) = delete;

  /// @return whether the function will be called for this thread
  bool arm(void* value) noexcept { return m_valid && pthread_setspecific(m_key, value) == 0; }

 private:
  pthread_key_t m_key{};
  std::atomic<bool> m_valid;
};

}  // namespace

// Threads may still run statements while the process ends, hence no destructor.
struct AllContexts {
  std::mutex mutex;
  ThreadContext* unused = nullptr;

  static AllContexts& instance() {
    static NoDestructor<AllContexts> all;
    return *all;
  }

  ThreadContext* take() {
    {
      const std::lock_guard lock(mutex);
      if (ThreadContext* const context = unused) {
        unused = context->m_nextUnused;
        return context;
      }
    }
    return new ThreadContext;
  }

  void giveBack(ThreadContext* context) noexcept {
    const std::lock_guard lock(mutex);
    context->m_nextUnused = unused;
    unused = context;
  }
};

class ThreadContext::EndWithThreadObjects {
 public:
  EndWithThreadObjects() = default;
  ~EndWithThreadObjects() { contextOfThread->endSessions(); }
  EndWithThreadObjects(const EndWithThreadObjects&) = delete;
  EndWithThreadObjects& operator=(const EndWithThreadObjects&) = delete;

  void arm() const noexcept {}
};

ThreadContext& ThreadContext::current() {
  return contextOfThread != nullptr ? *contextOfThread : enter();
}

ThreadContext& ThreadContext::enter() {
  static ThreadEndKey key(leave);
  thread_local bool armed = false;

  AllContexts& all = AllContexts::instance();
  ThreadContext* const context = all.take();
  // A thread that cannot be watched keeps its context, which is ended with its thread-local objects only.
  static_cast<void>(key.arm(context));
  contextOfThread = context;
  if (!armed) {
    armed = true;
    thread_local const EndWithThreadObjects end;
    end.arm();
  }
  return *context;
}

void ThreadContext::leave(void* left) noexcept {
  auto* const context = static_cast<ThreadContext*>(left);
  context->endSessions();
  context->m_sessions.clear();
  context->setLastToSuccess();
  contextOfThread = nullptr;
  AllContexts::instance().giveBack(context);
}

// By index: what is logged here may reach a sink that uses sessions of its own.
void ThreadContext::endSessions() noexcept {
  for (std::size_t at = 0; at < m_sessions.size(); ++at) {
    const std::shared_ptr<ThreadSession> session = m_sessions[at];
    session->endThread();
  }
}

void ThreadContext::prepareFork() noexcept {
  if (contextOfThread == nullptr) return;
  for (const auto& session : contextOfThread->m_sessions) session->prepareFork();
}

void ThreadContext::lockAll() {
  AllContexts::instance().mutex.lock();
}

void ThreadContext::unlockAll() {
  AllContexts::instance().mutex.unlock();
}

void ThreadContext::setLast(const ExecResult& result) noexcept {
  m_lastIsSuccess = result.succeeded() && !result.detail();
  assignResult(m_last, result);
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
  static const ExecResult none;
  try {
    return ThreadContext::current().last();
  } catch (const std::bad_alloc&) {
    return none;  // a thread that has called nothing yet, and has no memory for more
  }
}

void setLastResult(const ExecResult& outcome) {
  ThreadContext::current().setLast(outcome);
}

}  // namespace vorn
