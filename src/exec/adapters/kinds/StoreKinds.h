#pragma once

#include <memory>
#include <string>

#include "exec/adapters/store/StoreDriver.h"
#include "exec/adapters/store/StoreUrl.h"

namespace vorn {

/// The one table of the kinds of stores. Any thread may use it, and the process may fork at any time: a fork
/// waits for the loads that run, see ForkBarrier.
class StoreKinds {
 public:
  /// Makes the driver for a URL, all of its options checked and nothing opened. The first URL of a kind that
  /// stands in a module loads the module.
  /// @param url  the general options are already taken out
  static ExecResult makeDriver(StoreUrl& url, const std::string& sessionName,
                               std::shared_ptr<StoreDriver>& driver);
};

}  // namespace vorn
