#include "exec/adapters/postgres/statement_effects.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/sql/SqlWords.h"

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

// What stands before a name whose parentheses hold names or a length: as g(n), with w(n), into t (a, b)
bool introducesName(const std::string& word) {
  return word == "as" || word == "with" || word == "recursive" || word == "into" || word == "table";
}

// Also where the temporary schema is quoted.
bool isTemporary(const SqlWords& words) {
  const std::string& word = words.word();
  if (word[0] == '"') return words.text().substr(1, 7) == "pg_temp";
  if (word[0] != 't' && word[0] != 'p') return false;
  return word == "temp" || word == "temporary" || word.compare(0, 7, "pg_temp") == 0;
}

bool isModification(const std::string& word) {
  return word == "insert" || word == "update" || word == "delete" || word == "merge";
}

}  // namespace

bool writesAndReturns(const std::string& sql) {
  SqlWords words(sql, kPostgresDialect);
  if (!words.toFirst()) return true;
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
  SqlWords words(sql, kPostgresDialect);
  return words.toFirst() && words.word() == "copy";
}

bool isRollback(const std::string& sql) {
  SqlWords words(sql, kPostgresDialect);
  return words.toFirst() && (words.word() == "rollback" || words.word() == "abort");
}

SchemaEffect schemaEffect(const std::string& sql) {
  SqlWords words(sql, kPostgresDialect);
  if (!words.toFirst()) return SchemaEffect::None;
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
  SqlWords words(sql, kPostgresDialect);
  if (!words.toFirst()) return false;
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
    if (isTemporary(words)) return true;
    name = words.isName();
    if (name) {
      qualified = words.previous() == ".";
      introduced = qualified ? introduced : introducesName(words.previous());
    }
  }
  return false;
}

}  // namespace vorn
