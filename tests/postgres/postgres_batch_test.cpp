// Batches of few rows as prepared inserts, against the same batches as texts, over tables of every kind that
// are changed in between.
#include <cmath>
#include <random>

#include "postgres/PostgresServer.h"
#include "store/store_fixture.h"

namespace {

const std::vector<std::string> kTypes = split(
    "bigint;int;smallint;real;float8;numeric;numeric(6,2);text;varchar(4);char(3);boolean;interval;interval "
    "year;date;"
    "timestamp;timestamp(0);int[];varchar(2)[];mood;short;positive;years;bit(3);bytea;jsonb;regclass",
    ";");
const std::vector<std::string> kConstraints = split(
    ";;;not null;unique;unique deferrable initially deferred;primary key;generated always as (null) stored",
    ";");
const std::vector<std::string> kTexts = split(
    std::string("1;1;-1;3;70000;3000000000;1.5;1.00;ab;a  ;abcdef;t;fine;{1};{abc};NaN;;101;1 year 2 mons;"
                "2024-01-31 10:00:00.7;pg_class;\\x00;\xff;") +
        '\0',
    ";");
const std::vector<double> kNumbers = {0, 1, 1, 3, -1, 2.5, 0.1, 70000, 3e9, 1e15};

constexpr const char* kPrepared =
    "select count(*) from pg_prepared_statements where statement like 'insert into t (v%'";

class PostgresBatch : public StoreTest {
 protected:
  void SetUp() override {
    useStore(m_prepared);
    ASSERT_TRUE(vorn::bindStore("NeUpgradeDB", m_texts + "?statement_cache=0").succeeded());
    onBoth(
        "create type mood as enum('bad', 'fine'); create domain short as varchar(2);"
        "create domain positive as int check (value > 0); create domain years as interval year");
  }
  void TearDown() override {
    m_other.rollbackTransaction();
    StoreTest::TearDown();
  }

  /// Runs SQL on connections of the test's own.
  void onBoth(const std::string& sql) {
    m_case += sql + "\n";
    for (const std::string& url : {m_prepared, m_texts})
      sharedPostgresServer().query(sql, url.substr(url.rfind('/') + 1));
  }

  template <typename Element>
  const Element& any(const std::vector<Element>& elements) {
    return elements[m_random() % elements.size()];
  }

  void fill(BatchInserter& column, std::size_t rows) {
    const auto kind = m_random() % 6;
    const auto numbers = m_random() % 2 == 0 ? kNumbers.size() : 4;
    for (std::size_t row = 0; row < rows; ++row) {
      const double number = kNumbers[m_random() % numbers];
      if (kind < 2) column << any(kTexts);
      if (kind == 2) column << static_cast<long>(number);
      if (kind == 3) column << static_cast<unsigned long>(std::abs(number));
      if (kind == 4) column << number;
      if (kind == 5) column << static_cast<float>(number);
    }
  }

  /// Runs something on both stores. @return what came of it
  template <typename Run>
  std::string sameOnBoth(const Run& run) {
    const auto outcome = [&run](CVORN* on) {
      const std::string result = run(on);
      return result + vorn::lastResult().detail().value_or("");
    };
    const std::string expected = outcome(&m_other);
    EXPECT_EQ(outcome(db), expected) << m_case;
    return expected;
  }

  const std::string m_prepared = sharedPostgresServer().freshDatabase();
  const std::string m_texts = sharedPostgresServer().freshDatabase();
  MIRAsqlDB m_other{true};
  std::mt19937 m_random{4711};
  std::string m_case;
};

TEST_F(PostgresBatch, PreparedInsertDoesWhatItsTextDoes) {
  long kept = 0, all = 0, prepared = 0;
  for (int table = 0; table < 10 && !HasFailure(); ++table) {
    m_case.clear();
    onBoth("drop table if exists t");
    onBoth("create table t(v " + any(kTypes) + " " + any(kConstraints) + ", w " + any(kTypes) + ")");
    for (int step = 0; step < 40 && !HasFailure(); ++step) {
      if (m_random() % 10 == 0) onBoth("alter table t alter w type " + any(kTypes) + " using null");
      const bool inTransaction = m_random() % 2 == 0;
      if (inTransaction) sameOnBoth([](CVORN* on) { return describe(on->beginTransaction()); });
      for (auto batches = m_random() % 3 + 1; batches > 0; --batches, ++all) {
        BatchInserter batch;
        batch.table("t");
        const std::size_t rows = 1 + m_random() % 3;
        fill(batch["v"], rows);
        fill(batch["w"], rows);
        kept += sameOnBoth([&](CVORN* on) { return describe(on->ExecBatchInserter(batch)); }) == kSuccess;
      }
      if (inTransaction) sameOnBoth([](CVORN* on) { return describe(on->commitTransaction()); });
      sameOnBoth([](CVORN* on) { return rowsOf(on, "select * from t order by ctid"); });
      prepared += rowsOf(db, kPrepared) != "0";
    }
  }
  EXPECT_GT(prepared, all / 20);
  EXPECT_GT(kept, all / 20);
}

}  // namespace
