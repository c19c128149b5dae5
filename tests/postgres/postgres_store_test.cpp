#include <chrono>
#include <cmath>
#include <limits>
#include <tuple>

#include "postgres/PostgresServer.h"
#include "store/store_fixture.h"

namespace {

using vorn::LogLevel;

class PostgresStore : public StoreTest {
 protected:
  void SetUp() override {
    m_url = sharedPostgresServer().freshDatabase();
    useStore(m_url + "?pool_size=2");
  }

  template <typename... Values>
  std::string batch(const std::string& table, const std::string& column, Values... values) {
    BatchInserter inserter;
    inserter.table(table);
    for (int row = 0; row < m_before; ++row) inserter[column] << std::get<0>(std::tie(values...));
    (inserter[column] << ... << values);
    return describe(db->ExecBatchInserter(inserter));
  }

  std::string m_url;
  int m_before = 0;  // how often the first value of a batch is repeated
};

TEST_F(PostgresStore, UrlsAreCheckedBeforeAnythingIsOpened) {
  for (const auto& [url, outcome] : casesOf("postgres/urls.txt")) {
    const vorn::ExecResult result = vorn::bindStore("default", url);
    EXPECT_EQ(describe(result.errorCode()), outcome) << url;
    EXPECT_EQ(result.detail().value_or("").find("geheim"), std::string::npos) << url;
  }
}

TEST_F(PostgresStore, OptionsOfTheUriReachTheServer) {
  useStore(m_url + "?application_name=a%26b%3Dc%20%25&options=-c%20datestyle%3DGerman%20-c%20bytea_output%3Descape");
  EXPECT_EQ(rowsOf(db, "show application_name"), "a&b=c %");
  EXPECT_EQ(rowsOf(db, "select date '2024-02-03', '\\x00ff5c'::bytea", 2), std::string("2024-02-03|\0\xff\\", 14));
}

TEST_F(PostgresStore, ValuesHaveOneTextForm) {
  useStore(m_url + "?options=-c%20timezone%3DUTC");
  for (const auto& [expression, text] : casesOf("postgres/values.txt")) EXPECT_EQ(rowsOf(db, "select " + expression), text) << expression;
  EXPECT_EQ(rowsOf(db, "select '\\x00ff5c27'::bytea"), std::string("\0\xff\\'", 4));
}

TEST_F(PostgresStore, RefusalsHaveCodesAndLeaveNothing) {
  ASSERT_EQ(run(db, "create table t(n int primary key deferrable initially deferred)"), kSuccess);
  for (const auto& [sql, outcome] : casesOf("postgres/refusals.txt")) {
    EXPECT_EQ(run(db, sql), outcome) << sql;
    for (const char* value : {"geheim", "4711"}) EXPECT_EQ(log.texts(LogLevel::Info).find(value), std::string::npos) << sql;
    CVORNReader reader;
    EXPECT_EQ(describe(db->execReadSQL(raw(sql), reader)), outcome) << sql;
    reader.clear();
    ASSERT_EQ(db->beginTransaction(), 0U);
    const bool atCommit = outcome.find("23505") != std::string::npos;
    EXPECT_EQ(run(db, sql), atCommit ? kSuccess : outcome) << sql;
    EXPECT_EQ(db->rollbackTransaction(), 0U) << sql;
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), "0") << sql;
  }
}

TEST_F(PostgresStore, CommitOfAFailedTransactionIsAFailure) {
  ASSERT_EQ(run(db, "create table t(n int)"), kSuccess);
  for (const bool raw : {false, true}) {
    ASSERT_EQ(db->beginTransaction(), 0U);
    ASSERT_EQ(run(db, "insert into t values(1)"), kSuccess);
    EXPECT_EQ(run(db, "select 1 / 0"), "postgresql 22012 division_by_zero");
    EXPECT_EQ(run(db, "insert into t values(2)"), "postgresql 25P02 in_failed_sql_transaction");
    EXPECT_EQ(raw ? run(db, "/* all */ COMMIT") : describe(db->commitTransaction()), "postgresql 25P02 in_failed_sql_transaction");
    EXPECT_EQ(describe(db->rollbackTransaction()), "vorn 9 NO_TRANSACTION") << "the commit has said how it ended";
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), "0");
  }
}

TEST_F(PostgresStore, NoticesAreLoggedOnOneLineAndEndNothing) {
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "do $$ begin raise warning 'ab%c', chr(10) using errcode = '57P01'; end $$"), kSuccess);
  EXPECT_EQ(log.texts(LogLevel::Info), "[VORNLib]postgresql WARNING: ab\\nc\n");
  EXPECT_EQ(db->commitTransaction(), 0U);
}

TEST_F(PostgresStore, AbandonedReadEndsInMillisecondsAndUndoesNoWrite) {
  ASSERT_EQ(run(db, "create table t(n bigint)"), kSuccess);
  const auto readOne = [this](const std::string& sql) {
    CVORNReader reader;
    long n = 0;
    EXPECT_EQ(db->execReadSQL(raw(sql), reader), 0U);
    EXPECT_TRUE(reader.hasNextElement());
    reader >> n;
    const auto start = std::chrono::steady_clock::now();
    reader.clear();
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(n, 1);
    return taken.count();
  };
  EXPECT_LT(readOne("select generate_series(1, 100000000) as n"), 200);
  EXPECT_LT(readOne("with recursive g(n) as (select 1 union all select n + 1 from g) select cast(n as numeric(9)) from g"), 200);
  readOne("/* x */ insert into t select generate_series(1, 100000) returning n");
  readOne("with w as (insert into t select generate_series(1, 100000) returning n) select n from w");
  readOne("/* /* */ select */ insert into t select generate_series(1, 100000) returning n");
  ASSERT_EQ(run(db, "create function add(n bigint) returns bigint language sql as 'insert into t values(n) returning n'"), kSuccess);
  readOne("select add(n) from generate_series(1, 10000) as n");
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "310000");
  ASSERT_EQ(run(db, "delete from t where n > 0"), kSuccess);

  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "insert into t values(0)"), kSuccess);
  EXPECT_LT(readOne("select generate_series(1, 1000000) as n"), 200);
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "1");
  EXPECT_LT(readOne("select generate_series(1, 1000000) as n"), 200);
  ASSERT_EQ(db->commitTransaction(), 0U);
  ASSERT_EQ(db->beginTransaction(), 0U);
  EXPECT_LT(readOne("select generate_series(1, 100000000) as n"), 200);
  ASSERT_EQ(db->rollbackTransaction(), 0U);
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "1");
}

TEST_F(PostgresStore, BatchGoesWhereTheInsertWouldGo) {
  runScenarios("postgres/batch_targets.txt", [this] { SetUp(); });
}

TEST_F(PostgresStore, PlaceholdersInLiteralsNamesAndCommentsAreText) {
  std::vector<long> seven = {7};
  vorn::ParamRefMap set;
  vorn::TypeRegistry::registerVectorType<std::vector<long>>(set["n"].type, vorn::type_code::kVector, "std::vector", 0);
  set["n"].object = &seven;
  ASSERT_EQ(run(db, "create table t(n bigint, s text)"), kSuccess);
  vorn::DataSession session("default");
  for (const auto& [expression, text] : casesOf("postgres/placeholders.txt")) {
    const std::string sql = "insert into t select {n}::bigint, " + expression;
    const vorn::ExecResult result =
        session.execute("test", vorn::SqlKind::Batch, sql, {{vorn::type_code::kParameterSet, 0, nullptr}, &set});
    EXPECT_TRUE(result.succeeded()) << expression << result.detail().value_or("");
    EXPECT_EQ(rowsOf(db, "select s from t"), text) << expression;
    ASSERT_EQ(run(db, "delete from t"), kSuccess);
  }
}

TEST_F(PostgresStore, BatchUnderRowSecurityKeepsThePolicy) {
  const std::string name = m_url.substr(m_url.rfind('/') + 1);
  sharedPostgresServer().query(
      "create role limited login password 'x'; create table t(n int, s text); alter table t enable row level "
      "security;"
      "create policy p on t with check (n < 10); create policy q on t for select using (true);"
      "grant all on t to limited",
      name);
  useStore("postgresql://limited:x@" + sharedPostgresServer().host() + "/" + name);
  EXPECT_EQ(batch("t", "n", 1L, 12L), "postgresql 42501 insufficient_privilege");
  EXPECT_EQ(batch("t", "s", std::string("\",\\{}'NULL")), "postgresql 42501 insufficient_privilege");
  EXPECT_EQ(batch("t", "n", 1L, 2L), kSuccess);
  EXPECT_EQ(rowsOf(db, "select n from t"), "1;2");
}

TEST_F(PostgresStore, BatchValuesAreExactOnEveryRoad) {
  sharedPostgresServer().query(R"(create table t(s text, d float8, f float4, n numeric); create view v as select * from t;
      create table b(s text, d float8, f float4, n bigint);
      create table roads(road text); create function note() returns trigger language plpgsql as
        'begin insert into roads values(current_query()); return null; end';
      create trigger w after insert on t execute function note();
      create trigger w after insert on b execute function note())",
                               m_url.substr(m_url.rfind('/') + 1));
  std::string all;
  for (int byte = 1; byte < 128; ++byte) all += static_cast<char>(byte);
  const std::vector<std::string> texts = {all, "", "NULL", "\\N", std::string(9000000, '\\') + "\n", "\xf0\x9f\x98\x80{}"};
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<double> reals = {0.1, -infinity, std::nan(""), 5e-324, -0.0, 1e22};
  const std::vector<float> floats = {0.1F, 16777216.F, std::nanf(""), 1e-45F, -3.4028235e38F, 1.0F / 3};
  const struct {
    std::string target;
    const char* road;
    unsigned long greatest;
  } cases[] = {{"t", "copy t (d, f, n, s) from stdin", std::numeric_limits<unsigned long>::max()},
               {"v", "insert into v", std::numeric_limits<unsigned long>::max()},
               {"b", "copy b (d, f, n, s) from stdin (format binary)", 9223372036854775807UL}};
  for (const auto& each : cases) {
    BatchInserter inserter;
    inserter.table(each.target);
    for (std::size_t row = 0; row < 2004; ++row) {
      inserter["s"] << (row < texts.size() ? texts[row] : "x");
      inserter["d"] << reals[row % reals.size()];
      inserter["f"] << floats[row % floats.size()];
      inserter["n"] << each.greatest - row;
    }
    ASSERT_EQ(describe(db->ExecBatchInserter(inserter)), kSuccess) << each.target;
    CVORNReader reader;
    ASSERT_EQ(db->execReadSQL(raw("select s, d, f, n from " + each.target), reader), 0U);
    for (std::size_t row = 0; row < 2004; ++row) {
      std::string text;
      double real = 0;
      float single = 0;
      unsigned long number = 0;
      ASSERT_TRUE(reader.hasNextElement());
      reader >> text >> real >> single >> number;
      EXPECT_EQ(text, row < texts.size() ? texts[row] : "x") << each.target;
      const double meant = reals[row % reals.size()];
      EXPECT_TRUE((real == meant && std::signbit(real) == std::signbit(meant)) || (std::isnan(real) && std::isnan(meant))) << real;
      const float narrow = floats[row % floats.size()];
      EXPECT_TRUE(single == narrow || (std::isnan(single) && std::isnan(narrow))) << single;
      EXPECT_EQ(number, each.greatest - row);
    }
    EXPECT_FALSE(reader.hasNextElement());
    EXPECT_EQ(rowsOf(db, "select road from roads").find(each.road), 0U) << each.target;
    ASSERT_EQ(run(db, "delete from " + each.target), kSuccess);
    ASSERT_EQ(run(db, "delete from roads"), kSuccess);
  }
}

TEST_F(PostgresStore, BatchRefusedForAValueLeavesNothingAndTheTransaction) {
  ASSERT_EQ(run(db, "create table t(s varchar(5), n bigint, i int, h smallint)"), kSuccess);
  ASSERT_EQ(run(db, "create view v as select * from t"), kSuccess);
  const std::string good = "ok";
  ASSERT_EQ(db->beginTransaction(), 0U);
  for (const std::string target : {"t", "v"}) {
    for (const int before : {0, 2000}) {
      m_before = before;
      const std::string encoding = "postgresql 22021 character_not_in_repertoire", range = "postgresql 22003 numeric_value_out_of_range";
      EXPECT_EQ(batch(target, "s", good, std::string("a\0b", 3)), encoding) << target;
      EXPECT_EQ(batch(target, "s", good, std::string("a\xff")), encoding) << target;
      EXPECT_EQ(batch(target, "s", good, std::string("toolong")), "postgresql 22001 string_data_right_truncation");
      EXPECT_EQ(batch(target, "n", 1UL, 9223372036854775808UL), range);
      EXPECT_EQ(batch(target, "i", 1L, -2147483649L), range);
      EXPECT_EQ(batch(target, "h", 1UL, 32768UL), range);
      EXPECT_EQ(batch(target, "x", 1L), "postgresql 42703 undefined_column");
      EXPECT_EQ(batch(target, "n", 1.0, 1.5), "postgresql 22P02 invalid_text_representation");
      EXPECT_EQ(batch(target, "n", 1e5, 1e18), kSuccess);
      EXPECT_EQ(batch(target, "i", -2147483648L, 2147483647L), kSuccess);
      EXPECT_EQ(batch(target, "h", -32768L, 32767L), kSuccess);
    }
  }
  ASSERT_EQ(db->commitTransaction(), 0U);
  EXPECT_EQ(rowsOf(db, "select count(*), sum(i), sum(h), count(s) from t", 4), "12024|-8589934592004|-131072004|0");
}

}  // namespace
