#include "exec/adapters/base/ProcessEpoch.h"

namespace vorn {

std::atomic<std::uint32_t> ProcessEpoch::s_forks{0};

}  // namespace vorn
