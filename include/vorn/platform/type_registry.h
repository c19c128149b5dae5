#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "vorn/export.h"

namespace vorn {

struct ContainerRecord;

/// What a TypedRef refers to: a data-type code, flag bits, and the registry's record of the type (null where
/// the code alone describes it).
struct TypeDescriptor {
  std::uint32_t code = 0;
  std::uint8_t flags = 0;
  const ContainerRecord* record = nullptr;
};

/// A typed reference to an object of the caller's. It owns nothing and must not outlive the object.
struct TypedRef {
  TypeDescriptor type;
  void* object = nullptr;
};

/// A parameter set: placeholder name to typed column, in byte-wise order of the names.
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
/// The object belongs to someone else and is there to be read, never to be changed.
inline constexpr std::uint8_t kReadOnly = 0x20;
/// The bits that speak of one reference; the record of a type never carries them.
inline constexpr std::uint8_t kPerReference = 0x30;
}  // namespace type_flag

/// A place in a container: the address of an element, null behind the last and before the first one. Changing
/// the number of elements makes every cursor of the container invalid.
struct ContainerCursor {
  void* element = nullptr;
};

/// What the registry knows of every type.
struct TypeBasics {
  const char* name = nullptr;        ///< a string literal, for people
  std::size_t objectSize = 0;        ///< bytes of one object, without the storage it owns
  void* (*create)() = nullptr;       ///< makes an empty object on the heap; the caller owns it
  void (*destroy)(void*) = nullptr;  ///< releases an object made by create(), with its storage
  std::uint32_t flags = 0;           ///< registration flags
};

/// How to work on a container of one standard type through a `void*`.
///
/// Records are made by TypeRegistry, shared by all threads, never changed once made and never released. The
/// container itself is guarded by nothing. Elements of a vector stand side by side from first() on, so a
/// reader that knows the element code may also walk them as an array.
/// @code
///   vorn::ContainerCursor cursor{record.first(column)};
///   for (; cursor.element != nullptr; record.next(column, cursor))
///   bind(*static_cast<long*>(cursor.element));
/// @endcode
struct ContainerRecord {
  TypeBasics basics;
  std::uint32_t elementCode = 0;  ///< one of element_code
  std::uint8_t flags = 0;         ///< the registration flags without type_flag::kPerReference

  std::size_t (*count)(const void* container) = nullptr;
  /// @return the address of the first element, null when there is none
  void* (*first)(void* container) = nullptr;
  /// Moves the cursor to the next element, or to null behind the last; a null cursor stays null.
  void (*next)(void* container, ContainerCursor& cursor) = nullptr;
  /// Moves the cursor to the element before, or to null before the first; a null cursor stays null.
  void (*previous)(void* container, ContainerCursor& cursor) = nullptr;
  /// @return a cursor on the heap at the last element (null element when empty), for a walk backwards with
  ///         previous(); the caller gives it to freeCursor()
  ContainerCursor* (*makeLastCursor)(void* container) = nullptr;
  void (*freeCursor)(ContainerCursor* cursor) = nullptr;
  /// Removes the last element; an empty container stays as it is.
  void (*removeLast)(void* container) = nullptr;
  void (*removeAll)(void* container) = nullptr;
  /// Appends a zero or empty element. @return its address
  void* (*appendDefault)(void* container) = nullptr;
  /// Appends a copy of the element at `element`, which may be one of the container's own. @return its address
  void* (*appendCopy)(void* container, const void* element) = nullptr;
};

/// The registry of types that travel through typed references. All functions may be called from any thread.
class VORN_API TypeRegistry {
 public:
  /// Describes a vector type. The type's record is made by the first call in the process, which alone takes
  /// the registry's lock and whose `name` and `flags` the record keeps.
  ///
  /// Exists for the vectors of std::string, long, unsigned long, float and double.
  /// @param descriptor  receives `code` and the record; its flags stay as they are
  /// @param name        a string literal
  /// @code
  ///   std::vector<long> ids{1, 2, 3};
  ///   vorn::TypedRef column{{}, &ids};
  ///   vorn::TypeRegistry::registerVectorType<std::vector<long>>(column.type, vorn::type_code::kVector,
  ///                                                             "std::vector", 0);
  ///   assert(column.type.record->count(column.object) == 3);
  /// @endcode
  template <typename Vector>
  VORN_API static void registerVectorType(TypeDescriptor& descriptor, std::uint32_t code, const char* name,
                                          std::uint32_t flags);

  /// Stores what every type has in common in a record that is being made.
  static void setTypeBasics(ContainerRecord& record, const char* name, std::size_t objectSize,
                            void* (*create)(), void (*destroy)(void*), std::uint32_t flags);

  /// The one lock of the registry. A thread may acquire it again while it holds it, and releases it as often.
  class VORN_API Lock {
   public:
    static void acquire();
    static void release();
  };

  /// @return the registry's lock
  static Lock registryLock() { return {}; }
};

}  // namespace vorn
