#include "SampleRows.h"

namespace bench {

std::string sampleText(std::size_t row, std::size_t length) {
  static const std::string kWords = " of shelf 12: the disk is nearly full;";
  std::string text = std::to_string(row % 10'000'000);
  text.reserve(length);
  while (text.size() < length) text.append(kWords, 0, length - text.size());
  text.resize(length);
  return text;
}

SampleRows SampleRows::make(std::size_t count) {
  constexpr std::size_t kTextLength = 32;
  SampleRows rows;
  for (std::size_t row = 0; row < count; ++row) {
    rows.ids.push_back(static_cast<long>(row) + 1);
    rows.texts.push_back(sampleText(row, kTextLength));
    rows.levels.push_back(static_cast<long>(row % 8));
    rows.ratios.push_back(static_cast<double>(row % 4096) * 0.25);
  }
  return rows;
}

}  // namespace bench
