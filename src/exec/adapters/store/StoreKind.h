#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/store/StoreDriver.h"
#include "exec/adapters/store/StoreUrl.h"
#include "vorn/platform/stores.h"

namespace vorn {

/// What the table of kinds knows of one kind of store. All members are set; the functions may be called from
/// any thread.
struct StoreKind {
  ErrorFamily family;
  const char* name;  ///< how descriptions of its errors begin

  /// Makes the driver for a URL of the kind, all of its options checked and nothing opened. Two
  /// threads may make one for the same URL; one of them is then dropped unused.
  /// @param url  the general options, pool_size and acquire_timeout_ms, are already taken out
  /// @param sessionName  the name that is bound, for a store that keeps something for each
  ExecResult (*makeDriver)(StoreUrl& url, const std::string& sessionName,
                           std::shared_ptr<StoreDriver>& driver);

  /// @return the store's own number or state of an error, and its name if there is one:
  ///         "2067 SQLITE_CONSTRAINT_UNIQUE"
  std::string (*describe)(std::uint32_t native);

  /// @return what an error asks of the caller
  ErrorClass (*classify)(std::uint32_t native) noexcept;
};

}  // namespace vorn
