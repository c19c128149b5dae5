#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

namespace vorn {

/// Counts the forks between the first process and this one.
class ProcessEpoch {
 public:
  static std::uint32_t current() noexcept { return s_forks.load(std::memory_order_relaxed); }

  /// Called once in a forked child.
  static void beginInChild() noexcept { s_forks.fetch_add(1, std::memory_order_relaxed); }

 private:
  static std::atomic<std::uint32_t> s_forks;
};

/// Owns an object on behalf of the process that put it there.
///
/// A forked child inherits a copy of the object, which still belongs to the parent: destroying it would speak
/// for the parent. The child calls forgetInherited() before anything else, and then owns nothing.
template <typename Object>
class OwnedByProcess {
 public:
  OwnedByProcess() = default;
  ~OwnedByProcess() { forgetInherited(); }
  OwnedByProcess(const OwnedByProcess&) = delete;
  OwnedByProcess& operator=(const OwnedByProcess&) = delete;

  /// Forgets an object of the parent process; it is neither used nor destroyed.
  /// @return whether there was one
  bool forgetInherited() noexcept {
    if (m_epoch == ProcessEpoch::current()) return false;
    m_epoch = ProcessEpoch::current();
    return m_object.release() != nullptr;
  }

  explicit operator bool() const noexcept { return m_object != nullptr; }
  Object* get() const noexcept { return m_object.get(); }
  Object* operator->() const noexcept { return m_object.get(); }
  Object& operator*() const noexcept { return *m_object; }

  /// @return the place for an object of this process
  std::unique_ptr<Object>& slot() noexcept { return m_object; }
  std::unique_ptr<Object> take() noexcept { return std::move(m_object); }

 private:
  std::unique_ptr<Object> m_object;
  std::uint32_t m_epoch = ProcessEpoch::current();
};

}  // namespace vorn
