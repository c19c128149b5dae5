// The text of a batch, whose placeholders are numbered; where literals, names and comments end is also said
// by a slow regular expression for each store.
#include <regex>

#include "exec/adapters/mariadb/MariaDbDialect.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/sqlite/SqliteDialect.h"
#include "exec/adapters/store/BatchText.h"
#include "fuzz.h"

namespace {

const std::string kEnd = "(?![\\s\\S])", kComment = "/\\*(?:[^*]|\\*(?!/))*(?:\\*/|" + kEnd + ")|";
const std::string kQuoted = "'[^']*'?|\"[^\"]*\"?", kNames = "`[^`]*`?|", kWord = "[a-z0-9_\x80-\xff]";
const std::string kDashes = "--(?=[^\\x21-\\x7e\\x80-\\xff]|" + kEnd + ")[^\\n]*|";
const std::string kDollars = "(\\$(?:(?![0-9])" + kWord + "+)?\\$)[\\s\\S]*?(?:\\1|" + kEnd + ")\\$*|";
const std::string kEscaped =
    "E'(?:[^'\\\\]|''|\\\\[\\s\\S]|'[ \\t\\r\\f]*\\n[ \\t\\r\\n\\f]*')*(?:'|\\\\?" + kEnd + ")|";

struct Store {
  const vorn::SqlDialect& dialect;
  std::regex opaque;
} const kStores[] = {
    {vorn::kSqliteDialect, std::regex(kNames + "\\[[^\\]]*\\]?|--[^\\n]*|" + kComment + kQuoted)},
    {vorn::kMariaDbDialect, std::regex(kNames + "#[^\\n]*|" + kDashes + "(?!/\\*M?!)" + kComment + kQuoted)},
    {vorn::kPostgresDialect,
     std::regex(kDollars + "--[^\\n]*|" + kComment + kEscaped + kWord + "(?:" + kWord + "|\\$)*|" + kQuoted,
                std::regex::icase)}};

void check(const std::string& sql, const vorn::BatchColumns& columns, const Store& store) {
  std::string expected, numbered;
  unsigned used = 0;
  bool known = true;
  for (std::size_t at = 0; known && at < sql.size();) {
    std::cmatch match;
    if (std::regex_search(sql.data() + at, sql.data() + sql.size(), match, store.opaque,
                          std::regex_constants::match_continuous)) {
      expected += match.str();
      at += static_cast<std::size_t>(match.length());
    } else if (sql[at] != '{') {
      expected += sql[at++];
    } else {
      std::size_t column = 0;
      while (column < columns.size() &&
             sql.compare(at + 1, columns[column].name->size() + 1, *columns[column].name + "}") != 0)
        ++column;
      known = column < columns.size();
      if (!known) break;
      used |= 1U << column;
      expected +=
          store.dialect.parameterMark + (store.dialect.numberedParameters ? std::to_string(column + 1) : "");
      at += columns[column].name->size() + 2;
    }
  }
  const bool taken = vorn::numberPlaceholders(sql, columns, store.dialect, numbered).succeeded();
  require(taken == (known && used == 7), "each placeholder has a column, each column a placeholder");
  require(!taken || numbered == expected, "placeholders stand outside of literals, names and comments");
  std::string table;
  require(!vorn::isPlainBatchInsert(sql, columns, table) ||
              sql == "insert into " + table + " (\"q}\", a, b) values({\"q}\"}, {a}, {b})",
          "a plain insert is made of its table and columns");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::size_t kLongest = 400;  // the expressions are read by recursion
  const std::string sql(reinterpret_cast<const char*>(bytes), std::min(size, kLongest));
  if (sql.empty()) return 0;
  std::vector<long> values;
  Columns set;
  for (const char* const name : {"a", "b", "\"q}\""}) set.add(name, values);
  const vorn::BatchColumns columns = set.read();
  for (const Store& store : kStores) {
    // The expressions do not count comments in comments.
    const bool nested = store.dialect.nestedComments &&
                        contains(sql.substr(std::min(sql.find("/*"), sql.size() - 1) + 1), "/*");
    if (!nested) check(sql, columns, store);
  }
  return 0;
}
