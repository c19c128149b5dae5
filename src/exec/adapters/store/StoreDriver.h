#pragma once

#include <memory>

#include "exec/adapters/store/StoreConnection.h"
#include "vorn/platform/data_session.h"

namespace vorn {

/// Opens the connections of one store. Used by several threads at once.
class StoreDriver {
 public:
  virtual ~StoreDriver() = default;
  virtual ExecResult open(std::unique_ptr<StoreConnection>& connection) = 0;

  /// Lets go of whatever the driver itself holds open for the store.
  virtual void close() {}

  /// @return whether an idle connection does harm to a child process merely by being open during fork()
  virtual bool closesIdleBeforeFork() const { return false; }
};

}  // namespace vorn
