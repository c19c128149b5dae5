#include "exec/adapters/mariadb/statement_effects.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "exec/adapters/mariadb/MariaDbDialect.h"
#include "exec/adapters/sql/SqlWords.h"

namespace vorn {

namespace {

// clang-format off
// What may stand before a parenthesis and leaves nothing behind: words that call nothing, and common functions.
constexpr std::string_view kHarmless[] = {
    "abs", "acos", "adddate", "all", "and", "any", "as", "ascii", "asin", "atan", "avg", "between", "bigint", "binary",
    "by", "case", "cast", "ceil", "ceiling", "char", "char_length", "character_length", "check", "coalesce", "concat",
    "concat_ws", "convert", "cos", "count", "crc32", "curdate", "current_date", "current_time", "current_timestamp",
    "curtime", "database", "date", "date_add", "date_format", "date_sub", "datediff", "datetime", "day", "dayname",
    "dayofmonth", "dayofweek", "dayofyear", "decimal", "default", "degrees", "dense_rank", "distinct", "double", "else",
    "elt", "enum", "except", "exists", "exp", "extract", "field", "find_in_set", "float", "floor", "foreign", "format",
    "from", "from_unixtime", "fulltext", "greatest", "group_concat", "having", "hex", "hour", "if", "ifnull", "in",
    "index", "insert", "instr", "int", "integer", "intersect", "interval", "isnull", "join", "json_extract",
    "json_value", "key", "last_day", "lcase", "least", "left", "length", "like", "ln", "locate", "log", "log10",
    "log2", "lower", "lpad", "ltrim", "max", "md5", "mid", "min", "minute", "mod", "month", "not", "now", "nullif",
    "numeric", "on", "or", "over", "partition", "pi", "position", "pow", "power", "primary", "quarter", "quote",
    "radians", "rand", "range", "rank", "repeat", "replace", "reverse", "right", "round", "row", "row_number", "rpad",
    "rtrim", "second", "select", "sha1", "sha2", "sign", "sin", "smallint", "space", "sqrt", "std", "stddev",
    "str_to_date", "strcmp", "subdate", "substr", "substring", "substring_index", "sum", "sysdate", "tan", "then",
    "time", "timestamp", "timestampdiff", "tinyint", "to_days", "trim", "truncate", "ucase", "unhex", "union",
    "unique", "unix_timestamp", "upper", "using", "utc_date", "utc_time", "utc_timestamp", "uuid", "values",
    "varbinary", "varchar", "variance", "version", "week", "weekday", "when", "where", "xor", "year",
};

// First words of statements that leave nothing behind in their session but by what kHarmless does not list, by
// variables, and by temporary tables.
constexpr std::string_view kPlain[] = {
    "alter", "analyze", "check", "checksum", "commit", "create", "delete", "desc", "describe", "do", "drop", "explain",
    "grant", "insert", "kill", "load", "optimize", "release", "rename", "repair", "replace", "revoke", "rollback",
    "savepoint", "select", "show", "start", "table", "truncate", "update", "values", "with",
};

constexpr std::string_view kCounting[] = {"delete", "insert", "load", "replace", "update"};

constexpr std::string_view kReading[] = {
    "desc", "describe", "explain", "select", "show", "table", "values", "with",
};

// First words of the others that do not commit a transaction.
constexpr std::string_view kKeeping[] = {"do", "kill", "release", "rollback", "savepoint"};

// First words of statements that may hold others.
constexpr std::string_view kHolding[] = {"alter", "begin", "case", "create", "for", "if", "loop", "repeat", "while"};
// clang-format on

static_assert(std::is_sorted(std::begin(kHarmless), std::end(kHarmless)));
static_assert(std::is_sorted(std::begin(kPlain), std::end(kPlain)));
static_assert(std::is_sorted(std::begin(kCounting), std::end(kCounting)));
static_assert(std::is_sorted(std::begin(kReading), std::end(kReading)));
static_assert(std::is_sorted(std::begin(kKeeping), std::end(kKeeping)));
static_assert(std::is_sorted(std::begin(kHolding), std::end(kHolding)));

// begin, start transaction, /*! begin */, /*M!100100 start transaction */
bool beginsTransaction(const std::string& sql) {
  SqlWords words(sql, kMariaDbDialect);
  bool goesOn = words.toFirst();
  if (goesOn && words.word() == "/") {
    const auto isHead = [&words] {
      return words.word() == "/" || words.word() == "*" || words.word() == "!" || words.word() == "m" ||
             words.word().find_first_not_of("0123456789") == std::string::npos;
    };
    while (goesOn && isHead()) goesOn = words.next();
  }
  if (!goesOn) return false;
  const std::string first = words.word().substr(words.word().find_first_not_of("0123456789"));
  const bool ends = !words.next() || words.word() == ";" || words.word() == "*";
  return first == "begin" ? ends || words.word() == "work"
                          : first == "start" && words.word() == "transaction";
}

LookBack lookBackOf(const std::string& sql) {
  SqlWords words(sql, kMariaDbDialect);
  if (!words.toFirst()) return LookBack::None;
  if (words.word() == "show" || words.word() == "get") return LookBack::Warnings;
  LookBack asked = LookBack::Anything;
  while (words.next()) {
    const std::string& word = words.word();
    if (word == "row_count" || word == "found_rows") return LookBack::Counts;
    if (word == "warning_count" || word == "error_count") asked = LookBack::Warnings;
    if (word == "last_insert_id" || word == "identity") asked = LookBack::Id;
  }
  return asked;
}

// commit release, rollback and chain release
bool closesAfter(const std::string& sql) {
  SqlWords words(sql, kMariaDbDialect);
  if (!words.toFirst() || (words.word() != "commit" && words.word() != "rollback")) return false;
  while (words.next()) {
    const std::string& before = words.previous();
    if (words.word() == "release") return before != "no" && before != "to" && before != "savepoint";
  }
  return false;
}

// What stands before a name whose parentheses hold names: into t (a, b), with c(n)
bool introducesName(const std::string& word) {
  return word == "into" || word == "table" || word == "with" || word == "recursive" || word == "exists" ||
         word == "index" || word == "key" || word == "references" || word == "as";
}

// Of a statement whose first word is plain.
SessionEffect effectOfRest(SqlWords& words) {
  bool qualified = false;   // whether the last name stands after a dot
  bool introduced = false;  // whether its parentheses hold names
  bool name = true;         // whether the last token is a name
  while (words.next()) {
    const std::string& word = words.word();
    const bool calls = word == "(" && name && !introduced;
    if (calls && (qualified || !isIn(kHarmless, words.previous()))) return SessionEffect::Reset;
    // A variable, or a comment that is run.
    if (word == "@" || (word == "*" && words.previous() == "/")) return SessionEffect::Reset;
    if (word == "temporary") return SessionEffect::Reset;
    if (word == "warnings" || word == "errors") return SessionEffect::Reset;
    // next value for s, previous value for s
    if (word == "value" && (words.previous() == "next" || words.previous() == "previous"))
      return SessionEffect::Reset;
    name = words.isName();
    if (name) {
      qualified = words.previous() == ".";
      introduced = qualified ? introduced : introducesName(words.previous());
    }
  }
  return SessionEffect::None;
}

SessionEffect effectOfBegin(SqlWords& words) {
  return !words.next() || words.word() == "work" || words.word() == ";" ? SessionEffect::None
                                                                        : SessionEffect::Reset;
}

// A role and profiles outlive the reset of the session.
SessionEffect effectOfSet(SqlWords& words) {
  while (words.next()) {
    if (words.word() == "role" || words.word() == "profiling") return SessionEffect::Close;
  }
  return SessionEffect::Reset;
}

}  // namespace

StatementEffects effectsOf(const std::string& sql) {
  StatementEffects effects;
  SqlWords words(sql, kMariaDbDialect);
  if (!words.toFirst()) {
    effects.empty = true;
    return effects;
  }
  const std::string first = words.word();
  effects.countsRows = isIn(kCounting, first);
  effects.onlyReads = isIn(kReading, first);
  effects.mayCommit = !effects.countsRows && !effects.onlyReads && !isIn(kKeeping, first);
  effects.session = isIn(kPlain, first) ? effectOfRest(words)
                    : first == "begin"  ? effectOfBegin(words)
                    : first == "set"    ? effectOfSet(words)
                                        : SessionEffect::Reset;
  if (effects.session != SessionEffect::None) effects.lookBack = lookBackOf(sql);
  effects.begins = (first == "/" || first == "begin" || first == "start") && beginsTransaction(sql);
  effects.closes = closesAfter(sql);
  return effects;
}

bool hasSecondStatement(const std::string& sql) {
  SqlWords words(sql, kMariaDbDialect);
  if (!words.toFirst() || isIn(kHolding, words.word())) return false;
  while (words.next()) {
    if (words.word() != ";" && words.previous() == ";") return true;
  }
  return false;
}

}  // namespace vorn
