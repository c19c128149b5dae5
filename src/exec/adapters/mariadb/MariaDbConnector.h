#pragma once

#include "exec/adapters/mariadb/MariaDbHandle.h"
#include "exec/adapters/mariadb/MariaDbSettings.h"
#include "vorn/platform/data_session.h"

namespace vorn {

/// Finds a server among the hosts of a store that takes statements.
///
/// Invariants:
/// 1. No wait exceeds the `connect_timeout` of the host that is tried, in no part of the conversation.
/// 2. A node that is up and has no part in the primary component of its cluster is not handed out.
/// 3. After a host that cannot be had, for whatever reason, the next one is tried; the failure is the last one's, and
///    names its host.
class MariaDbConnector {
 public:
  /// Connects: logged in, with the character set utf8mb4, without a transaction. The session's settings are the
  /// server's defaults, and every wait is still limited by the `connect_timeout`.
  /// @param handle  set on success only
  static ExecResult connect(const MariaDbSettings& settings, MariaDbHandle& handle);
};

}  // namespace vorn
