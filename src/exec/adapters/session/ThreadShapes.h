#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "exec/adapters/session/ShapeCounters.h"
#include "exec/adapters/session/StoreName.h"
#include "exec/adapters/sql/StatementShape.h"

namespace vorn {

/// The counters of one thread by store and statement shape. They live as long as the process, so a pointer to
/// one may be kept while a result is read. Only the owning thread calls.
///
/// Invariants:
/// 1. The process has at most kMostShapes of them by name. What comes later is counted under one more name,
///    together.
/// 2. Texts that differ in more than their values have counters of their own; those whose shapes differ in the
///    types of values alone have the same.
/// 3. A shape that the thread has met lately is found without a lock, an allocation or its text.
class ThreadShapes {
 public:
  static constexpr std::size_t kMostShapes = 1000;

  ThreadShapes() = default;
  ThreadShapes(const ThreadShapes&) = delete;
  ThreadShapes& operator=(const ThreadShapes&) = delete;

  /// Finds the counters of a shape, made at the first call.
  ShapeCounters& find(const StoreName& store, const StatementShape& shape, const SqlDialect& dialect) {
    const std::uint64_t key = store.hash ^ shape.hash();
    if (m_last != nullptr && key == m_lastKey) return *m_last;
    const auto known = m_known.find(key);
    ShapeCounters& found = known != m_known.end() ? *known->second : add(key, store, shape, dialect);
    m_lastKey = key;
    m_last = &found;
    return found;
  }

  /// Finds the counters of the statements that never reached a store, whatever they are.
  /// @return nothing where there is no memory for them
  ShapeCounters* findNotRun(const StoreName& store) noexcept;

 private:
  ShapeCounters& add(std::uint64_t key, const StoreName& store, const StatementShape& shape,
                     const SqlDialect& dialect);

  std::unordered_map<std::uint64_t, ShapeCounters*> m_known;  ///< by the hashes of store and shape
  std::uint64_t m_lastKey = 0;
  ShapeCounters* m_last = nullptr;
};

/// How a text is shown that never reached a store.
inline constexpr char kNotRun[] = "(not run)";

/// Keep the figures' lock from being cut off in the middle by a fork.
void lockShapeStatistics();
void unlockShapeStatistics();

}  // namespace vorn
