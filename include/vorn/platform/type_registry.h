#pragma once

#include <cstdint>

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

/// Data-type codes of the registry and of the data-access layer.
namespace type_code {
inline constexpr std::uint32_t kRow = 105;  ///< std::vector<RowValue>, one value a column
}  // namespace type_code

}  // namespace vorn
