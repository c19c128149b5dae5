#include "vorn/platform/type_registry.h"

#include <atomic>
#include <mutex>
#include <vector>

namespace vorn {

namespace {

std::recursive_mutex& registryMutex() {
  static std::recursive_mutex mutex;
  return mutex;
}

class LockGuard {
 public:
  LockGuard() { TypeRegistry::registryLock().acquire(); }
  ~LockGuard() { TypeRegistry::registryLock().release(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;
};

template <typename Element>
constexpr std::uint32_t elementCodeOf = 0;
template <>
constexpr std::uint32_t elementCodeOf<std::string> = element_code::kString;
template <>
constexpr std::uint32_t elementCodeOf<long> = element_code::kSigned64;
template <>
constexpr std::uint32_t elementCodeOf<unsigned long> = element_code::kUnsigned64;
template <>
constexpr std::uint32_t elementCodeOf<float> = element_code::kFloat;
template <>
constexpr std::uint32_t elementCodeOf<double> = element_code::kDouble;

/// The operations of one vector type, in the shape of ContainerRecord.
template <typename Vector>
struct VectorOperations {
  using Element = typename Vector::value_type;

  static Vector& at(void* container) { return *static_cast<Vector*>(container); }

  static void* create() { return new Vector; }
  static void destroy(void* container) { delete static_cast<Vector*>(container); }
  static std::size_t count(const void* container) { return static_cast<const Vector*>(container)->size(); }
  static void* first(void* container) { return at(container).empty() ? nullptr : at(container).data(); }

  static void next(void* container, ContainerCursor& cursor) {
    if (cursor.element == nullptr) return;
    Element* const following = static_cast<Element*>(cursor.element) + 1;
    Vector& vector = at(container);
    cursor.element = following == vector.data() + vector.size() ? nullptr : following;
  }

  static void previous(void* container, ContainerCursor& cursor) {
    if (cursor.element == nullptr) return;
    auto* const element = static_cast<Element*>(cursor.element);
    cursor.element = element == at(container).data() ? nullptr : element - 1;
  }

  static ContainerCursor* makeLastCursor(void* container) {
    Vector& vector = at(container);
    return new ContainerCursor{vector.empty() ? nullptr : &vector.back()};
  }
  static void freeCursor(ContainerCursor* cursor) { delete cursor; }

  static void removeLast(void* container) {
    if (!at(container).empty()) at(container).pop_back();
  }
  static void removeAll(void* container) { at(container).clear(); }
  static void* appendDefault(void* container) { return &at(container).emplace_back(); }
  static void* appendCopy(void* container, const void* element) {
    return &at(container).emplace_back(*static_cast<const Element*>(element));
  }
};

template <typename Vector>
void fillRecord(ContainerRecord& record, const char* name, std::uint32_t flags) {
  using Operations = VectorOperations<Vector>;
  TypeRegistry::setTypeBasics(record, name, sizeof(Vector), &Operations::create, &Operations::destroy, flags);
  record.elementCode = elementCodeOf<typename Vector::value_type>;
  record.flags = static_cast<std::uint8_t>(flags & ~std::uint32_t{type_flag::kPerReference});
  record.count = &Operations::count;
  record.first = &Operations::first;
  record.next = &Operations::next;
  record.previous = &Operations::previous;
  record.makeLastCursor = &Operations::makeLastCursor;
  record.freeCursor = &Operations::freeCursor;
  record.removeLast = &Operations::removeLast;
  record.removeAll = &Operations::removeAll;
  record.appendDefault = &Operations::appendDefault;
  record.appendCopy = &Operations::appendCopy;
}

}  // namespace

void TypeRegistry::Lock::acquire() {
  registryMutex().lock();
}
void TypeRegistry::Lock::release() {
  registryMutex().unlock();
}

void TypeRegistry::setTypeBasics(ContainerRecord& record, const char* name, std::size_t objectSize,
                                 void* (*create)(), void (*destroy)(void*), std::uint32_t flags) {
  record.basics = {name, objectSize, create, destroy, flags};
}

template <typename Vector>
void TypeRegistry::registerVectorType(TypeDescriptor& descriptor, std::uint32_t code, const char* name,
                                      std::uint32_t flags) {
  // Constant-initialised and trivially destroyed: usable by other statics, however early or late they run.
  static constinit ContainerRecord storage;
  static constinit std::atomic<const ContainerRecord*> published{nullptr};

  const ContainerRecord* record = published.load(std::memory_order_acquire);
  if (record == nullptr) {
    const LockGuard guard;
    record = published.load(std::memory_order_relaxed);
    if (record == nullptr) {
      fillRecord<Vector>(storage, name, flags);
      record = &storage;
      published.store(record, std::memory_order_release);
    }
  }
  descriptor.code = code;
  descriptor.record = record;
}

template void TypeRegistry::registerVectorType<std::vector<std::string>>(TypeDescriptor&, std::uint32_t,
                                                                         const char*, std::uint32_t);
template void TypeRegistry::registerVectorType<std::vector<long>>(TypeDescriptor&, std::uint32_t, const char*,
                                                                  std::uint32_t);
template void TypeRegistry::registerVectorType<std::vector<unsigned long>>(TypeDescriptor&, std::uint32_t,
                                                                           const char*, std::uint32_t);
template void TypeRegistry::registerVectorType<std::vector<float>>(TypeDescriptor&, std::uint32_t,
                                                                   const char*, std::uint32_t);
template void TypeRegistry::registerVectorType<std::vector<double>>(TypeDescriptor&, std::uint32_t,
                                                                    const char*, std::uint32_t);

}  // namespace vorn
