#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "SampleRows.h"

namespace bench {

/// Takes up what competitors read or write, so that all can be seen to have come to the same.
class Checksum {
 public:
  void add(long id, const std::string& text, int level, double ratio) {
    m_sum += static_cast<std::uint64_t>(id) + 3 * text.size() +
             7 * static_cast<std::uint64_t>(static_cast<unsigned char>(text.back())) +
             11 * static_cast<std::uint64_t>(level) + 13 * static_cast<std::uint64_t>(ratio * 4);
  }
  void add(const SampleRow& row) { add(row.id, row.text, row.level, row.ratio); }
  void add(long value) { m_sum += static_cast<std::uint64_t>(value); }
  void add(double value) { m_sum += static_cast<std::uint64_t>(value * 4); }
  void add(const std::string& text) { m_sum += text.size(); }
  void addBytes(const std::string& text) { m_sum += std::hash<std::string>{}(text); }

  std::uint64_t value() const { return m_sum; }

 private:
  std::uint64_t m_sum = 0;
};

}  // namespace bench
