#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cmath>
#include <random>

#include "store/store_fixture.h"

namespace {

class SqliteStore : public StoreTest {
 protected:
  void SetUp() override {
    std::filesystem::current_path(m_directory.file(""));
    useFile("pool_size=4");
  }
  void TearDown() override { StoreTest::TearDown(), std::filesystem::current_path("/"); }

  void useFile(const std::string& options) { useStore("sqlite:s.db?" + options); }

  std::string count() { return rowsOf(db, "select count(*) from t"); }

  TemporaryDirectory m_directory;
};

TEST_F(SqliteStore, Scenarios) {
  std::ofstream("text.db") << std::string(4096, 'x');
  mkdir("folder", 0755);
  int store = 0;
  runScenarios("store/sqlite_scenarios.txt", [&] { useStore("sqlite:" + std::to_string(++store)); });
  for (const char* name : {"VORN_DATA_DIR", "VORN_STORE_NEUPGRADEDB", "VORN_STORE_DEFAULT"}) unsetenv(name);
  EXPECT_EQ(access("with blank.db", F_OK), 0);
  EXPECT_EQ(vorn::bindStore("default", "mariadb://me:geheim@h/x").detail().value_or("").find("geheim"), std::string::npos);
  vorn::DataSession traversal("../default");
  EXPECT_EQ(describe(traversal.beginTransaction().errorCode()), "vorn 12 INVALID_SESSION_NAME");
}

TEST_F(SqliteStore, ReadOnlyFileIsReadAndNotWritten) {
  useFile("journal_mode=delete");
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  vorn::unbindStores();
  EXPECT_TRUE(chmod(".", 0755) == 0 && chmod("s.db", 0444) == 0);
  EXPECT_TRUE(holdsInChild([this] {
    // Permissions mean nothing to the superuser.
    if (geteuid() == 0 && seteuid(65534) != 0) return false;
    useFile("");
    return run(db, "insert into t values(1)") == "sqlite 8 SQLITE_READONLY" && count() == "0";
  }));
}

TEST_F(SqliteStore, ReadThatBreaksOffIsToldFromACleanEnd) {
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select abs(n) from (select -7 as n union all select -9223372036854775807 - 1)"), reader), 0U);
  EXPECT_TRUE(reader.hasNextElement());
  EXPECT_TRUE(vorn::lastResult().succeeded());
  EXPECT_FALSE(reader.hasNextElement());
  EXPECT_EQ(describe(vorn::lastResult().errorCode()), "sqlite 1 SQLITE_ERROR");
  EXPECT_NE(log.texts(vorn::LogLevel::Error).find("reading rows broke off: integer overflow"), std::string::npos);
  EXPECT_NE(db->execReadSQL(raw("select x from nowhere"), reader), 0U);
  EXPECT_FALSE(reader.hasNextElement());
}

TEST_F(SqliteStore, WriteThatReturnsRowsIsCommittedBeforeTheyAreRead) {
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("insert into t values(1),(2),(3) returning n"), reader), 0U);
  EXPECT_EQ(onAnotherThread([this] { return count(); }), "3");
  EXPECT_TRUE(reader.hasNextElement() && reader.hasNextElement() && reader.hasNextElement() && !reader.hasNextElement());
}

TEST_F(SqliteStore, BatchRefusesWhatTheStoreCannotHoldAndKeepsZeroBytes) {
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  const auto outcome = [this](const auto&... values) {
    BatchInserter batch;
    batch.table("t");
    (batch["n"] << ... << values);
    return describe(db->ExecBatchInserter(batch));
  };
  const std::string outOfRange = "vorn 7 VALUE_OUT_OF_RANGE";
  EXPECT_EQ(outcome(1UL, 9223372036854775808UL), outOfRange);
  EXPECT_EQ(outcome(1.0, std::nan("")), outOfRange);
  EXPECT_EQ(outcome(std::nanf("")), outOfRange);
  EXPECT_EQ(outcome(9223372036854775807UL), kSuccess);
  EXPECT_EQ(outcome(std::string("a\0b", 3)), kSuccess);
  EXPECT_EQ(rowsOf(db, "select n from t"), std::string("9223372036854775807;a\0b", 23));
}

TEST_F(SqliteStore, KilledProcessLeavesAllRowsOfABatchOrNone) {
  constexpr long kRows = 20000;
  const BatchInserter batch = numbers(kRows);
  ASSERT_EQ(run(db, "create table t(n, v)"), kSuccess);
  std::mt19937 random(20240601);
  long before = 0;
  for (int round = 0; round < 25; ++round) {
    vorn::unbindStores();
    const pid_t child = fork();
    if (child == 0) {
      for (useFile("");;) db->ExecBatchInserter(batch);
    }
    usleep(2000 + static_cast<unsigned>(random() % 58000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    useFile("");
    const long rows = std::stol(count());
    ASSERT_TRUE(rows % kRows == 0 && rows >= before) << "round " << round << ": " << rows;
    before = rows;
    ASSERT_EQ(rowsOf(db, "pragma integrity_check"), "ok");
  }
  EXPECT_GT(before, 0) << "some batches were complete before the kill";
}

}  // namespace
