#include "vorn/platform/process.h"

#include <unistd.h>

namespace vorn {

std::uint32_t currentProcessId() {
  return static_cast<std::uint32_t>(getpid());
}

}  // namespace vorn
