#pragma once

#include <memory>
#include <string>

#include "exec/adapters/store/StoreDriver.h"
#include "exec/adapters/store/StoreUrl.h"

namespace vorn {

/// The one table of the kinds of stores. Any thread may use it, and the process may fork at any time: a fork
/// waits for the loads that run.
class StoreKinds {
 public:
  /// Makes the driver for a URL, all of its options checked and nothing opened. The first URL of a kind that
  /// stands in a module loads the module.
  /// @param url  the general options are already taken out
  static ExecResult makeDriver(StoreUrl& url, const std::string& sessionName,
                               std::shared_ptr<StoreDriver>& driver);

  /// Waits for the loads of other threads, and lets none begin until the calling thread has released them as
  /// often as it holds them. A load may use stores, so no lock of theirs may be held while waiting.
  static void holdLoads();
  static void releaseLoads();
};

}  // namespace vorn
