#pragma once

#include <string>
#include <vector>

namespace bench {

/// Variables that a row is read into.
struct SampleRow {
  long id = 0;
  std::string text;
  int level = 0;
  double ratio = 0;
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

/// A query whose only field stands for all that the sample table holds.
inline constexpr const char* kSampleVerification =
    "select count(*) || '/' || sum(id) || '/' || sum(length(text)) || '/' || min(text) || '/' || max(text) "
    "|| "
    "'/' || sum(id * level) || '/' || sum(ratio) from sample";

/// @return a text of `length` bytes that differs from row to row
std::string sampleText(std::size_t row, std::size_t length);

}  // namespace bench
