#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// Takes up what competitors read, so that all can be seen to have read the same.
class Checksum {
 public:
  void add(long id, const std::string& text, int level, double ratio) {
    m_sum += static_cast<std::uint64_t>(id) + 3 * text.size() +
             7 * static_cast<std::uint64_t>(static_cast<unsigned char>(text.back())) +
             11 * static_cast<std::uint64_t>(level) + 13 * static_cast<std::uint64_t>(ratio * 4);
  }
  std::uint64_t value() const { return m_sum; }

 private:
  std::uint64_t m_sum = 0;
};

/// The rows (id, text, level, ratio) that the workloads write and read, column by column.
struct SampleRows {
  std::vector<long> ids;
  std::vector<std::string> texts;  ///< 32 bytes each
  std::vector<long> levels;
  std::vector<double> ratios;  ///< exact in six decimals, as rendered statements write them

  static SampleRows make(std::size_t count);

  std::size_t size() const { return ids.size(); }
};

/// @return a text of `length` bytes that differs from row to row
std::string sampleText(std::size_t row, std::size_t length);

}  // namespace bench
