#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "exec/adapters/sqlite/SqliteStatement.h"

namespace vorn {

/// The idle prepared statements of one connection, the least recently used dropped first. A statement in use
/// is not in the cache, so two cursors over the same text never share one.
///
/// Invariant: the statements kept are at most as many, and take at most as many bytes, as was said.
class SqliteStatementCache {
 public:
  static constexpr std::size_t kLongestText = 65536;
  static constexpr std::size_t kMostBytes = 1048576;

  explicit SqliteStatementCache(std::size_t capacity);

  /// Takes the statement of a text out of the cache.
  /// @return an empty statement when there is none
  SqliteStatement take(std::string_view text) noexcept;

  /// Gives a new statement what the cache needs to keep it; a text that is too long gets nothing.
  static void label(SqliteStatement& statement, const std::string& text);

  /// Puts a statement that has been reset into the cache, or drops it.
  void put(SqliteStatement statement) noexcept;

  void clear() noexcept;

 private:
  struct Slot {
    std::uint64_t lastUse = 0;
    SqliteStatement statement;
  };

  std::size_t oldest() const noexcept;
  SqliteStatement empty(std::size_t slot) noexcept;

  // The hashes stand apart from the slots: looking one up is a scan over a few cache lines, and neither
  // taking nor putting allocates.
  std::vector<std::size_t> m_hashes;  ///< 0 for an empty slot
  std::vector<Slot> m_slots;
  std::uint64_t m_clock = 0;
  std::size_t m_bytes = 0;
};

}  // namespace vorn
