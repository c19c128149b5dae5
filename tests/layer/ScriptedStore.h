#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "exec/adapters/Store.h"

/// A store of the tests' own, behind every URL. Its connections know these statements, one or more joined by '+':
/// begin, commit, rollback; "lose" ends the transaction and fails, "refuse" only fails, "throw" throws, "soil" makes
/// the session one that cannot be renewed. A read gives as many rows (number, long text) as the text's number says.
class ScriptedStore {
 public:
  static ScriptedStore& instance();

  std::atomic<int> opened{0};        ///< connections opened so far
  std::atomic<int> open{0};          ///< connections that are open
  std::atomic<int> closedInside{0};  ///< connections closed in a transaction that was not given up
  std::atomic<int> ran{0};           ///< statements that ran to their end
  std::atomic<bool> closesIdleBeforeFork{false};
  int throwAtRow = 0;  ///< the row in place of which a cursor throws, 0: none

  void reset();
};

/// What the layer makes of the scripted store's driver.
std::shared_ptr<vorn::StoreDriver> scriptedDriver();
