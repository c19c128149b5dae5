#pragma once

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

  /// Compares with what a store holds: what was done is there, once; what was undone is not; nothing is there
  /// in part.
  /// @param found  the rows of kQuery
  void expectIn(const std::string& found) const;

  /// @return the number of operations told to be done
  long done() const;

  static constexpr const char* kQuery = "select v, count(*), count(distinct n) from t group by v";

 private:
  struct Entry {
    long rows;
    Told told;
  };

  mutable std::mutex m_mutex;
  std::map<long, Entry> m_entries;
  long m_last = 0;
};
