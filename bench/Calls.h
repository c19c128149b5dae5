#pragma once

#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "vorn/statement.h"

namespace bench {

/// Statements of one form with values that change from call to call, as each competitor needs them.
template <typename ValuesOf, typename Render>
struct Calls {
  using Values = std::invoke_result_t<ValuesOf, std::size_t>;

  /// @param markedText  the statement with ? for each value
  /// @param valuesOf    from the index of a call to the tuple of its values
  /// @param builderOf   from these values to the library's builder
  Calls(std::string markedText, std::size_t count, const ValuesOf& valuesOf, Render builderOf)
      : marked(std::move(markedText)), reads(marked.rfind("select", 0) == 0), render(builderOf) {
    for (std::size_t i = 0; i < count; ++i) {
      values.push_back(valuesOf(i));
      texts.push_back(std::apply(render, values.back()).toString());
      statements.emplace_back().assign(texts.back());
    }
  }

  /// @return the statement with `mark` and a number for each value
  std::string numbered(const std::string& mark) const {
    std::string text;
    int number = 0;
    for (const char c : marked) c == '?' ? text.append(mark).append(std::to_string(++number)) : text += c;
    return text;
  }

  const std::string marked;
  const bool reads;
  const Render render;
  std::vector<Values> values;
  std::vector<std::string> texts;  ///< rendered beforehand
  std::vector<CVORNsqlstr> statements;
};

}  // namespace bench
