// Batches, whose values are bound or copied, against the same values as literals of a statement's text.
#include <charconv>

#include "store/store_fixture.h"

namespace {

class BatchValues : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override { useStore(GetParam().freshUrl() + "?pool_size=1"); }

  /// @return what the table lists under a name for every kind of store, and for this one
  std::vector<std::string> listed(const std::string& name) const {
    std::vector<std::string> all;
    for (const auto& [line, list] : casesOf("store/batch_values.txt")) {
      if (line != name && line != GetParam().family + " " + name) continue;
      for (const std::string& each : split(list, "|"))
        all.push_back(replaced(replaced(replaced(each, "\\xff", "\xff"), "\\xed", "\xed\xa0\x80"), "\\0",
                               std::string(1, '\0')));
    }
    return all;
  }

  std::string literal(const std::string& value) const {
    const std::string zero(1, '\0'), quoted = "'" + replaced(value, "'", "''") + "'";
    if (value.find(zero) == std::string::npos) return quoted;
    return "concat(" + replaced(quoted, zero, "', convert(x'00' using utf8mb4), '") + ")";
  }
  std::string literal(double value) const {
    char text[400];
    const auto form =
        GetParam().family == "mariadb" ? std::chars_format::scientific : std::chars_format::fixed;
    return inColumn({text, std::to_chars(text, std::end(text), value, form).ptr});
  }
  std::string literal(long value) const { return inColumn(std::to_string(value)); }
  std::string literal(unsigned long value) const { return inColumn(std::to_string(value)); }

  /// PostgreSQL reads every value as its column does.
  std::string inColumn(const std::string& number) const {
    return GetParam().family == "mariadb" ? number : literal(number);
  }

  template <typename Value>
  std::string insertBatch(const std::vector<Value>& values) {
    BatchInserter batch;
    batch.table("b");
    for (const Value& value : values) batch["v"] << value;
    return describe(db->ExecBatchInserter(batch));
  }

  /// Inserts values one by one and then all that are taken at once, into b by batches and into a as literals.
  template <typename From>
  void compare(const std::string& name, const From& from) {
    const std::string insert = "insert into a (v) values(";
    std::vector<std::invoke_result_t<From, std::string>> taken;
    std::string literals;
    for (const std::string& text : listed(name)) {
      const auto value = from(text);
      const std::string expected = run(db, insert + literal(value) + ")");
      EXPECT_EQ(insertBatch<std::decay_t<decltype(value)>>({value}), expected) << text;
      if (expected != kSuccess) continue;
      taken.push_back(value);
      literals += (literals.empty() ? "" : "),(") + literal(value);
    }
    if (taken.empty()) return;
    EXPECT_EQ(insertBatch(taken), run(db, insert + literals + ")")) << name;
  }
};

TEST_P(BatchValues, AreKeptAsTheirLiteralsAre) {
  for (const std::string& sql : listed("setup")) ASSERT_EQ(run(db, sql), kSuccess);
  const std::string key = listed("key").at(0);
  for (const std::string& type : listed("type")) {
    SCOPED_TRACE(type);
    for (const std::string table : {"a", "b"}) {
      run(db, "drop table " + table);
      ASSERT_EQ(run(db, "create table " + table + "(n " + key + ", v " + type + ")"), kSuccess);
    }
    compare("text", [](const std::string& text) { return text; });
    compare("long", [](const std::string& text) { return std::stol(text); });
    compare("unsigned", [](const std::string& text) { return std::stoul(text); });
    compare("double", [](const std::string& text) { return std::strtod(text.c_str(), nullptr); });
    compare("float", [](const std::string& text) { return std::strtof(text.c_str(), nullptr); });
    for (const std::string& shown : listed("shown")) {
      // A shape that comes again is prepared, and its rows have another form; with a comment it goes as text.
      const std::string literals = rowsOf(db, "select " + shown + " from a order by n -- as text");
      for (int time = 0; time < 2; ++time)
        EXPECT_EQ(rowsOf(db, "select " + shown + " from b where (n >= 0) order by n"), literals);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, BatchValues, testing::ValuesIn(remoteKinds()),
                         [](const auto& kind) { return kind.param.name; });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BatchValues);

}  // namespace
