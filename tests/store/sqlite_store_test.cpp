#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <future>
#include <limits>
#include <random>

#include "store/store_fixture.h"

namespace {

class SqliteStore : public StoreTest {
 protected:
  void SetUp() override { useFile("pool_size=4"); }

  void useFile(const std::string& options) { useStore("sqlite:" + m_directory.file("s.db") + "?" + options); }

  static BatchInserter numbers(long rows) {
    BatchInserter batch;
    batch.table("t");
    for (long row = 0; row < rows; ++row) batch["n"] << row;
    return batch;
  }

  std::string count() { return rowsOf(db, "select count(*) from t"); }

  /// Runs `work` in a forked process. @return its exit code
  template <typename Work>
  static int inChild(Work work) {
    const pid_t child = fork();
    if (child == 0) _exit(work());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  TemporaryDirectory m_directory;
};

TEST_F(SqliteStore, UrlsAreCheckedBeforeAnythingIsOpened) {
  const struct {
    const char* url;
    const char* error;
  } cases[] = {{"", "vorn 1 INVALID_URL"},
               {"/plain/path", "vorn 1 INVALID_URL"},
               {"oracle://h/x", "vorn 2 UNKNOWN_SCHEME"},
               {"sqlite:", "vorn 1 INVALID_URL"},
               {"sqlite://host/x.db", "vorn 1 INVALID_URL"},
               {"sqlite:x.db?colour=red", "vorn 1 INVALID_URL"},
               {"sqlite:x.db?pool_size=0", "vorn 1 INVALID_URL"},
               {"sqlite:x.db?pool_size=4x", "vorn 1 INVALID_URL"},
               {"sqlite:x.db?pool_size=4&pool_size=5", "vorn 1 INVALID_URL"},
               {"sqlite:x.db?journal_mode=fast", "vorn 1 INVALID_URL"},
               {"sqlite:x%4.db", "vorn 1 INVALID_URL"},
               {"sqlite:x%00.db", "vorn 1 INVALID_URL"},
               {"sqlite:x.db#part", "vorn 1 INVALID_URL"},
               {"sqlite:no/such/folder/x.db?busy_timeout_ms=0&synchronous=normal", "success"}};
  for (const auto& each : cases) {
    const vorn::ExecResult result = vorn::bindStore("default", each.url);
    EXPECT_EQ(describe(result.errorCode()), each.error) << each.url;
  }
  const vorn::ExecResult secret = vorn::bindStore("default", "mariadb://me:geheim@h/x");
  EXPECT_EQ(secret.detail().value_or("").find("geheim"), std::string::npos);
}

TEST_F(SqliteStore, FilesThatAreNoStoreHaveCodesOfTheirOwn) {
  std::ofstream(m_directory.file("text.db")) << std::string(4096, 'x');
  mkdir(m_directory.file("folder").c_str(), 0755);
  const struct {
    const char* file;
    const char* error;
  } cases[] = {{"folder", "sqlite 14 SQLITE_CANTOPEN"},
               {"missing/s.db", "sqlite 14 SQLITE_CANTOPEN"},
               {"text.db", "sqlite 26 SQLITE_NOTADB"},
               {"with%20blank.db", "success"}};
  for (const auto& each : cases) {
    useStore("sqlite:" + m_directory.file(each.file));
    EXPECT_EQ(run(db, "create table t(n)"), each.error) << each.file;
    EXPECT_EQ(vorn::lastResult().detail().value_or("").find('\n'), std::string::npos);
  }
  EXPECT_EQ(access(m_directory.file("with blank.db").c_str(), F_OK), 0);
}

TEST_F(SqliteStore, ReadOnlyFileIsReadAndNotWritten) {
  useFile("journal_mode=delete");
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  vorn::unbindStores();
  chmod(m_directory.file("").c_str(), 0755);
  chmod(m_directory.file("s.db").c_str(), 0444);
  const int code = inChild([this] {
    // Permissions mean nothing to the superuser.
    if (geteuid() == 0 && seteuid(65534) != 0) return 1;
    useFile("journal_mode=delete");
    if (run(db, "insert into t values(1)") != "sqlite 8 SQLITE_READONLY") return 2;
    return count() == "0" ? 0 : 3;
  });
  EXPECT_EQ(code, 0);
}

TEST_F(SqliteStore, FullDiskLeavesNothingHalfWritten) {
  useFile("pool_size=1");
  ASSERT_EQ(run(db, "create table t(n, pad default (zeroblob(500)))"), kSuccess);
  ASSERT_EQ(run(db, "pragma max_page_count=40"), kSuccess);
  EXPECT_EQ(describe(db->ExecBatchInserter(numbers(1000))), "sqlite 13 SQLITE_FULL");
  EXPECT_EQ(count(), "0");
  EXPECT_EQ(run(db, "insert into t(n) values(1)"), kSuccess);

  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "insert into t(n) values(2)"), kSuccess);
  EXPECT_EQ(describe(db->ExecBatchInserter(numbers(1000))), "sqlite 13 SQLITE_FULL");
  db->rollbackTransaction();
  EXPECT_EQ(count(), "1");
}

TEST_F(SqliteStore, TransactionEndedByTheStoreIsReportedUntilTheCallerReacts) {
  ASSERT_EQ(run(db, "create table t(n unique on conflict rollback)"), kSuccess);
  for (const bool commits : {true, false}) {
    ASSERT_EQ(db->beginTransaction(), 0U);
    ASSERT_EQ(run(db, "insert into t values(1)"), kSuccess);
    EXPECT_EQ(run(db, "insert into t values(1)"), "sqlite 2067 SQLITE_CONSTRAINT_UNIQUE");
    EXPECT_EQ(run(db, "insert into t values(2)"), "vorn 10 TRANSACTION_LOST");
    EXPECT_EQ(describe(commits ? db->commitTransaction() : db->rollbackTransaction()), commits ? "vorn 10 TRANSACTION_LOST" : kSuccess);
    EXPECT_EQ(count(), "0");
  }
  ASSERT_EQ(run(db, "create table f(n unique on conflict fail)"), kSuccess);
  BatchInserter batch;
  batch.table("f");
  batch["n"] << 1 << 2 << 1;
  EXPECT_EQ(describe(db->ExecBatchInserter(batch)), "sqlite 2067 SQLITE_CONSTRAINT_UNIQUE");
  EXPECT_EQ(rowsOf(db, "select count(*) from f"), "0");
}

TEST_F(SqliteStore, ReadThatBreaksOffIsToldFromACleanEnd) {
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select abs(n) from (select -7 as n union all select -9223372036854775807 - 1)"), reader), 0U);
  EXPECT_TRUE(reader.hasNextElement());
  EXPECT_TRUE(vorn::lastResult().succeeded());
  EXPECT_FALSE(reader.hasNextElement());
  EXPECT_EQ(describe(vorn::lastResult().errorCode()), "sqlite 1 SQLITE_ERROR");
  EXPECT_NE(log.texts(vorn::LogLevel::Error).find("reading rows broke off: integer overflow"), std::string::npos);
}

TEST_F(SqliteStore, WriteThatReturnsRowsIsCommittedBeforeTheyAreRead) {
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("insert into t values(1),(2),(3) returning n"), reader), 0U);
  EXPECT_EQ(std::async(std::launch::async, [this] { return count(); }).get(), "3");
  EXPECT_TRUE(reader.hasNextElement() && reader.hasNextElement() && reader.hasNextElement());
  EXPECT_FALSE(reader.hasNextElement());
}

TEST_F(SqliteStore, SchemaChangesDoNotBreakRepeatedStatements) {
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  ASSERT_EQ(run(db, "insert into t values(1)"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select * from t", 2), "1|~");
  ASSERT_EQ(run(db, "alter table t add column m default 5"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select * from t", 2), "1|5");
  ASSERT_EQ(run(db, "drop table t"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select * from t", 2), "sqlite 1 SQLITE_ERROR");
  ASSERT_EQ(run(db, "create table t(z, y)"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select * from t", 2), "");
}

TEST_F(SqliteStore, BatchRefusesWhatTheStoreCannotHoldAndKeepsZeroBytes) {
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  const auto outcome = [this](auto... values) {
    BatchInserter batch;
    batch.table("t");
    (batch["n"] << ... << values);
    return describe(db->ExecBatchInserter(batch));
  };
  EXPECT_EQ(outcome(1UL, 9223372036854775808UL), "vorn 7 VALUE_OUT_OF_RANGE");
  EXPECT_EQ(outcome(1.0, std::nan("")), "vorn 7 VALUE_OUT_OF_RANGE");
  EXPECT_EQ(outcome(std::nanf("")), "vorn 7 VALUE_OUT_OF_RANGE");
  EXPECT_EQ(count(), "0");
  EXPECT_EQ(outcome(9223372036854775807UL), kSuccess);
  EXPECT_EQ(outcome(std::string("a\0b", 3)), kSuccess);
  EXPECT_EQ(rowsOf(db, "select n from t"), std::string("9223372036854775807;a\0b", 23));
}

TEST_F(SqliteStore, BatchOfRisingKeysStoresThemWhateverTheKeyIs) {
  const struct {
    const char* columns;
    long first;
    const char* outcome;
    const char* more = "";
  } cases[] = {
      {"k integer primary key, v", 0, "success"},
      {"k integer primary key, v", 5, "success"},
      {"v, k integer primary key, w as (k * 2) stored, check (k < 1000)", 5, "success"},
      {"k integer primary key, v, check (k < 100)", 5, "sqlite 275 SQLITE_CONSTRAINT_CHECK"},
      {"k integer primary key, v", -50, "sqlite 1555 SQLITE_CONSTRAINT_PRIMARYKEY"},
      {"k integer primary key, v", 4, "sqlite 1555 SQLITE_CONSTRAINT_PRIMARYKEY"},
      {"k integer primary key, v", std::numeric_limits<long>::max() - 119, "success"},
      {"k integer primary key autoincrement, v", 5, "success"},
      {"k integer primary key desc, v", 5, "success"},
      {"k int primary key, v", 5, "success"},
      {"k integer primary key, v, rowid", 5, "success"},
      {"k, v, _rowid_ integer primary key", 5, "success"},
      {"k integer, v, primary key (k, v)", 5, "success"},
      {"k integer primary key, v) without rowid /*", 5, "success"},
      {"k integer primary key, v", 5, "success", "create trigger spy before insert on t begin insert into seen values(new.k); end"}};
  ASSERT_EQ(run(db, "create table seen(k)"), kSuccess);
  for (const auto& each : cases) {
    SCOPED_TRACE(each.columns);
    ASSERT_EQ(run(db, std::string("create table t(") + each.columns + ")"), kSuccess);
    if (*each.more != '\0') { ASSERT_EQ(run(db, each.more), kSuccess); }
    ASSERT_EQ(run(db, each.first == 0 ? "select 1" : "insert into t (k, v) values(0, 'old'),(4, 'old')"), kSuccess);
    BatchInserter batch;
    batch.table("t");
    for (long row = 0; row < 120; ++row) {
      batch["k"] << each.first + row;
      batch["v"] << row;
    }
    EXPECT_EQ(describe(db->ExecBatchInserter(batch)), each.outcome);
    const std::string expected = std::string(each.outcome) == kSuccess ? "120|0" : "0|~";
    EXPECT_EQ(rowsOf(db, "select count(*), max(abs(k - v - " + std::to_string(each.first) + ")) from t where v <> 'old'", 2), expected);
    if (*each.more != '\0') { EXPECT_EQ(rowsOf(db, "select count(*), min(k), max(k) from seen", 3), "122|0|124"); }
    ASSERT_EQ(run(db, "drop table t"), kSuccess);
  }
}

TEST_F(SqliteStore, MemoryStoreIsSharedByThreadsAndGoneWhenUnbound) {
  useStore("sqlite::memory:");
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  EXPECT_EQ(std::async(std::launch::async, [this] { return run(db, "insert into t values(1)"); }).get(), kSuccess);
  EXPECT_EQ(count(), "1");
  vorn::unbindStores();
  useStore("sqlite::memory:");
  EXPECT_EQ(count(), "sqlite 1 SQLITE_ERROR");
}

TEST_F(SqliteStore, NamesWithoutBindingLeadToTheEnvironmentOrADefaultFile) {
  vorn::unbindStores();
  setenv("VORN_DATA_DIR", m_directory.file("").c_str(), 1);
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  EXPECT_EQ(access(m_directory.file("default.db").c_str(), F_OK), 0);
  setenv("VORN_STORE_NEUPGRADEDB", ("sqlite:" + m_directory.file("other.db")).c_str(), 1);
  MIRAsqlDB upgrade(true);
  EXPECT_EQ(run(&upgrade, "create table t(n)"), kSuccess);
  EXPECT_EQ(access(m_directory.file("other.db").c_str(), F_OK), 0);
  setenv("VORN_STORE_DEFAULT", "nonsense", 1);
  vorn::unbindStores();
  EXPECT_EQ(run(db, "select 1"), "vorn 1 INVALID_URL");
  for (const char* name : {"VORN_DATA_DIR", "VORN_STORE_NEUPGRADEDB", "VORN_STORE_DEFAULT"}) unsetenv(name);
  vorn::DataSession traversal("../default");
  EXPECT_EQ(describe(traversal.beginTransaction().errorCode()), "vorn 12 INVALID_SESSION_NAME");
}

TEST_F(SqliteStore, ForkedChildUsesNothingOfTheParent) {
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  ASSERT_EQ(run(db, "insert into t values(1),(2)"), kSuccess);
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select n from t"), reader), 0U);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "insert into t values(3)"), kSuccess);
  const int code = inChild([&] {
    if (reader.hasNextElement()) return 1;
    if (describe(vorn::lastResult().errorCode()) != "vorn 14 FORKED_SESSION") return 2;
    if (run(db, "insert into t values(4)") != "vorn 10 TRANSACTION_LOST") return 3;
    if (db->rollbackTransaction() != 0) return 4;
    return count() == "2" ? 0 : 5;
  });
  EXPECT_EQ(code, 0);
  ASSERT_EQ(db->commitTransaction(), 0U);
  EXPECT_EQ(count(), "3");
  EXPECT_TRUE(reader.hasNextElement() && reader.hasNextElement());
}

TEST_F(SqliteStore, KilledProcessLeavesAllRowsOfABatchOrNone) {
  constexpr long kRows = 20000;
  const BatchInserter batch = numbers(kRows);
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  vorn::unbindStores();
  std::mt19937 random(20240601);
  long before = 0;
  for (int round = 0; round < 25; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      useFile("");
      for (;;) db->ExecBatchInserter(batch);
    }
    usleep(std::uniform_int_distribution<unsigned>(2000, 60000)(random));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    useFile("");
    const long rows = std::stol(count());
    ASSERT_EQ(rows % kRows, 0) << "round " << round;
    ASSERT_GE(rows, before);
    before = rows;
    ASSERT_EQ(rowsOf(db, "pragma integrity_check"), "ok");
    vorn::unbindStores();
  }
  EXPECT_GT(before, 0) << "some batches were complete before the kill";
}

}  // namespace
