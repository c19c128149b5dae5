#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

/// What callers were told about their operations on table t(n, v). All rows of an operation carry its number
/// in v, and no two the same n. Used by several threads at once.
class Ledger {
 public:
  enum class Told { Done, Undone, Unknown };

  /// @return the number of a new operation
  long begin();
  void note(long operation, long rows, Told told);

  /// Compares with what a store holds, and prints the numbers of rows acknowledged, found, lost and doubled:
  /// what was done is there, once; what was undone is not; nothing is there in part.
  /// @param found  the rows of kQuery
  void expectIn(const std::string& found) const;

  /// @return the number of operations told to be done
  long done() const;

  /// Begins to measure how long no operation is done.
  void startClock();

  /// Times without one since startClock(), in seconds.
  struct Pauses {
    double longest;
    double all;  ///< of those that took longer than a second
  };
  Pauses pauses();

  static constexpr const char* kQuery = "select v, count(*), count(distinct n) from t group by v";

 private:
  void noteDone();

  struct Entry {
    long rows;
    Told told;
  };

  mutable std::mutex m_mutex;
  std::map<long, Entry> m_entries;
  long m_last = 0;
  std::chrono::steady_clock::time_point m_lastDone;
  Pauses m_pauses{};
};
