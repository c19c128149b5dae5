#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "faults/Ledger.h"

/// Threads that insert, send batches small and large, read in part, ask questions and run transactions on the
/// store bound to "default", all at random, while something does them harm. They need the tables of a
/// HarmTest.
class Storm {
 public:
  static constexpr int kThreads = 6;

  /// @param isUndone  whether a failure of this description says that nothing was carried out
  Storm(unsigned seed, std::function<bool(const std::string& failure)> isUndone)
      : m_seed(seed), m_isUndone(std::move(isUndone)) {}

  /// Calls `harm`, which returns how often it has done harm, until that comes to `harms`. The threads then
  /// have to find their work as before.
  void rage(int harms, const std::function<int()>& harm);

  const Ledger& ledger() const { return m_ledger; }

 private:
  class Worker;

  unsigned m_seed;
  std::function<bool(const std::string&)> m_isUndone;
  Ledger m_ledger;
  std::atomic<bool> m_isOver{false};
  std::atomic<long> m_steps{0};
  std::atomic<int> m_violations{0};
};
