#include "exec/adapters/session/StatementStatistics.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "common/NoDestructor.h"

namespace vorn {

// Threads may still run statements while the process ends, hence no destructor.
struct AllThreadStatistics {
  std::mutex mutex;
  std::vector<std::unique_ptr<ThreadStatistics>> threads;

  static AllThreadStatistics& instance() {
    static NoDestructor<AllThreadStatistics> all;
    return *all;
  }

  void lock() {
    mutex.lock();
    for (const auto& thread : threads) thread->m_mutex.lock();
  }
  void unlock() {
    for (const auto& thread : threads) thread->m_mutex.unlock();
    mutex.unlock();
  }
  static void add(ThreadStatistics& thread, std::map<std::string, StatementStatistics>& sums);
};

ThreadStatistics& ThreadStatistics::create() {
  AllThreadStatistics& all = AllThreadStatistics::instance();
  auto created = std::make_unique<ThreadStatistics>();
  const std::lock_guard lock(all.mutex);
  all.threads.push_back(std::move(created));
  return *all.threads.back();
}

StatementCounters& ThreadStatistics::find(const std::string& statementId) {
  // One statement is usually run many times in a row.
  if (m_last != nullptr && statementId == m_lastId) return *m_last;
  auto found = m_counters.find(statementId);
  if (found == m_counters.end()) {
    const std::lock_guard lock(m_mutex);
    found = m_counters.try_emplace(statementId).first;
  }
  m_last = nullptr;
  m_lastId = statementId;
  m_last = &found->second;
  return *m_last;
}

void AllThreadStatistics::add(ThreadStatistics& thread, std::map<std::string, StatementStatistics>& sums) {
  const auto read = [](const std::atomic<std::uint64_t>& counter) {
    return counter.load(std::memory_order_relaxed);
  };
  const std::lock_guard lock(thread.m_mutex);
  for (const auto& [id, counters] : thread.m_counters) {
    StatementStatistics& sum = sums[id];
    sum.calls += read(counters.calls);
    sum.failures += read(counters.failures);
    sum.rows += read(counters.rows);
    sum.totalNanoseconds += read(counters.nanoseconds);
  }
}

std::vector<StatementStatistics> statementStatistics() {
  std::map<std::string, StatementStatistics> sums;
  AllThreadStatistics& all = AllThreadStatistics::instance();
  const std::lock_guard lock(all.mutex);
  for (const auto& thread : all.threads) AllThreadStatistics::add(*thread, sums);
  std::vector<StatementStatistics> statistics;
  statistics.reserve(sums.size());
  for (auto& [id, sum] : sums) {
    sum.statementId = id;
    statistics.push_back(std::move(sum));
  }
  return statistics;
}

std::string makeStatementId(const char* sourceName, const char* functionName, int line) {
  constexpr std::size_t kLongestLine = 11;
  const std::string_view source(sourceName), function(functionName);
  char digits[kLongestLine];
  char* const end = std::to_chars(digits, digits + kLongestLine, line).ptr;
  // Made for every statement: one allocation, of its very size.
  std::string id(source.size() + function.size() + 2 + static_cast<std::size_t>(end - digits), ':');
  source.copy(id.data(), source.size());
  function.copy(id.data() + source.size() + 1, function.size());
  std::copy(digits, end, id.data() + source.size() + function.size() + 2);
  return id;
}

void lockStatementStatistics() {
  AllThreadStatistics::instance().lock();
}

void unlockStatementStatistics() {
  AllThreadStatistics::instance().unlock();
}

}  // namespace vorn
