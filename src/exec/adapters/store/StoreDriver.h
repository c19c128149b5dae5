#pragma once

#include <memory>
#include <string>

#include "exec/adapters/store/StoreConnection.h"
#include "vorn/platform/data_session.h"

namespace vorn {

/// Opens the connections of one store. Used by several threads at once, and kept until the last of its
/// connections was closed.
class StoreDriver {
 public:
  virtual ~StoreDriver() = default;

  /// Names the store for statistics and log lines: without a user, a secret or an option, and for two URLs
  /// of one store the same as far as the URLs show that. Called once.
  virtual std::string name() const = 0;

  /// Opens a connection, within a time limit of the store's own.
  /// @param connection  set on success only: ready for a statement, without a transaction
  virtual ExecResult open(std::unique_ptr<StoreConnection>& connection) = 0;

  /// Lets go of whatever the driver itself holds open for the store. Its connections may still be in use.
  virtual void close() {}

  /// @return whether an idle connection does harm to a child process merely by being open during fork()
  virtual bool closesIdleBeforeFork() const { return false; }
};

}  // namespace vorn
