#include "faults/Ledger.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support.h"

long Ledger::begin() {
  const std::lock_guard lock(m_mutex);
  return ++m_last;
}

void Ledger::note(long operation, long rows, Told told) {
  const std::lock_guard lock(m_mutex);
  m_entries[operation] = {rows, told};
  if (told == Told::Done) noteDone();
}

void Ledger::noteDone() {
  const auto now = std::chrono::steady_clock::now();
  const double pause = std::chrono::duration<double>(now - m_lastDone).count();
  m_pauses.longest = std::max(m_pauses.longest, pause);
  if (pause > 1) m_pauses.all += pause;
  m_lastDone = now;
}

void Ledger::startClock() {
  const std::lock_guard lock(m_mutex);
  m_lastDone = std::chrono::steady_clock::now();
  m_pauses = {};
}

Ledger::Pauses Ledger::pauses() {
  const std::lock_guard lock(m_mutex);
  noteDone();
  return m_pauses;
}

void Ledger::expectIn(const std::string& found) const {
  std::map<long, std::pair<long, long>> counts;
  for (const std::string& row : split(found, ";")) {
    long operation = 0, count = 0, distinct = 0;
    ASSERT_EQ(std::sscanf(row.c_str(), "%ld|%ld|%ld", &operation, &count, &distinct), 3) << row;
    EXPECT_TRUE(m_entries.count(operation) == 1) << "operation " << operation << " is nobody's";
    counts[operation] = {count, distinct};
  }
  long acknowledged = 0, there = 0, lost = 0, doubled = 0;
  for (const auto& [operation, entry] : m_entries) {
    const auto [count, distinct] = counts[operation];
    const long rows = entry.told == Told::Done ? entry.rows : 0;
    acknowledged += rows;
    there += count;
    lost += std::max(rows - distinct, 0L);
    doubled += count - distinct;
    const bool all = count == entry.rows && distinct == entry.rows;
    if (entry.told == Told::Done ? all : count == 0 || (entry.told == Told::Unknown && all)) continue;
    const char* const names[] = {"done", "undone", "failed"};
    const char* const told = names[static_cast<int>(entry.told)];
    ADD_FAILURE() << "operation " << operation << " was told to be " << told << ": " << count << " of "
                  << entry.rows << " rows, " << distinct << " different ones";
  }
  std::printf("rows acknowledged: %ld, found: %ld, lost: %ld, doubled: %ld\n", acknowledged, there, lost,
              doubled);
}

long Ledger::done() const {
  const std::lock_guard lock(m_mutex);
  return std::count_if(m_entries.begin(), m_entries.end(),
                       [](const auto& entry) { return entry.second.told == Told::Done; });
}
