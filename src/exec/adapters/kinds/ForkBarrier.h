#pragma once

namespace vorn {

/// Work that no fork may cut through: while one of these lives, a fork by another thread waits for it.
///
/// Invariants:
/// 1. It holds from the moment the library is loaded, so no work comes before it.
/// 2. No lock is held while the work runs, which may be the loader's and call static constructors that use
///    the library. A thread that forks inside its own work does not wait for itself.
/// 3. A child begins with no work running but that of the thread that forked it.
class ForkBarrier {
 public:
  /// Throws std::bad_alloc when the process had no room for the fork handlers.
  ForkBarrier();
  ~ForkBarrier();
  ForkBarrier(const ForkBarrier&) = delete;
  ForkBarrier& operator=(const ForkBarrier&) = delete;

  /// Waits for the work of other threads and keeps it from beginning, for whoever is about to fork; may be
  /// nested. What comes after it in the process or in the child is release().
  static void hold();
  static void release();
};

}  // namespace vorn
