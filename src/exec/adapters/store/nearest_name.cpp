#include "exec/adapters/store/nearest_name.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "common/joined.h"

namespace vorn {

namespace {

constexpr std::size_t kShortestPart = 4;

/// @return how many bytes have to be inserted, deleted or replaced to make one text of the other
std::size_t distance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

bool isPart(const std::string& text, const std::string& of) {
  return text.size() >= kShortestPart && of.find(text) != std::string::npos;
}

}  // namespace

std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  appendJoined(list, names, ", ", [](std::string& text, const std::string& name) { text += name; });
  return list;
}

std::string nearestName(const std::string& text, const std::vector<std::string>& names) {
  // Longer texts are far from every name, and need not be compared.
  constexpr std::size_t kLongestText = 64;
  std::size_t least = std::max<std::size_t>(1, text.size() / 3) + 1;
  const std::string* nearest = nullptr;
  for (const std::string& name : names) {
    if (text.size() > kLongestText) break;
    const std::size_t away = isPart(text, name) || isPart(name, text) ? 1 : distance(text, name);
    if (away >= least) continue;
    least = away;
    nearest = &name;
  }
  return nearest == nullptr ? "" : " (did you mean '" + *nearest + "'?)";
}

}  // namespace vorn
