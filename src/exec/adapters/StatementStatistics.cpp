#include "exec/adapters/StatementStatistics.h"

#include <charconv>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace vorn {

namespace {

using CountersById = std::unordered_map<std::string, StatementCounters>;

// The figures of one thread. Map nodes never move; the lock guards the map's shape, which only the owning
// thread changes. A block outlives its thread and is taken over, figures and all, by a later one.
struct ThreadBlock {
  std::mutex mutex;
  CountersById counters;
  bool taken = true;
};

struct AllBlocks {
  std::mutex mutex;
  std::vector<std::unique_ptr<ThreadBlock>> blocks;
};

// Never destroyed: threads may still run statements while the process ends.
AllBlocks& allBlocks() {
  static AllBlocks* const all = new AllBlocks;
  return *all;
}

class BlockOfThread {
 public:
  BlockOfThread() {
    AllBlocks& all = allBlocks();
    const std::lock_guard lock(all.mutex);
    for (const auto& block : all.blocks) {
      if (!block->taken) {
        m_block = block.get();
        m_block->taken = true;
        return;
      }
    }
    all.blocks.push_back(std::make_unique<ThreadBlock>());
    m_block = all.blocks.back().get();
  }
  ~BlockOfThread() {
    const std::lock_guard lock(allBlocks().mutex);
    m_block->taken = false;
    m_lastId.clear();
    m_last = nullptr;
  }
  BlockOfThread(const BlockOfThread&) = delete;
  BlockOfThread& operator=(const BlockOfThread&) = delete;

  StatementCounters& find(const std::string& statementId) {
    // One statement is usually run many times in a row.
    if (m_last != nullptr && statementId == m_lastId) return *m_last;
    auto found = m_block->counters.find(statementId);
    if (found == m_block->counters.end()) {
      const std::lock_guard lock(m_block->mutex);
      found = m_block->counters.try_emplace(statementId).first;
    }
    m_lastId = statementId;
    m_last = &found->second;
    return *m_last;
  }

 private:
  ThreadBlock* m_block = nullptr;
  std::string m_lastId;
  StatementCounters* m_last = nullptr;
};

std::uint64_t read(const std::atomic<std::uint64_t>& counter) {
  return counter.load(std::memory_order_relaxed);
}

}  // namespace

StatementCounters& statementCounters(const std::string& statementId) {
  thread_local BlockOfThread block;
  return block.find(statementId);
}

std::vector<StatementStatistics> statementStatistics() {
  std::map<std::string, StatementStatistics> sums;
  AllBlocks& all = allBlocks();
  const std::lock_guard lock(all.mutex);
  for (const auto& block : all.blocks) {
    const std::lock_guard blockLock(block->mutex);
    for (const auto& [id, counters] : block->counters) {
      StatementStatistics& sum = sums[id];
      sum.calls += read(counters.calls);
      sum.failures += read(counters.failures);
      sum.rows += read(counters.rows);
      sum.totalNanoseconds += read(counters.nanoseconds);
    }
  }
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
  std::string id;
  // Made for every statement: one allocation.
  id.reserve(source.size() + function.size() + 2 + kLongestLine);
  id.append(source).append(1, ':').append(function).append(1, ':').append(digits, end);
  return id;
}

void lockStatementStatistics() {
  allBlocks().mutex.lock();
  for (const auto& block : allBlocks().blocks) block->mutex.lock();
}

void unlockStatementStatistics() {
  for (const auto& block : allBlocks().blocks) block->mutex.unlock();
  allBlocks().mutex.unlock();
}

}  // namespace vorn
