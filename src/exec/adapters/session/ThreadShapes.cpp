#include "exec/adapters/session/ThreadShapes.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "common/NoDestructor.h"
#include "vorn/platform/data_session.h"

namespace vorn {

namespace {

constexpr char kOther[] = "(other)";

// A thread that meets more shapes forgets where they are counted, and asks again.
constexpr std::size_t kMostKnown = 4096;

// A longer text names its shape well enough by its beginning.
constexpr std::size_t kLongestText = 4096;

// Threads may still run statements while the process ends, hence no destructor.
struct AllShapes {
  using Name = std::pair<std::string, std::string>;  // of the store and the shape

  std::mutex mutex;
  std::map<Name, std::map<const ThreadShapes*, ShapeCounters>> counters;  // whose nodes never move

  static AllShapes& instance() {
    static NoDestructor<AllShapes> all;
    return *all;
  }

  ShapeCounters& find(const ThreadShapes* thread, Name name) {
    const std::lock_guard lock(mutex);
    const bool isFull = counters.size() >= ThreadShapes::kMostShapes;
    if (isFull && counters.count(name) == 0) name = {kOther, kOther};
    return counters[std::move(name)][thread];
  }
};

std::string textOf(const StatementShape& shape, const SqlDialect& dialect) {
  std::string text = StatementShape::masked(shape.key(), dialect);
  if (text.size() <= kLongestText) return text;
  std::size_t end = kLongestText;
  while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;  // not in the middle of a character
  return text.erase(end).append("...");
}

ShapeStatistics sumOf(const std::map<const ThreadShapes*, ShapeCounters>& threads) {
  const auto read = [](const std::atomic<std::uint64_t>& counter) {
    return counter.load(std::memory_order_relaxed);
  };
  ShapeStatistics sum;
  TimeHistogram::Counts times{};
  for (const auto& [thread, counters] : threads) {
    sum.failures += read(counters.failures);
    sum.rows += read(counters.rows);
    sum.totalNanoseconds += read(counters.nanoseconds);
    sum.longestNanoseconds = std::max(sum.longestNanoseconds, read(counters.longest));
    counters.times.addTo(times);
  }
  for (const std::uint64_t count : times) sum.calls += count;
  const auto quantile = [&](unsigned percent) {
    return TimeHistogram::quantile(times, sum.calls, percent, sum.longestNanoseconds);
  };
  sum.p50Nanoseconds = quantile(50);
  sum.p90Nanoseconds = quantile(90);
  sum.p99Nanoseconds = quantile(99);
  return sum;
}

}  // namespace

ShapeCounters& ThreadShapes::add(std::uint64_t key, const StoreName& store, const StatementShape& shape,
                                 const SqlDialect& dialect) {
  ShapeCounters& added = AllShapes::instance().find(this, {store.text, textOf(shape, dialect)});
  if (m_known.size() >= kMostKnown) m_known.clear();
  m_known[key] = &added;
  return added;
}

ShapeCounters* ThreadShapes::findNotRun(const StoreName& store) noexcept {
  try {
    return &AllShapes::instance().find(this, {store.text, kNotRun});
  } catch (const std::bad_alloc&) {
    return nullptr;  // its outcome must not be lost for that: the identifier counts it
  }
}

std::vector<ShapeStatistics> shapeStatistics() {
  std::vector<ShapeStatistics> statistics;
  AllShapes& all = AllShapes::instance();
  {
    const std::lock_guard lock(all.mutex);
    statistics.reserve(all.counters.size());
    for (const auto& [name, threads] : all.counters) {
      ShapeStatistics sum = sumOf(threads);
      if (sum.calls == 0) continue;
      sum.store = name.first;
      sum.shape = name.second;
      statistics.push_back(std::move(sum));
    }
  }
  std::stable_sort(statistics.begin(), statistics.end(),
                   [](const ShapeStatistics& left, const ShapeStatistics& right) {
                     return left.totalNanoseconds > right.totalNanoseconds;
                   });
  return statistics;
}

void lockShapeStatistics() {
  AllShapes::instance().mutex.lock();
}

void unlockShapeStatistics() {
  AllShapes::instance().mutex.unlock();
}

}  // namespace vorn
