#pragma once

#include <cstdint>

#include "vorn/export.h"

namespace vorn {

/// @return the current process's numeric identifier; callers use its low 16 bits only.
VORN_API std::uint32_t currentProcessId();

}  // namespace vorn
