#pragma once

#include <pthread.h>

#include <cerrno>
#include <csignal>

namespace vorn {

/// Keeps SIGPIPE from the process while it lives, where the connection is encrypted: the cryptography under the client
/// library writes without a word about signals.
class NoPipeSignal {
 public:
  explicit NoPipeSignal(bool needed) noexcept : m_needed(needed) {
    if (!m_needed) return;
    sigemptyset(&m_pipe);
    sigaddset(&m_pipe, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    m_wasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before);
  }
  ~NoPipeSignal() {
    if (!m_needed) return;
    const timespec now{};
    if (!m_wasPending) {
      while (sigtimedwait(&m_pipe, nullptr, &now) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
  }
  NoPipeSignal(const NoPipeSignal&) = delete;
  NoPipeSignal& operator=(const NoPipeSignal&) = delete;

 private:
  const bool m_needed;
  bool m_wasPending = false;
  sigset_t m_pipe{};
  sigset_t m_before{};
};

}  // namespace vorn
