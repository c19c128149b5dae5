#include "exec/adapters/postgres/statement_effects.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include "common/ascii.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/sql/SqlScanner.h"

namespace vorn {

namespace {

// What may stand before a parenthesis in a statement that leaves nothing behind in its session, in byte-wise
// order: words of the language, and the built-in functions that are called most.
// clang-format off
constexpr std::string_view kHarmless[] = {
    "abs", "age", "all", "and", "any", "array", "array_agg", "as", "ascii", "avg", "between",
    "bool_and", "bool_or", "btrim", "by", "case", "cast", "ceil", "char", "char_length", "check", "chr",
    "clock_timestamp", "coalesce", "concat", "concat_ws", "conflict", "count", "current_setting", "currval",
    "date_part", "date_trunc", "decimal", "default", "dense_rank", "distinct", "else", "every", "except",
    "exists", "extract", "filter", "first_value", "floor", "format", "from", "gen_random_uuid",
    "generate_series", "greatest", "having", "in", "initcap", "intersect", "join", "json_agg",
    "json_build_object", "jsonb_agg", "jsonb_build_object", "key", "lag", "last_value", "lateral", "lead",
    "least", "left", "length", "like", "limit", "lower", "lpad", "ltrim", "make_date", "materialized", "max",
    "md5", "min", "mod", "nextval", "not", "now", "nth_value", "ntile", "nullif", "numeric", "offset", "on",
    "or", "over", "partition", "pg_backend_pid", "pg_sleep", "position", "power", "random", "range", "rank",
    "regexp_replace", "repeat", "replace", "returning", "reverse", "right", "round", "row", "row_number",
    "rpad", "rtrim", "select", "set", "sign", "some", "split_part", "sqrt", "stddev", "string_agg",
    "string_to_array", "strpos", "substr", "substring", "sum", "then", "timestamp", "to_char", "to_date",
    "to_json", "to_jsonb", "to_timestamp", "trim", "trunc", "txid_current", "union", "unique", "unnest",
    "upper", "using", "values", "varchar", "version", "when", "where",
};

// First words of statements that leave nothing behind in their session but by the functions that they call and
// the temporary objects that they name.
constexpr std::string_view kPlain[] = {
    "abort", "alter", "analyze", "begin", "checkpoint", "close", "cluster", "comment", "commit", "create",
    "delete", "drop", "end", "explain", "fetch", "grant", "insert", "lock", "merge", "move", "notify",
    "refresh", "reindex", "release", "revoke", "rollback", "savepoint", "select", "show", "start", "table",
    "truncate", "update", "vacuum", "values", "with",
};

// First words of statements that keep the locks of their transaction and do not change the schema.
constexpr std::string_view kKeeping[] = {
    "begin", "close", "copy", "delete", "explain", "fetch", "insert", "listen", "lock", "merge",
    "move", "notify", "release", "savepoint", "select", "show", "start", "table", "truncate", "update",
    "values", "with",
};
// clang-format on

static_assert(std::is_sorted(std::begin(kHarmless), std::end(kHarmless)));
static_assert(std::is_sorted(std::begin(kPlain), std::end(kPlain)));
static_assert(std::is_sorted(std::begin(kKeeping), std::end(kKeeping)));

template <std::size_t Size>
bool isIn(const std::string_view (&words)[Size], std::string_view word) {
  return std::binary_search(std::begin(words), std::end(words), word);
}

enum class ByteKind : unsigned char { Sign, Word, Blank, Opening };

// Opening: a literal, a quoted name or a comment may begin.
constexpr std::array<ByteKind, 256> makeByteKinds() {
  std::array<ByteKind, 256> kinds{};
  for (int byte = 0; byte < 256; ++byte) {
    const bool word = ascii::isIdentifierByte(static_cast<char>(byte));
    kinds[static_cast<std::size_t>(byte)] = word ? ByteKind::Word : ByteKind::Sign;
  }
  for (const char byte : {' ', '\n', '\t', '\r', '\f', '\v'})
    kinds[static_cast<unsigned char>(byte)] = ByteKind::Blank;
  for (const char byte : {'\'', '"', '$', '-', '/'})
    kinds[static_cast<unsigned char>(byte)] = ByteKind::Opening;
  return kinds;
}

constexpr std::array<ByteKind, 256> kByteKinds = makeByteKinds();

ByteKind kindOf(char c) {
  return kByteKinds[static_cast<unsigned char>(c)];
}

/// A statement's words and signs, one after the other. Literals and comments are passed over.
class Words {
 public:
  explicit Words(const std::string& sql) : m_sql(sql), m_scanner(sql, kPostgresDialect) {}

  /// Goes on to the next token. @return false at the end
  bool next() {
    m_previous.swap(m_word);
    while (m_at < m_sql.size()) {
      const std::size_t begin = m_at;
      const ByteKind kind = kindOf(m_sql[begin]);
      const std::size_t end = kind == ByteKind::Opening ? m_scanner.opaqueEnd(begin) : begin;
      if (end > begin) {
        m_at = end;
        const char first = m_sql[begin];
        if (first == '-' || first == '/') continue;
        // A literal is a sign. A quoted name is a word that equals no other, but for the temporary schema.
        m_word = first != '"' ? "'" : m_sql.compare(begin + 1, 7, "pg_temp") == 0 ? "pg_temp" : "\"";
        return true;
      }
      ++m_at;
      if (kind == ByteKind::Blank) continue;
      if (kind == ByteKind::Word) {
        while (m_at < m_sql.size() && kindOf(m_sql[m_at]) == ByteKind::Word) ++m_at;
      }
      m_word.assign(m_sql, begin, m_at - begin);
      std::transform(m_word.begin(), m_word.end(), m_word.begin(), ascii::lowerCase);
      return true;
    }
    m_word.clear();
    return false;
  }

  /// @return the word in lower case, or one character that is none of an unquoted word
  const std::string& word() const { return m_word; }
  const std::string& previous() const { return m_previous; }
  bool isName() const { return kindOf(m_word[0]) == ByteKind::Word || m_word[0] == '"'; }

 private:
  const std::string& m_sql;
  const SqlScanner m_scanner;
  std::size_t m_at = 0;
  std::string m_word;
  std::string m_previous;
};

// To the first word, which may stand after parentheses.
bool toFirstWord(Words& words) {
  while (words.next()) {
    if (words.word() != "(" && words.word() != ";") return true;
  }
  return false;
}

// What stands before a name whose parentheses hold names or a length: as g(n), with w(n), into t (a, b)
bool introducesName(const std::string& word) {
  return word == "as" || word == "with" || word == "recursive" || word == "into" || word == "table";
}

bool isTemporary(const std::string& word) {
  if (word[0] != 't' && word[0] != 'p') return false;
  return word == "temp" || word == "temporary" || word.compare(0, 7, "pg_temp") == 0;
}

bool isModification(const std::string& word) {
  return word == "insert" || word == "update" || word == "delete" || word == "merge";
}

}  // namespace

bool writesAndReturns(const std::string& sql) {
  Words words(sql);
  if (!toFirstWord(words)) return true;
  const std::string first = words.word();
  if (first == "with") {
    // A part of the query that modifies begins after its parenthesis, the whole after the last one.
    while (words.next()) {
      if (isModification(words.word()) && (words.previous() == "(" || words.previous() == ")")) return true;
    }
    return false;
  }
  return first != "select" && first != "values" && first != "table" && first != "show" && first != "fetch" &&
         first != "execute" && first != "explain";
}

bool isCopy(const std::string& sql) {
  Words words(sql);
  return toFirstWord(words) && words.word() == "copy";
}

bool isRollback(const std::string& sql) {
  Words words(sql);
  return toFirstWord(words) && (words.word() == "rollback" || words.word() == "abort");
}

SchemaEffect schemaEffect(const std::string& sql) {
  Words words(sql);
  if (!toFirstWord(words)) return SchemaEffect::None;
  const std::string first = words.word();
  if (first == "commit" || first == "end" || first == "rollback" || first == "abort") {
    // With "to" or "chain" the transaction goes on.
    return words.next() ? SchemaEffect::Locks : SchemaEffect::None;
  }
  if (first == "set") {
    if (!words.next()) return SchemaEffect::None;
    return words.word() == "local"         ? SchemaEffect::Settings
           : words.word() == "constraints" ? SchemaEffect::Hidden
                                           : SchemaEffect::None;
  }
  if (first == "copy" || first == "explain" || first == "truncate" || isModification(first) ||
      (first == "with" && writesAndReturns(sql)))
    return SchemaEffect::Hidden;
  return isIn(kKeeping, first) ? SchemaEffect::None : SchemaEffect::Schema;
}

bool mayChangeSession(const std::string& sql) {
  Words words(sql);
  if (!toFirstWord(words)) return false;
  if (words.word() == "set") {
    // These end with the transaction.
    return !words.next() ||
           (words.word() != "local" && words.word() != "transaction" && words.word() != "constraints");
  }
  if (!isIn(kPlain, words.word())) return true;
  bool qualified = false;  // whether the last name stands after a dot
  bool introduced = false;
  bool name = true;  // whether the last token is a name
  while (words.next()) {
    const std::string& word = words.word();
    if (word == "(" && name && !introduced && (qualified || !isIn(kHarmless, words.previous()))) return true;
    if (isTemporary(word)) return true;
    name = words.isName();
    if (name) {
      qualified = words.previous() == ".";
      introduced = qualified ? introduced : introducesName(words.previous());
    }
  }
  return false;
}

}  // namespace vorn
