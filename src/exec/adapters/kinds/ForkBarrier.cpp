#include "exec/adapters/kinds/ForkBarrier.h"

#include <pthread.h>

#include <chrono>
#include <mutex>
#include <new>
#include <thread>

namespace vorn {

namespace {

std::mutex workMutex;
int workRunning = 0;  // guarded by workMutex
thread_local int workOfThread = 0;
thread_local int holdsOfThread = 0;

const bool handlersInstalled =
    pthread_atfork(ForkBarrier::hold, ForkBarrier::release, ForkBarrier::release) == 0;

void countWork(int change) {
  const std::lock_guard lock(workMutex);
  workRunning += change;
  workOfThread += change;
}

}  // namespace

ForkBarrier::ForkBarrier() {
  if (!handlersInstalled) throw std::bad_alloc();
  countWork(1);
}

ForkBarrier::~ForkBarrier() {
  countWork(-1);
}

// The work ends soon. A condition to wait on would be inherited with the other threads that wait on it.
void ForkBarrier::hold() {
  if (holdsOfThread++ > 0) return;
  workMutex.lock();
  while (workRunning > workOfThread) {
    workMutex.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    workMutex.lock();
  }
}

void ForkBarrier::release() {
  if (--holdsOfThread == 0) workMutex.unlock();
}

}  // namespace vorn
