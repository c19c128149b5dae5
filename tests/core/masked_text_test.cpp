#include <gtest/gtest.h>

#include "exec/adapters/mariadb/MariaDbDialect.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/sql/StatementShape.h"
#include "exec/adapters/sqlite/SqliteDialect.h"
#include "support.h"

namespace {

struct Store {
  const char* name;
  const vorn::SqlDialect& dialect;
  std::vector<std::string> values;  // how a value is written; its bytes, @, are of any kind
};

const Store kStores[] = {
    {"sqlite",
     vorn::kSqliteDialect,
     {"'@'", "\"@\"", "x'7Q'", "-- @\n", "/* @ */", "7.7e-7", "-.7", "0x7q", "$x(')", ":x(--)"}},
    {"postgresql",
     vorn::kPostgresDialect,
     {"'@'", "E'@\\'@'", "$$@$$", "$t$@$t$", "-- @\n", "/* @ /* @ */ @ */", "7.7e-7", "N'@'", "'q'\n'@'"}},
    {"mariadb",
     vorn::kMariaDbDialect,
     {"'@'", "x'7Q'", "-- @\n", "# @\n", "/* @ */", "7.7e-7", "-.7", "0x7q", "_latin1'@'"}}};

std::string masked(const std::string& text, const vorn::SqlDialect& dialect) {
  vorn::StatementShape shape;
  shape.read(text, dialect);
  return vorn::StatementShape::masked(shape.key(), dialect);
}

// All that values are made of here are the bytes q, Q and 7, which nothing else has.
TEST(MaskedText, ShowsNoValueOfTextsPutTogetherAtRandom) {
  const auto names = split(
      "select a from t where a=|select|from|where|and|abc|e|values (|) like (|insert into t(a)|update t set "
      "a=",
      "|");
  const auto bytes = split("q|Q|7|qQ7|--|\\|$|$$|$t|\n|\r| |{|}|\xc3\xa9|:|@|[|]|`|%|,", "|");
  const auto blanks = split(" |\n|=|(|, | <> ", "|");
  std::mt19937 random(testSeed());
  const auto oneOf = [&random](const std::vector<std::string>& all) { return all[random() % all.size()]; };
  for (int round = 0; round < 60000; ++round) {
    const Store& store = kStores[round % 3];
    std::string text;
    for (std::size_t part = random() % 8; part-- > 0; text += oneOf(blanks)) {
      std::string value = random() % 2 == 0 ? oneOf(names) : oneOf(store.values);
      for (std::size_t at = 0; (at = value.find('@', at)) != std::string::npos;) {
        std::string content;
        for (std::size_t size = random() % 6; size-- > 0;) content += oneOf(bytes);
        const char end = value[0] == '$'                      ? '$'
                         : value[0] == '-' || value[0] == '#' ? '\n'
                         : value[0] == 'E'                    ? '\\'
                                                              : '\0';
        content.erase(std::remove(content.begin(), content.end(), end), content.end());
        if (value[0] == '\'' && random() % 2 == 0) content += "''q";
        value.replace(at, 1, content);
        at += content.size();
      }
      text += value;
    }
    if (random() % 4 == 0) text.resize(random() % (text.size() + 1));
    const std::string shown = masked(text, store.dialect);
    ASSERT_EQ(shown.find_first_of("qQ7"), std::string::npos) << store.name << ": " << text << "\n" << shown;
  }
}

}  // namespace
