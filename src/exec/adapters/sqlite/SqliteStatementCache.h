#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "exec/adapters/sqlite/SqliteStatement.h"

namespace vorn {

/// The idle prepared statements of one connection, the least recently used dropped first. A statement in use
/// is not in the cache, so two cursors over the same text never share one.
class SqliteStatementCache {
 public:
  explicit SqliteStatementCache(std::size_t capacity);

  /// Takes the statement of a text out of the cache.
  /// @return an empty statement when there is none
  SqliteStatement take(std::string_view text);

  /// Puts a statement that has been reset into the cache.
  void put(SqliteStatement statement);

  void clear();

 private:
  struct Slot {
    std::uint64_t lastUse = 0;
    SqliteStatement statement;
  };

  // The hashes stand apart from the slots: looking one up is a scan over a few cache lines, and neither
  // taking nor putting allocates.
  std::vector<std::size_t> m_hashes;  ///< 0 for an empty slot
  std::vector<Slot> m_slots;
  std::uint64_t m_clock = 0;
};

}  // namespace vorn
