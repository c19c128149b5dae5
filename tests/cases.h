#pragma once

#include <fstream>
#include <locale>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// @return the lines of a file under tests/, each cut in two at " => "; blank lines count, comments (#) do not
inline std::vector<std::pair<std::string, std::string>> casesOf(const std::string& file) {
  std::ifstream lines(VORN_TEST_SOURCES "/" + file);
  std::vector<std::pair<std::string, std::string>> cases;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t arrow = line.find(" => ");
    if (line.rfind('#', 0) != 0) cases.emplace_back(line.substr(0, arrow), arrow == std::string::npos ? "" : line.substr(arrow + 4));
  }
  if (cases.empty()) throw std::runtime_error("no cases in " + file);
  return cases;
}

/// The process writes 1234.5 as 1.234,5 while this lives.
class CommaLocale {
 public:
  ~CommaLocale() { std::locale::global(m_before); }

 private:
  struct Punctuation : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  std::locale m_before = std::locale::global(std::locale(std::locale::classic(), new Punctuation));
};
