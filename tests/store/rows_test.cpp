#include "vorn/rows.h"

#include <list>
#include <map>

#include "store/store_fixture.h"
#include "vorn/columns.h"

namespace {

template <typename Value>
std::string shown(const Value& value) {
  std::ostringstream text;
  if constexpr (sizeof(Value) == 1 && !std::is_same_v<Value, char>)
    text << +value;
  else
    text << value;
  return text.str().empty() ? "''" : text.str();
}
template <typename Value>
std::string shown(const std::optional<Value>& value) {
  return value ? shown(*value) : "~";
}

/// @return the rows, joined as rowsOf() joins them, and what ended them early
template <typename... Types>
std::string typed(CVORN* db, const std::string& sql) {
  std::string all;
  auto rows = vorn::rows<Types...>(*db, raw(sql));
  for (auto&& row : rows) {
    std::apply(
        [&all](const auto& first, const auto&... rest) {
          all += ";" + shown(first);
          ((all += "|" + shown(rest)), ...);
        },
        row);
  }
  EXPECT_EQ(rows.code(), vorn::lastResult().errorCode()) << sql;
  EXPECT_EQ(rows.begin(), rows.end());
  if (rows.code() != 0) all += ";" + describe(rows.code());
  return all.empty() ? "(none)" : all.substr(1);
}

template <typename Type>
std::string one(CVORN* db, const std::string& sql) {
  const std::optional<Type> found = vorn::value<Type>(*db, raw(sql));
  return found ? shown(*found) : "nothing, " + describe(vorn::lastResult().errorCode());
}

template <typename Type>
using Maybe = std::optional<Type>;
using Text = std::string;

class Rows : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    useStore(GetParam().freshUrl() + "?pool_size=1&acquire_timeout_ms=2000");
    for (const char* sql : {"create table r (n bigint, v varchar(20), d double precision)",
                            "insert into r values (1, 'fan', 0.5), (-9223372036854775807 - 1, null, null)"})
      ASSERT_EQ(run(db, sql), kSuccess);
  }
};

TEST_P(Rows, HaveTheirTypesOrEndWithTheReason) {
  const std::string count = "vorn 22 COLUMN_COUNT", null = "vorn 23 NULL_VALUE", type = "vorn 24 VALUE_TYPE";
  const struct {
    std::string (*read)(CVORN*, const std::string&);
    const char* sql;
    std::string outcome;
  } cases[] = {
      {typed<long, Text, double>, "select n, v, d from r where n = 1", "1|fan|0.5"},
      {typed<long, Maybe<Text>, Maybe<double>>, "select * from r order by n desc",
       "1|fan|0.5;-9223372036854775808|~|~"},
      {typed<long>, "select n from r where n = 5", "(none)"},
      {typed<Text>, "select v from r order by n desc", "fan;" + null},
      {typed<long, Text>, "select n from r", count},
      {typed<long>, "select n, v from r", count},
      {typed<short, unsigned char, unsigned long>, "select -5, 255, 0", "-5|255|0"},
      {typed<signed char>, "select 300", type},
      {typed<unsigned>, "select -1", type},
      {typed<unsigned long>, "select -1", type},
      {typed<int>, "select n from r", "1;" + type},
      {typed<long, double>, "select 12.00, 2.50", "12|2.5"},
      {typed<long>, "select 2.50", type},
      {typed<float>, "select 1e300", type},
      {typed<long, float>, "select '-7', '0.25'", "-7|0.25"},
      {typed<long>, "select '12x'", type},
      {typed<long>, "select '12.'", type},
      {typed<Maybe<double>>, "select ''", type},
      {typed<bool, bool, bool>, "select 1 = 1, 0, 'true'", "1|0|1"},
      {typed<bool>, "select 2", type},
      {typed<char, Maybe<char>, Text, Maybe<Text>>, "select 'a', null, ' ', ''", "a|~|''|''"},
      {typed<char>, "select 'ab'", type},
      {typed<long>, "", "refused by the library"},
      {one<long>, "select count(*) from r", "2"},
      {one<unsigned long>, "select 1e19", "10000000000000000000"},
      {one<Text>, "select v from r where n = 5", "nothing, success"},
      {one<Maybe<Text>>, "select v from r where n < 0", "~"},
      {one<Text>, "select v from r where n < 0", "nothing, " + null},
      {one<long>, "select 1 from r", "nothing, vorn 25 ROW_COUNT"},
      {one<int>, "select n from r", "nothing, " + type},
  };
  for (const auto& each : cases) EXPECT_EQ(each.read(db, each.sql), each.outcome) << each.sql;
  const std::string broken = typed<long>(db, "select abs(n) from r");
  EXPECT_EQ(broken.rfind("1;" + GetParam().family, 0), 0U) << broken;
  EXPECT_EQ(one<long>(db, "select n from nowhere").rfind("nothing, " + GetParam().family, 0), 0U);
  EXPECT_NE(log.texts().find("[VORNLib]reading rows broke off: column 1 is NULL"), std::string::npos);
}

TEST_P(Rows, KeepTheConnectionNoLongerThanTheyLast) {
  const auto elsewhere = [this] {
    return onAnotherThread([this] { return run(db, "delete from r where n = 5"); });
  };
  for (auto&& [n] : vorn::rows<long>(*db, raw("select n from r"))) {
    EXPECT_EQ(elsewhere(), "vorn 3 POOL_EXHAUSTED") << n;
    break;
  }
  EXPECT_EQ(elsewhere(), kSuccess);
  auto rows = vorn::rows<Maybe<Text>>(*db, raw("select v from r order by n desc"));
  for (auto&& [first] : rows) {
    EXPECT_EQ(first, "fan");
    break;
  }
  // A second loop goes on, and its rows outlive it.
  std::vector<std::tuple<Maybe<Text>>> kept(rows.begin(), rows.end());
  EXPECT_EQ(elsewhere(), kSuccess);
  EXPECT_EQ(kept, (std::vector<std::tuple<Maybe<Text>>>{{std::nullopt}}));
}

TEST_P(Rows, AreAppendedToABatchFromTuplesStructuresAndOtherRows) {
  struct Alarm {
    int number;
    std::string name;
    double load() const { return number * 0.25; }
  };
  BatchInserter batch;
  batch.table("r");
  const std::list<Alarm> alarms{{2, "disk"}, {3, std::string(300, 'x').substr(0, 15)}};
  vorn::appendRows(batch, alarms, std::pair{"n", &Alarm::number}, std::pair{"v", &Alarm::name},
                   std::pair{"d", &Alarm::load});
  const std::tuple<short, const char*, double> tuples[] = {{4, "port", 1e10}, {5, "it's", 0.125}};
  vorn::appendRows(batch, tuples, "n", std::string("v"), "d");
  vorn::appendRows(batch, std::map<long long, char>{{6, 'c'}}, "n", "v");
  batch["d"] << 1.5;
  ASSERT_EQ(describe(db->ExecBatchInserter(batch)), kSuccess);
  const std::string stored = "2|disk|0.5;3|xxxxxxxxxxxxxxx|0.75;4|port|1e+10;5|it's|0.125;6|c|1.5";
  const std::string query = "select n, v, d from r where n > 1 order by n";
  EXPECT_EQ((typed<int, Text, double>(db, query)), stored);
  BatchInserter copy;
  copy.table("r");
  vorn::appendRows(copy, vorn::rows<long, Text, double>(*db, raw(query)), "n", "v", "d");
  EXPECT_THROW(vorn::appendRows(copy, tuples, "n", "v", "n"), std::invalid_argument);
  EXPECT_THROW(vorn::appendRows(batch, std::map<int, const char*>{{7, nullptr}}, "n", "v"),
               std::invalid_argument);
  ASSERT_EQ(run(db, "delete from r"), kSuccess);
  ASSERT_EQ(describe(db->ExecBatchInserter(copy)), kSuccess);
  EXPECT_EQ((typed<int, Text, double>(db, query)), stored);
}

INSTANTIATE_TEST_SUITE_P(Stores, Rows, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
