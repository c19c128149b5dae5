#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace vorn {

/// How often calls took how long, counted in buckets an eighth of a power of two wide, from a microsecond to a
/// minute. One thread counts, any thread may read.
class TimeHistogram {
 public:
  static constexpr std::uint64_t kFirstEnd = 1U << 10U;  ///< nanoseconds: everything shorter is one bucket
  static constexpr std::uint64_t kLastBegin = std::uint64_t{1} << 36U;  ///< everything longer is one as well
  static constexpr std::size_t kBuckets = 2 + 8 * 26;

  using Counts = std::array<std::uint64_t, kBuckets>;

  void add(std::uint64_t nanoseconds) noexcept {
    std::atomic<std::uint64_t>& count = m_counts[bucketOf(nanoseconds)];
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }

  void addTo(Counts& sums) const noexcept {
    for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
      sums[bucket] += m_counts[bucket].load(std::memory_order_relaxed);
    }
  }

  /// @return the end of the bucket in which the call stands that is not shorter than this share of all calls;
  ///         the longest time if that is the last bucket or the end lies above it
  static std::uint64_t quantile(const Counts& counts, std::uint64_t calls, unsigned percent,
                                std::uint64_t longest) noexcept {
    const std::uint64_t rank = (calls / 100) * percent + ((calls % 100) * percent + 99) / 100;
    std::uint64_t seen = 0;
    for (std::size_t bucket = 0; bucket + 1 < kBuckets; ++bucket) {
      seen += counts[bucket];
      if (seen >= rank) return endOf(bucket) < longest ? endOf(bucket) : longest;
    }
    return longest;
  }

 private:
  static std::size_t bucketOf(std::uint64_t nanoseconds) noexcept {
    if (nanoseconds < kFirstEnd) return 0;
    if (nanoseconds >= kLastBegin) return kBuckets - 1;
    const auto octave = static_cast<unsigned>(std::bit_width(nanoseconds)) - 1;
    return 1 + std::size_t{8} * (octave - 10) + ((nanoseconds >> (octave - 3)) & 7U);
  }

  static std::uint64_t endOf(std::size_t bucket) noexcept {
    return bucket == 0 ? kFirstEnd : (9 + (bucket - 1) % 8) << (7 + (bucket - 1) / 8);
  }

  std::array<std::atomic<std::uint64_t>, kBuckets> m_counts{};
};

}  // namespace vorn
