#include "exec/adapters/sqlite/SqliteStatementCache.h"

#include <algorithm>
#include <functional>

namespace vorn {

namespace {

// Below this a text's program is small too, and is not worth measuring.
constexpr std::size_t kShortText = 4096;

// Never 0, which marks an empty slot.
std::size_t hashOf(std::string_view text) {
  return std::hash<std::string_view>{}(text) | 1;
}

}  // namespace

SqliteStatementCache::SqliteStatementCache(std::size_t capacity) : m_hashes(capacity), m_slots(capacity) {}

SqliteStatement SqliteStatementCache::take(std::string_view text) noexcept {
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

void SqliteStatementCache::label(SqliteStatement& statement, const std::string& text) {
  if (text.size() > kLongestText) return;
  statement.text = text;
  statement.bytes = text.size();
  if (text.size() > kShortText) {
    statement.bytes +=
        static_cast<std::size_t>(sqlite3_stmt_status(statement.get(), SQLITE_STMTSTATUS_MEMUSED, 0));
  }
}

void SqliteStatementCache::put(SqliteStatement statement) noexcept {
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

// The slot used longest ago. An empty one counts as never used only when all are empty.
std::size_t SqliteStatementCache::oldest() const noexcept {
  std::size_t found = 0;
  for (std::size_t slot = 1; slot < m_slots.size(); ++slot) {
    if (m_hashes[slot] == 0) continue;
    if (m_hashes[found] == 0 || m_slots[slot].lastUse < m_slots[found].lastUse) found = slot;
  }
  return found;
}

SqliteStatement SqliteStatementCache::empty(std::size_t slot) noexcept {
  if (m_hashes[slot] == 0) return {};
  m_hashes[slot] = 0;
  m_bytes -= m_slots[slot].statement.bytes;
  return std::move(m_slots[slot].statement);
}

void SqliteStatementCache::clear() noexcept {
  std::fill(m_hashes.begin(), m_hashes.end(), std::size_t{0});
  for (Slot& slot : m_slots) slot.statement = {};
  m_bytes = 0;
}

}  // namespace vorn
