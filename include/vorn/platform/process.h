#pragma once

#include <cstdint>

#include "vorn/export.h"

namespace vorn {

/// @return the identifier of the current process, of which callers use the low 16 bits only
///
/// Threads: any thread.
VORN_API std::uint32_t currentProcessId();

}  // namespace vorn
