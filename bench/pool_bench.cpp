// The pool by itself: a connection taken and given back while nobody else wants one.
#include <mutex>
#include <stdexcept>

#include "Harness.h"
#include "exec/adapters/session/ConnectionPool.h"
#include "exec/adapters/sqlite/SqliteDriver.h"

namespace {

void takeAndGiveBack(vorn::ConnectionPool& pool, std::size_t calls) {
  for (std::size_t i = 0; i < calls; ++i) {
    std::unique_ptr<vorn::StoreConnection> connection;
    if (!pool.acquire(connection).succeeded()) throw std::runtime_error("no connection");
    pool.release(std::move(connection));
  }
}

/// What no pool for several threads can do without.
void lockTwice(std::mutex& mutex, std::size_t calls) {
  for (std::size_t i = 0; i < 2 * calls; ++i) {
    const std::lock_guard lock(mutex);
    asm volatile("" ::: "memory");
  }
}

void measure(bench::Harness& harness) {
  vorn::SqliteSettings settings;
  settings.file = ":memory:";
  settings.journalMode = "memory";
  vorn::ConnectionPool pool("bench", std::make_shared<vorn::SqliteDriver>(settings),
                            vorn::ConnectionPool::Limits());
  std::mutex mutex;
  const std::size_t calls = harness.options().size(1'000'000);
  bench::Workload checkout{"pool", "uncontended checkout", "checkout", calls};
  checkout.competitors.push_back(
      {"vorn, taken and given back", [&](auto&) { takeAndGiveBack(pool, calls); }});
  checkout.competitors.push_back({"a mutex locked twice", [&](auto&) { lockTwice(mutex, calls); }});
  harness.measure(checkout);
}

}  // namespace

int main(int argc, char** argv) {
  return bench::Harness::runProgram(argc, argv, "pool", measure);
}
