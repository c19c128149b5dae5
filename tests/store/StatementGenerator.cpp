#include "store/StatementGenerator.h"

#include "support.h"

StatementGenerator::StatementGenerator(const std::string& file, unsigned seed) : m_random(seed) {
  for (const auto& [piece, choices] : casesOf(file)) {
    for (const std::string& one : split(choices, "|"))
      m_choices[piece].push_back(replaced(replaced(one, "¦", "|"), "\\n", "\n"));
  }
}

const std::string& StatementGenerator::choice(const std::string& piece) {
  const std::vector<std::string>& choices = m_choices.at(piece);
  return choices[below(choices.size())];
}

std::string StatementGenerator::filled(const std::string& text, bool withLiterals) {
  const auto isCapital = [](char c) { return c >= 'A' && c <= 'Z'; };
  std::string result;
  for (std::size_t at = 0, end = 0; at < text.size(); at = end) {
    end = at;
    while (end < text.size() && isCapital(text[end])) ++end;
    if (end > at && end < text.size() && text[end] == '_') ++end;
    const bool named = end > at && (text[end - 1] != '_' || withLiterals);
    end = std::max(end, at + 1);
    const std::string word = text.substr(at, end - at);
    result += named && m_choices.count(word) > 0 ? filled(choice(word), withLiterals) : word;
  }
  return result;
}

void StatementGenerator::spoil(std::string& text) {
  text.replace(below(text.size() + 1), below(2) * below(9), choice("NOISE"));
}

std::string StatementGenerator::statement() {
  std::string& shape = m_shapes[below(m_shapes.size())];
  if (shape.empty() || below(12) == 0) {
    shape = filled(choice("STATEMENT"), false);
    if (below(16) == 0) spoil(shape);
  }
  std::string text = filled(shape, true);
  if (below(40) == 0) spoil(text);
  return text;
}
