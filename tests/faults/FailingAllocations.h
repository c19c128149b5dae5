#pragma once

/// Lets allocations of the calling thread fail while it lives; one at a time.
///
/// It reaches operator new, and malloc with its kin in every library of the process. A sanitizer
/// has a malloc of its own: there it reaches operator new alone.
class FailingAllocations {
 public:
  enum class Extent { Once, Lasting };

  /// @param first  the allocation to fail, 1 for the next; `Lasting` fails all after it, too
  FailingAllocations(long first, Extent extent) noexcept;
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// Lets all allocations of the calling thread fail, to its very end.
  static void untilThreadEnds() noexcept;

  /// @return whether an allocation of this thread has failed since the last object was made
  static bool struck() noexcept;

  /// Lets new (std::nothrow) fail, and nothing else.
  static bool nothrowFails;
};
