#include "exec/adapters/session/fork_handlers.h"

#include <pthread.h>

#include <atomic>
#include <new>

#include "exec/adapters/base/ProcessEpoch.h"
#include "exec/adapters/kinds/ForkBarrier.h"
#include "exec/adapters/platform/Logging.h"
#include "exec/adapters/session/StatementStatistics.h"
#include "exec/adapters/session/StoreTable.h"
#include "exec/adapters/session/ThreadContext.h"
#include "exec/adapters/session/ThreadShapes.h"

namespace vorn {

namespace {

void lockAll() {
  StoreTable::instance().lock();
  ThreadContext::lockAll();
  lockStatementStatistics();
  lockShapeStatistics();
  lockLogSinks();
}

void unlockAll() {
  unlockLogSinks();
  unlockShapeStatistics();
  unlockStatementStatistics();
  ThreadContext::unlockAll();
  StoreTable::instance().unlock();
}

// The thread's own connections come first: closing one takes locks, and may log. Loads come before the locks,
// which they may need.
void beforeFork() {
  ThreadContext::prepareFork();
  ForkBarrier::hold();
  lockAll();
  StoreTable::instance().closeIdleBeforeFork();
}

void afterForkInParent() {
  unlockAll();
  ForkBarrier::release();
}

void afterForkInChild() {
  ProcessEpoch::beginInChild();
  StoreTable::instance().forgetParent();
  unlockAll();
  ForkBarrier::release();
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
  static std::atomic<bool> installed{false};
  if (installed.load(std::memory_order_acquire)) return;
  // A child that inherited one half of it would wait for the other for ever.
  const ForkBarrier undivided;
  static const bool done = install();
  installed.store(done, std::memory_order_release);
}

}  // namespace vorn
