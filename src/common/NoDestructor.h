#pragma once

#include <new>
#include <utility>

namespace vorn {

/// A static object that is never destroyed, so that threads and static objects may use it while the process
/// ends.
/// @code
///   static NoDestructor<Table> table;
///   table->find(name);
/// @endcode
template <typename Object>
class NoDestructor {
 public:
  template <typename... Arguments>
  explicit NoDestructor(Arguments&&... arguments) {
    new (&m_storage) Object(std::forward<Arguments>(arguments)...);
  }
  NoDestructor(const NoDestructor&) = delete;
  NoDestructor& operator=(const NoDestructor&) = delete;

  Object& operator*() noexcept { return *std::launder(reinterpret_cast<Object*>(&m_storage)); }
  Object* operator->() noexcept { return &**this; }

 private:
  alignas(Object) unsigned char m_storage[sizeof(Object)];
};

}  // namespace vorn
