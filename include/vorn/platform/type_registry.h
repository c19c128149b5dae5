#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "vorn/export.h"

namespace vorn {

struct ContainerRecord;

/// The type of what a TypedRef refers to: a data-type code, flag bits, and the registry's record of the type,
/// which is null where the code alone describes the type.
struct TypeDescriptor {
  std::uint32_t code = 0;
  std::uint8_t flags = 0;
  const ContainerRecord* record = nullptr;
};

/// A typed reference to an object that the caller owns.
///
/// Requires: the object lives longer than the reference.
struct TypedRef {
  TypeDescriptor type;
  void* object = nullptr;
};

/// A parameter set: a typed column for each name of a placeholder, in byte-wise order of the names.
using ParamRefMap = std::map<std::string, TypedRef>;

/// Data-type codes of the registry and of the data-access layer.
namespace type_code {
inline constexpr std::uint32_t kVector = 61;         ///< a standard container, described by its record
inline constexpr std::uint32_t kParameterSet = 101;  ///< ParamRefMap
inline constexpr std::uint32_t kRow = 105;           ///< std::vector<RowValue>, one value a column
}  // namespace type_code

/// Data-type codes of container elements.
namespace element_code {
inline constexpr std::uint32_t kSigned64 = 15;    ///< long
inline constexpr std::uint32_t kFloat = 17;       ///< float
inline constexpr std::uint32_t kDouble = 18;      ///< double
inline constexpr std::uint32_t kUnsigned64 = 25;  ///< unsigned long
inline constexpr std::uint32_t kString = 41;      ///< std::string
}  // namespace element_code

/// Flag bits of TypeDescriptor and ContainerRecord.
namespace type_flag {
/// The object may be read and must not be changed.
inline constexpr std::uint8_t kReadOnly = 0x20;
/// The bits that belong to one reference. The record of a type never has them.
inline constexpr std::uint8_t kPerReference = 0x30;
}  // namespace type_flag

/// A place in a container: the address of an element; null after the last element and before the first one. A
/// change of the number of elements makes every cursor of the container invalid.
struct ContainerCursor {
  void* element = nullptr;
};

/// What the registry knows about every type.
struct TypeBasics {
  const char* name = nullptr;        ///< a string literal for people to read
  std::size_t objectSize = 0;        ///< bytes of one object, without the storage it owns
  void* (*create)() = nullptr;       ///< makes an empty object on the heap; the caller owns it
  void (*destroy)(void*) = nullptr;  ///< releases an object made by create(), with its storage
  std::uint32_t flags = 0;           ///< registration flags
};

/// How to work on a container of one standard type through a `void*`.
///
/// The elements of a vector stand side by side from first() on, so a caller that knows the element code may
/// also take them as an array.
/// @code
///   std::vector<long> ids{1, 2, 3};
///   vorn::TypeDescriptor type;
///   vorn::TypeRegistry::registerVectorType<std::vector<long>>(type, vorn::type_code::kVector,
///                                                             "std::vector", 0);
///   long sum = 0;
///   vorn::ContainerCursor cursor{type.record->first(&ids)};
///   for (; cursor.element != nullptr; type.record->next(&ids, cursor)) {
///     sum += *static_cast<long*>(cursor.element);
///   }
///   assert(sum == 6);
/// @endcode
///
/// Threads: any thread. TypeRegistry makes a record once, and never changes or releases it. The container is
/// guarded by nothing.
struct ContainerRecord {
  TypeBasics basics;
  std::uint32_t elementCode = 0;  ///< one of element_code
  std::uint8_t flags = 0;         ///< the registration flags without type_flag::kPerReference

  /// @return the number of elements
  std::size_t (*count)(const void* container) = nullptr;
  /// @return the address of the first element, null when there is none
  void* (*first)(void* container) = nullptr;
  /// Moves the cursor to the next element, or to null after the last one. A null cursor stays null.
  void (*next)(void* container, ContainerCursor& cursor) = nullptr;
  /// Moves the cursor to the element before, or to null before the first one. A null cursor stays null.
  void (*previous)(void* container, ContainerCursor& cursor) = nullptr;
  /// Makes a cursor on the heap, which the caller gives to freeCursor().
  /// @return the cursor, never null, whose element is the last one, or null in an empty container
  ContainerCursor* (*makeLastCursor)(void* container) = nullptr;
  /// Releases a cursor that makeLastCursor() made.
  void (*freeCursor)(ContainerCursor* cursor) = nullptr;
  /// Removes the last element. An empty container stays as it is.
  void (*removeLast)(void* container) = nullptr;
  /// Removes every element.
  void (*removeAll)(void* container) = nullptr;
  /// Appends an element that is zero or empty.
  /// @return the address of the new element
  void* (*appendDefault)(void* container) = nullptr;
  /// Appends a copy of `element`, which may be an element of the same container.
  /// @return the address of the new element
  void* (*appendCopy)(void* container, const void* element) = nullptr;
};

/// The registry of the types that typed references refer to.
///
/// Threads: any thread.
class VORN_API TypeRegistry {
 public:
  /// Describes a vector type. The first call for a type in the process makes the record, which keeps the
  /// `name` and the `flags` of this call. Only this call takes the registry's lock.
  ///
  /// This function exists for the vectors of std::string, long, unsigned long, float and double.
  /// @code
  ///   std::vector<long> ids{1, 2, 3};
  ///   vorn::TypedRef column{{}, &ids};
  ///   vorn::TypeRegistry::registerVectorType<std::vector<long>>(column.type, vorn::type_code::kVector,
  ///                                                             "std::vector", 0);
  ///   assert(column.type.record->count(column.object) == 3);
  /// @endcode
  /// @param descriptor  receives `code` and the record, and keeps its flags
  /// @param name        a string literal
  template <typename Vector>
  VORN_API static void registerVectorType(TypeDescriptor& descriptor, std::uint32_t code, const char* name,
                                          std::uint32_t flags);

  /// Fills in what every type has in common, in a record that is being made.
  static void setTypeBasics(ContainerRecord& record, const char* name, std::size_t objectSize,
                            void* (*create)(), void (*destroy)(void*), std::uint32_t flags);

  /// The lock of the registry. A thread that holds the lock may acquire it again, and releases it as often.
  class VORN_API Lock {
   public:
    /// Waits until no other thread holds the lock.
    static void acquire();

    /// Releases the lock once.
    ///
    /// Requires: the thread holds the lock.
    static void release();
  };

  /// @return the registry's lock
  static Lock registryLock() { return {}; }
};

}  // namespace vorn
