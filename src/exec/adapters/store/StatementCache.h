#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn {

/// The idle prepared statements of one connection, the least recently used dropped first. A statement in use
/// is not in the cache, so two cursors over the same text never share one.
///
/// Invariant: the statements kept are at most as many, and take at most as many bytes, as was said.
///
/// @tparam Statement  a movable owner with the members `text` (empty when it is not to be kept, as one longer
///                    than kLongestText must be: it would never be found again) and `bytes` (what keeping it
///                    takes, roughly), and nothing to do for its destruction when empty
template <typename Statement>
class StatementCache {
 public:
  static constexpr std::size_t kLongestText = 65536;
  static constexpr std::size_t kMostBytes = 1048576;

  explicit StatementCache(std::size_t capacity) : m_hashes(capacity), m_slots(capacity) {}

  /// Takes the statement of a text out of the cache.
  /// @return an empty statement when there is none
  Statement take(std::string_view text) noexcept {
    if (text.size() > kLongestText) return {};
    const std::size_t hash = hashOf(text);
    auto found = std::find(m_hashes.begin(), m_hashes.end(), hash);
    while (found != m_hashes.end()) {
      const auto slot = static_cast<std::size_t>(found - m_hashes.begin());
      if (m_slots[slot].statement.text == text) return empty(slot);
      found = std::find(found + 1, m_hashes.end(), hash);
    }
    return {};
  }

  /// Puts a statement that is ready for its next use into the cache, or drops it.
  void put(Statement statement) noexcept {
    if (statement.text.empty() || statement.bytes > kMostBytes) return;
    while (m_bytes + statement.bytes > kMostBytes) empty(oldest());
    const auto free = std::find(m_hashes.begin(), m_hashes.end(), std::size_t{0});
    const std::size_t slot =
        free == m_hashes.end() ? oldest() : static_cast<std::size_t>(free - m_hashes.begin());
    empty(slot);
    m_hashes[slot] = hashOf(statement.text);
    m_bytes += statement.bytes;
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

  // Never 0, which marks an empty slot.
  static std::size_t hashOf(std::string_view text) { return std::hash<std::string_view>{}(text) | 1; }

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
  std::vector<std::size_t> m_hashes;  ///< 0 for an empty slot
  std::vector<Slot> m_slots;
  std::uint64_t m_clock = 0;
  std::size_t m_bytes = 0;
};

}  // namespace vorn
