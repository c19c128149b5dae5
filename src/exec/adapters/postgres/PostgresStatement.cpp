#include "exec/adapters/postgres/PostgresStatement.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "exec/adapters/SqlText.h"

namespace vorn {

namespace {

char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isLetter(char c) {
  return c >= 'a' && c <= 'z';
}

// What may stand before a parenthesis in a query that writes nothing, in byte-wise order.
// clang-format off
constexpr std::string_view kHarmless[] = {
    "abs", "age", "all", "and", "any", "array", "array_agg", "as", "ascii", "avg", "between",
    "bool_and", "bool_or", "btrim", "by", "case", "cast", "ceil", "char", "char_length", "chr",
    "coalesce", "concat", "concat_ws", "count", "date_part", "date_trunc", "decimal", "dense_rank",
    "distinct", "else", "every", "except", "exists", "extract", "filter", "first_value", "floor",
    "format", "from", "generate_series", "greatest", "having", "in", "initcap", "intersect", "join",
    "json_agg", "json_build_object", "jsonb_agg", "jsonb_build_object", "lag", "last_value", "lateral",
    "lead", "least", "left", "length", "like", "limit", "lower", "lpad", "ltrim", "make_date",
    "materialized", "max", "md5", "min", "mod", "not", "now", "nth_value", "ntile", "nullif", "numeric",
    "offset", "on", "or", "over", "partition", "position", "power", "rank", "regexp_replace", "repeat",
    "replace", "reverse", "right", "round", "row", "row_number", "rpad", "rtrim", "select", "sign",
    "some", "split_part", "sqrt", "stddev", "string_agg", "string_to_array", "strpos", "substr",
    "substring", "sum", "then", "timestamp", "to_char", "to_date", "to_json", "to_jsonb",
    "to_timestamp", "trim", "trunc", "union", "unnest", "upper", "using", "values", "varchar", "when",
    "where",
};
// clang-format on

static_assert(std::is_sorted(std::begin(kHarmless), std::end(kHarmless)));

// The first word, behind blanks, comments and parentheses.
std::string_view firstWord(const std::string& sql) {
  std::size_t at = 0;
  for (;;) {
    at = sql.find_first_not_of(" \t\r\n\f\v(;", at);
    if (at == std::string::npos) return {};
    if (sql[at] != '-' && sql[at] != '/') break;
    const std::size_t end = opaqueEnd(sql, at, SqlDialect::Postgres);
    if (end == at) break;
    at = end;
  }
  std::size_t end = at;
  while (end < sql.size() && isLetter(lowerCase(sql[end]))) ++end;
  return std::string_view(sql).substr(at, end - at);
}

/// @param word  in lower case
bool is(std::string_view text, std::string_view word) {
  return text.size() == word.size() &&
         std::equal(text.begin(), text.end(), word.begin(),
                    [](char left, char right) { return lowerCase(left) == right; });
}

bool mentions(const std::string& sql, const std::string& word) {
  const auto same = [](char left, char right) { return lowerCase(left) == right; };
  return std::search(sql.begin(), sql.end(), word.begin(), word.end(), same) != sql.end();
}

// as g(n), with w(n), cast(x as numeric(4))
bool introducesName(const std::string& word) {
  return word == "as" || word == "with" || word == "recursive";
}

// Whether anything before a parenthesis may be a function that writes.
bool callsUnknown(const std::string& sql) {
  if (sql.find('(') == std::string::npos) return false;
  std::string word;        // the last one, in lower case
  bool qualified = false;  // whether it stands behind a dot
  bool alias = false;      // whether its parentheses hold names or a length
  char last = ' ';         // the last byte that is no blank
  for (std::size_t at = 0; at < sql.size();) {
    const std::size_t end = opaqueEnd(sql, at, SqlDialect::Postgres);
    if (end > at) {
      const bool name = sql[at] == '"';
      if (name) {
        alias = introducesName(word);
        word.assign(1, '"');
      }
      if (name || sql[at] == '\'' || sql[at] == '$') last = sql[end - 1];
      at = end;
    } else if (isIdentifierByte(sql[at])) {
      qualified = last == '.';
      alias = introducesName(word);
      for (word.clear(); at < sql.size() && isIdentifierByte(sql[at]); ++at) word += lowerCase(sql[at]);
      last = sql[at - 1];
    } else {
      const bool behindWord = isIdentifierByte(last) || last == '"';
      if (sql[at] == '(' && behindWord && !alias &&
          (qualified || !std::binary_search(std::begin(kHarmless), std::end(kHarmless), word))) {
        return true;
      }
      if (sql[at] != ' ' && sql[at] != '\n' && sql[at] != '\t' && sql[at] != '\r') last = sql[at];
      ++at;
    }
  }
  return false;
}

}  // namespace

EarlyEnd earlyEndOf(const std::string& sql) {
  const std::string_view word = firstWord(sql);
  const bool query = is(word, "select") || is(word, "values") || is(word, "table") || is(word, "show") ||
                     (is(word, "with") && !mentions(sql, "insert") && !mentions(sql, "update") &&
                      !mentions(sql, "delete") && !mentions(sql, "merge"));
  if (!query) return EarlyEnd::Undoes;
  return callsUnknown(sql) ? EarlyEnd::MayUndo : EarlyEnd::Harmless;
}

bool isCommit(const std::string& sql) {
  const std::string_view word = firstWord(sql);
  return is(word, "commit") || is(word, "end");
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
