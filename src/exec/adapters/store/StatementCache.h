#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn {

/// What the cache has to know of a statement that it keeps. Stores derive theirs from it.
struct CachedStatement {
  std::string text;       ///< its text, or the key of its shape; empty when the statement is not to be kept
  std::size_t bytes = 0;  ///< the memory that keeping it takes, roughly
  std::size_t hash = 0;   ///< of `text`
  std::size_t slot = 0;   ///< the cache's: where it stood
  bool lifted = false;    ///< whether `text` is a key, and the literals are parameters
  bool recurs =
      false;  ///< whether it will come again; of others that is known when they come the second time
};

/// The idle prepared statements of one connection, the least recently used dropped first. A statement in use
/// is not in the cache, so two cursors over the same text never share one.
///
/// Invariants:
/// 1. The statements kept are at most as many, and take at most as many bytes, as was said.
/// 2. Texts that come once each push nothing out of the cache that recurs.
/// 3. A text finds no statement of a shape, and a shape none of a text.
///
/// @tparam Statement  a movable owner, derived from CachedStatement. A text longer than kLongestText is left
///                    empty: it would never be found again. There is nothing to do for the destruction of an
///                    empty one.
template <typename Statement>
class StatementCache {
 public:
  static constexpr std::size_t kLongestText = 65536;
  static constexpr std::size_t kMostBytes = 1048576;

  explicit StatementCache(std::size_t capacity) : m_hashes(capacity), m_slots(capacity) {}

  /// Takes a statement out of the cache.
  /// @param lifted  whether `text` is the key of a shape
  /// @return an empty statement when there is none
  Statement take(std::string_view text, std::size_t hash, bool lifted) noexcept {
    if (text.size() > kLongestText) return {};
    hash |= 1;
    auto found = std::find(m_hashes.begin(), m_hashes.end(), hash);
    while (found != m_hashes.end()) {
      const auto slot = static_cast<std::size_t>(found - m_hashes.begin());
      const Statement& statement = m_slots[slot].statement;
      if (statement.lifted == lifted && statement.text == text) return empty(slot);
      found = std::find(found + 1, m_hashes.end(), hash);
    }
    return {};
  }

  /// Puts a statement that is ready for its next use into the cache, or drops it.
  void put(Statement statement) noexcept {
    if (m_slots.empty() || statement.text.empty() || statement.bytes > kMostBytes) return;
    statement.recurs = statement.recurs || hasCome(statement.hash);
    if (!statement.recurs) return;
    while (m_bytes + statement.bytes > kMostBytes) empty(oldest());
    // Mostly it comes back to where it stood.
    std::size_t slot = statement.slot;
    if (m_hashes[slot] != 0) {
      const auto free = std::find(m_hashes.begin(), m_hashes.end(), std::size_t{0});
      slot = free == m_hashes.end() ? oldest() : static_cast<std::size_t>(free - m_hashes.begin());
      empty(slot);
    }
    m_hashes[slot] = statement.hash | 1;
    m_bytes += statement.bytes;
    statement.slot = slot;
    m_slots[slot].statement = std::move(statement);
    m_slots[slot].lastUse = ++m_clock;
  }

  void clear() noexcept {
    std::fill(m_hashes.begin(), m_hashes.end(), std::size_t{0});
    for (Slot& slot : m_slots) slot.statement = {};
    m_bytes = 0;
  }

 private:
  struct Slot {
    std::uint64_t lastUse = 0;
    Statement statement;
  };

  // Notes a statement. @return whether it was noted before, as far back as is remembered
  bool hasCome(std::size_t hash) noexcept {
    std::size_t& place = m_come[hash % m_come.size()];
    return std::exchange(place, hash) == hash;
  }

  // The slot used longest ago. An empty one counts as never used only when all are empty.
  std::size_t oldest() const noexcept {
    std::size_t found = 0;
    for (std::size_t slot = 1; slot < m_slots.size(); ++slot) {
      if (m_hashes[slot] == 0) continue;
      if (m_hashes[found] == 0 || m_slots[slot].lastUse < m_slots[found].lastUse) found = slot;
    }
    return found;
  }

  Statement empty(std::size_t slot) noexcept {
    if (m_hashes[slot] == 0) return {};
    m_hashes[slot] = 0;
    m_bytes -= m_slots[slot].statement.bytes;
    return std::move(m_slots[slot].statement);
  }

  // The hashes stand apart from the slots: looking one up is a scan over a few cache lines, and neither
  // taking nor putting allocates.
  std::vector<std::size_t> m_hashes;  ///< 0 for an empty slot, otherwise odd
  std::vector<Slot> m_slots;
  std::array<std::size_t, 64> m_come{};  ///< hashes of statements that have come once
  std::uint64_t m_clock = 0;
  std::size_t m_bytes = 0;
};

}  // namespace vorn
