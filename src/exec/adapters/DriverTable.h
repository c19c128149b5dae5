#pragma once

#include <memory>
#include <string>

#include "exec/adapters/Store.h"
#include "exec/adapters/StoreUrl.h"

namespace vorn {

/// Makes the driver for a URL, all of its options checked and nothing opened.
/// @param url  the general options are already taken out
ExecResult makeDriver(StoreUrl& url, const std::string& sessionName, std::shared_ptr<StoreDriver>& driver);

}  // namespace vorn
