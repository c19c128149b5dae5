#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// @return the lines of a file under tests/, each cut in two at " => "; blank lines count, comments (#) do
/// not
inline std::vector<std::pair<std::string, std::string>> casesOf(const std::string& file) {
  std::ifstream lines(VORN_TEST_SOURCES "/" + file);
  std::vector<std::pair<std::string, std::string>> cases;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t arrow = line.find(" => ");
    if (line.rfind('#', 0) != 0)
      cases.emplace_back(line.substr(0, arrow), arrow == std::string::npos ? "" : line.substr(arrow + 4));
  }
  if (cases.empty()) throw std::runtime_error("no cases in " + file);
  return cases;
}

inline std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  for (std::size_t start = 0, end = 0; start <= text.size(); start = end + separator.size()) {
    end = std::min(text.find(separator, start), text.size());
    parts.push_back(text.substr(start, end - start));
  }
  return parts;
}

inline std::string replaced(const std::string& text, const std::string& name, const std::string& value) {
  std::string result;
  for (const std::string& part : split(text, name)) result += part + value;
  return result.substr(0, result.size() - value.size());
}

/// @return the seed of a random test: VORN_TEST_SEED, or the usual one; the output names it
inline unsigned testSeed(unsigned usual = std::random_device()()) {
  const char* const chosen = std::getenv("VORN_TEST_SEED");
  const unsigned seed = chosen != nullptr ? static_cast<unsigned>(std::atol(chosen)) : usual;
  std::printf("repeat with VORN_TEST_SEED=%u\n", seed);
  return seed;
}

/// @return how often a long test repeats itself: under a sanitizer, which makes it slow, less often
constexpr int repetitions(int usually) {
  return usually / VORN_TEST_SHARE;
}

/// A directory that is gone with the object.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    if (mkdtemp(m_path.data()) == nullptr) std::abort();
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path = (std::filesystem::temp_directory_path() / "vorn-test-XXXXXX").string();
};
