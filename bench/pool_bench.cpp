// The pool by itself: a connection taken and given back while nobody else wants one.
#include <mutex>
#include <stdexcept>

#include "Harness.h"
#include "Program.h"
#include "exec/adapters/ConnectionPool.h"
#include "exec/adapters/sqlite/SqliteDriver.h"

namespace {

class PoolCompetitor : public bench::Competitor {
 public:
  PoolCompetitor(std::string name, std::size_t calls) : Competitor(std::move(name)), m_calls(calls) {
    vorn::SqliteSettings settings;
    settings.file = ":memory:";
    settings.journalMode = "memory";
    m_pool = std::make_unique<vorn::ConnectionPool>("bench", std::make_shared<vorn::SqliteDriver>(settings),
                                                    vorn::ConnectionPool::Limits());
  }

  void run() override {
    for (std::size_t i = 0; i < m_calls; ++i) {
      std::unique_ptr<vorn::StoreConnection> connection;
      if (!m_pool->acquire(connection).succeeded()) throw std::runtime_error("no connection");
      m_pool->release(std::move(connection));
    }
  }

 private:
  const std::size_t m_calls;
  std::unique_ptr<vorn::ConnectionPool> m_pool;
};

/// What no pool for several threads can do without.
class LockCompetitor : public bench::Competitor {
 public:
  LockCompetitor(std::string name, std::size_t calls) : Competitor(std::move(name)), m_calls(calls) {}

  void run() override {
    for (std::size_t i = 0; i < 2 * m_calls; ++i) {
      const std::lock_guard lock(m_mutex);
      asm volatile("" ::: "memory");
    }
  }

 private:
  const std::size_t m_calls;
  std::mutex m_mutex;
};

int run(int argc, char** argv) {
  const bench::Options options = bench::Options::parse(argc, argv);
  bench::Reporter reporter("pool", options.json);
  reporter.reportFacts({{"rounds", std::to_string(options.rounds)}});
  bench::Harness harness(options, reporter);
  const std::size_t calls = options.size(1'000'000);
  bench::Workload checkout{"pool", "uncontended checkout", "checkout", static_cast<double>(calls)};
  checkout.add<PoolCompetitor>("vorn, taken and given back", calls);
  checkout.add<LockCompetitor>("a mutex locked twice", calls);
  harness.measure(checkout);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return bench::runProgram(argc, argv, run);
}
