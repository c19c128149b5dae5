#pragma once

#include <atomic>
#include <functional>

#include "faults/Ledger.h"
#include "vorn/database.h"

/// Threads that insert, send batches small and large, read in part, ask questions and run transactions, some
/// of them on two hot rows by retryTransaction(), on the store bound to "default", all at random, while
/// something does them harm. They need the tables of a HarmTest:
/// @code
///   prepare(url);                // of a HarmTest; binds "default"
///   Storm storm(testSeed());
///   storm.rage(1, [&] {          // prints the operations, and the seconds without any acknowledged write
///     killAServer();             // while the threads write
///     waitUntilThereIsService();
///     return 1;
///   });
///   storm.expectOn(db);  // prints the rows acknowledged, found, lost and doubled; to be asked of every node
///   EXPECT_LT(storm.secondsWithoutWrite(), 20);
/// @endcode
class Storm {
 public:
  static constexpr int kThreads = 8;

  explicit Storm(unsigned seed) : m_seed(seed) {}

  /// Calls `harm`, which returns how often it has done harm, until that comes to `harms`. The threads then
  /// have to find their work as before.
  void rage(int harms, const std::function<int()>& harm);

  /// Has the threads work for a second without harm, when nothing but their conflicts may be logged.
  void workInPeace();

  /// Prints how much was acknowledged so far, and the times without that.
  void printProgress();

  /// Compares the store that `db` works on with what the threads were told: every acknowledged row is there,
  /// none twice, no operation in part, and each hot row was raised once for every transaction on them that
  /// is there.
  void expectOn(CVORN* db) const;

  /// @return how often a transaction on the hot rows was run again
  long repeats() const { return m_repeats; }

  /// @return the longest time in the last rage in which no thread was told that a write of its was done
  double secondsWithoutWrite() const { return m_pauses.longest; }

 private:
  class Worker;

  unsigned m_seed;
  Ledger m_ledger;
  Ledger::Pauses m_pauses{};
  std::atomic<bool> m_isOver{false};
  std::atomic<long> m_steps{0};
  std::atomic<long> m_repeats{0};
  std::atomic<int> m_violations{0};
};
