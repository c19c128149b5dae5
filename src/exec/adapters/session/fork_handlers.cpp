#include "exec/adapters/session/fork_handlers.h"

#include <pthread.h>

#include <new>

#include "exec/adapters/base/ProcessEpoch.h"
#include "exec/adapters/kinds/StoreKinds.h"
#include "exec/adapters/platform/Logging.h"
#include "exec/adapters/session/StatementStatistics.h"
#include "exec/adapters/session/StoreTable.h"
#include "exec/adapters/session/ThreadContext.h"

namespace vorn {

namespace {

void lockAll() {
  StoreTable::instance().lock();
  ThreadContext::lockAll();
  lockStatementStatistics();
  lockLogSinks();
}

void unlockAll() {
  unlockLogSinks();
  unlockStatementStatistics();
  ThreadContext::unlockAll();
  StoreTable::instance().unlock();
}

// The thread's own connections come first: closing one takes locks, and may log. Loads come before the locks,
// which they may need.
void beforeFork() {
  ThreadContext::prepareFork();
  StoreKinds::holdLoads();
  lockAll();
  StoreTable::instance().closeIdleBeforeFork();
}

void afterForkInParent() {
  unlockAll();
  StoreKinds::releaseLoads();
}

void afterForkInChild() {
  ProcessEpoch::beginInChild();
  StoreTable::instance().forgetParent();
  unlockAll();
  StoreKinds::releaseLoads();
}

bool install() {
  // Whatever is locked exists from now on: a handler has nobody to report a failure to.
  lockAll();
  unlockAll();
  if (pthread_atfork(beforeFork, afterForkInParent, afterForkInChild) != 0) throw std::bad_alloc();
  return true;
}

}  // namespace

void installForkHandlers() {
  static const bool installed = install();
  static_cast<void>(installed);
}

}  // namespace vorn
