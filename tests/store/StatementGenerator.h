#pragma once

#include <array>
#include <map>
#include <random>
#include <string>
#include <vector>

/// Random texts, made of pieces that a file lists: `PIECE => choice|choice`, as likely as they are many.
///
/// A word in capitals that names a piece stands for one of its choices. A piece whose name ends in `_` is a
/// literal: statement() chooses it anew in every text of one shape. In a choice `¦` is a bar and `\n` a new
/// line.
class StatementGenerator {
 public:
  explicit StatementGenerator(const std::string& file, unsigned seed = 0);

  /// Begins again. What follows depends on the seed alone.
  void restart(unsigned seed) {
    m_random.seed(seed);
    m_shapes = {};
  }

  std::size_t below(std::size_t limit) { return m_random() % limit; }

  /// @return a random choice for a piece, and for the pieces that it names
  std::string text(const std::string& piece) { return filled(filled(choice(piece), false), true); }

  /// @return a STATEMENT of a shape that mostly came before, with literals of its own. Some have a piece of
  ///         NOISE in a random place.
  std::string statement();

 private:
  const std::string& choice(const std::string& piece);
  std::string filled(const std::string& text, bool withLiterals);
  void spoil(std::string& text);

  std::mt19937 m_random;
  std::map<std::string, std::vector<std::string>> m_choices;
  std::array<std::string, 48> m_shapes;
};
