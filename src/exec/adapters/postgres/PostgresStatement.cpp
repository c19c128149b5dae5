#include "exec/adapters/postgres/PostgresStatement.h"

#include <algorithm>

namespace vorn {

namespace {

char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isLetter(char c) {
  return c >= 'a' && c <= 'z';
}

// The first word in lower case, behind blanks, comments and parentheses.
std::string firstWord(const std::string& sql) {
  std::size_t at = 0;
  for (;;) {
    at = sql.find_first_not_of(" \t\r\n\f\v(;", at);
    if (at == std::string::npos) return "";
    const bool line = sql.compare(at, 2, "--") == 0;
    if (!line && sql.compare(at, 2, "/*") != 0) break;
    at = sql.find(line ? "\n" : "*/", at + 2);
    if (at == std::string::npos) return "";
    at += line ? 1 : 2;
  }
  std::string word;
  for (; at < sql.size() && isLetter(lowerCase(sql[at])); ++at) word += lowerCase(sql[at]);
  return word;
}

bool mentions(const std::string& sql, const std::string& word) {
  const auto same = [](char left, char right) { return lowerCase(left) == right; };
  return std::search(sql.begin(), sql.end(), word.begin(), word.end(), same) != sql.end();
}

}  // namespace

bool onlyReads(const std::string& sql) {
  const std::string word = firstWord(sql);
  if (word == "select" || word == "values" || word == "table" || word == "show") return true;
  return word == "with" && !mentions(sql, "insert") && !mentions(sql, "update") && !mentions(sql, "delete") &&
         !mentions(sql, "merge");
}

std::string foldIdentifier(const std::string& identifier) {
  std::string folded;
  if (identifier.empty() || identifier.front() != '"') {
    std::transform(identifier.begin(), identifier.end(), std::back_inserter(folded), lowerCase);
    return folded;
  }
  for (std::size_t at = 1; at + 1 < identifier.size(); ++at) {
    folded += identifier[at];
    if (identifier[at] == '"') ++at;  // a doubled quote
  }
  return folded;
}

}  // namespace vorn
