#include "exec/adapters/sqlite/SqliteStatementCache.h"

#include <algorithm>
#include <functional>

namespace vorn {

namespace {

// Never 0, which marks an empty slot.
std::size_t hashOf(std::string_view text) {
  return std::hash<std::string_view>{}(text) | 1;
}

}  // namespace

SqliteStatementCache::SqliteStatementCache(std::size_t capacity) : m_hashes(capacity), m_slots(capacity) {}

SqliteStatement SqliteStatementCache::take(std::string_view text) {
  const std::size_t hash = hashOf(text);
  auto found = std::find(m_hashes.begin(), m_hashes.end(), hash);
  while (found != m_hashes.end()) {
    SqliteStatement& statement = m_slots[static_cast<std::size_t>(found - m_hashes.begin())].statement;
    if (statement.text == text) {
      *found = 0;
      return std::move(statement);
    }
    found = std::find(found + 1, m_hashes.end(), hash);
  }
  return {};
}

void SqliteStatementCache::put(SqliteStatement statement) {
  auto place = std::find(m_hashes.begin(), m_hashes.end(), std::size_t{0});
  if (place == m_hashes.end()) {
    const auto oldest =
        std::min_element(m_slots.begin(), m_slots.end(),
                         [](const Slot& left, const Slot& right) { return left.lastUse < right.lastUse; });
    place = m_hashes.begin() + (oldest - m_slots.begin());
  }
  *place = hashOf(statement.text);
  Slot& slot = m_slots[static_cast<std::size_t>(place - m_hashes.begin())];
  slot.statement = std::move(statement);
  slot.lastUse = ++m_clock;
}

void SqliteStatementCache::clear() {
  std::fill(m_hashes.begin(), m_hashes.end(), std::size_t{0});
  for (Slot& slot : m_slots) slot.statement = {};
}

}  // namespace vorn
