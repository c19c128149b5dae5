#pragma once

/// Lets allocations of the calling thread fail.
///
/// It reaches operator new, and malloc with its kin in every library of the process. A sanitizer
/// has a malloc of its own: there it reaches operator new alone.
class FailingAllocations {
 public:
  /// @param first    the allocation to fail, 1 for the next
  /// @param lasting  whether all after it fail as well
  static void arm(long first, bool lasting) noexcept;

  /// @return whether an allocation has failed
  static bool disarm() noexcept;
};
