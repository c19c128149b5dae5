#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "exec/adapters/base/ProcessEpoch.h"

namespace vorn {

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
