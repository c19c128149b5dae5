#include "exec/adapters/ForkHandlers.h"

#include <pthread.h>

#include <new>

#include "exec/adapters/LogSinks.h"
#include "exec/adapters/ProcessEpoch.h"
#include "exec/adapters/StatementStatistics.h"
#include "exec/adapters/StoreTable.h"
#include "exec/adapters/ThreadContext.h"

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

// The thread's own connections come first: closing one takes locks, and may log.
void beforeFork() {
  ThreadContext::prepareFork();
  lockAll();
  StoreTable::instance().closeIdleBeforeFork();
}

void afterForkInChild() {
  ProcessEpoch::beginInChild();
  StoreTable::instance().forgetParent();
  unlockAll();
}

}  // namespace

bool installForkHandlers() {
  // Whatever is locked exists from now on: a handler has nobody to report a failure to.
  lockAll();
  unlockAll();
  if (pthread_atfork(beforeFork, unlockAll, afterForkInChild) != 0) throw std::bad_alloc();
  return true;
}

}  // namespace vorn
