// What SQLite's files, locks and readers can do to a store.
#include <sys/stat.h>

#include <csignal>

#include <cmath>
#include <cstdio>
#include <optional>

#include "store/PlainSqlite.h"
#include "store/store_fixture.h"

namespace {

class SqliteStore : public StoreTest {
 protected:
  SqliteStore() { useStore("sqlite:" + m_file); }
  void SetUp() override { ASSERT_EQ(run(db, "create table t(n unique, v)"), kSuccess); }
  void TearDown() override { StoreTest::TearDown(), std::filesystem::current_path("/"); }

  std::string onPlain(const std::string& sql) { return PlainSqlite(m_file).text(sql); }

  std::string readOn(CVORNReader& reader, std::size_t most = 1000) {
    std::string rows, field;
    for (; most > 0 && reader.hasNextElement(); --most) rows.append(rows.empty() ? "" : ",").append((reader >> field, field));
    return rows;
  }

  /// @return the whole numbers from `first` up to, not including, `end`
  static std::string counted(long first, long end) {
    std::string all;
    for (; first < end; ++first) all.append(all.empty() ? "" : ",").append(std::to_string(first));
    return all;
  }

  TemporaryDirectory m_directory;
  const std::string m_file = m_directory.file("s.db");
};

TEST_F(SqliteStore, NothingIsAcknowledgedIntoAFileThatIsGone) {
  const std::string lost = "vorn 15 CONNECTION_LOST", createTable = "create table t(n, v)";
  const auto remove = [this](const std::string& suffix) { EXPECT_EQ(std::remove((m_file + suffix).c_str()), 0); };
  const auto removeAll = [&] { remove(""), remove("-wal"), remove("-shm"); };
  const auto replace = [&] {
    PlainSqlite(m_directory.file("other.db")).run("create table t(n, v); insert into t values('new', 0)");
    EXPECT_EQ(std::rename(m_directory.file("other.db").c_str(), m_file.c_str()), 0);
    remove("-wal"), remove("-shm");
  };
  const std::function<void()> faults[] = {removeAll, replace, [&] { remove("-wal"); }, [&] { remove("-shm"); }};
  for (std::size_t fault = 0; fault < std::size(faults); ++fault) {
    for (const std::string moment : {"idle", "in a transaction", "under a reader"}) {
      SCOPED_TRACE(std::to_string(fault) + " " + moment);
      vorn::unbindStores();
      for (const char* suffix : {"", "-wal", "-shm"}) std::remove((m_file + suffix).c_str());
      useStore("sqlite:" + m_file);
      EXPECT_EQ(run(db, createTable), kSuccess);
      EXPECT_EQ(db->ExecBatchInserter(numbers(100)), 0U);
      CVORNReader reader;
      if (moment == "in a transaction") {
        EXPECT_EQ(db->beginTransaction(), 0U);
        EXPECT_EQ(run(db, "insert into t values(1000, 0)"), kSuccess);
        faults[fault]();
        EXPECT_EQ(describe(db->commitTransaction()), lost);
      } else if (moment == "under a reader") {
        EXPECT_EQ(db->execReadSQL(raw("select n from t"), reader), 0U);
        EXPECT_EQ(readOn(reader, 1), "0");
        EXPECT_NE(run(db, "selec"), kSuccess);
        faults[fault]();
        if (fault < 2) { EXPECT_EQ(rowsOf(db, "select n from " + std::string(fault == 0 ? "t" : "later")), lost); }
        if (fault >= 2) { EXPECT_EQ(describe(db->ExecBatchInserter(numbers(3, 1000))), lost); }
        EXPECT_EQ(readOn(reader), counted(1, 100)) << "what it had moved into memory";
        reader.clear();
      } else {
        faults[fault]();
        if (fault == 0) { EXPECT_EQ(rowsOf(db, "select n from t"), "sqlite 1 SQLITE_ERROR"); }
        if (fault == 1) { EXPECT_EQ(rowsOf(db, "select n from t"), "new"); }
        if (fault >= 2) { EXPECT_EQ(run(db, "insert into t values(1000, 0)"), lost); }
      }
      run(db, createTable);
      EXPECT_EQ(run(db, "insert into t values(2000, 0)"), kSuccess);
      EXPECT_EQ(onPlain("select sum(n = 2000)||' '||sum(n = 1000) from t"), "1 0");
    }
  }
  EXPECT_NE(log.texts(vorn::LogLevel::Info).find("moved, replaced or deleted under"), std::string::npos);
}

TEST_F(SqliteStore, WhatAPragmaKeepsInTheTemporarySchemaGoesWithItsSession) {
  EXPECT_EQ(run(db, "pragma temp.user_version=5"), kSuccess);
  EXPECT_EQ(rowsOf(db, "pragma temp.user_version"), "0");
}

TEST_F(SqliteStore, ReadersDeliverTheirRowsWhateverEndsTheTransaction) {
  for (const auto& [text, outcome] : casesOf("store/reader_ends.txt")) {
    SCOPED_TRACE(text);
    useStore("sqlite::memory:");
    SetUp();
    EXPECT_EQ(db->ExecBatchInserter(numbers(300)), 0U);
    EXPECT_EQ(run(db, "begin"), kSuccess);
    EXPECT_EQ(run(db, "savepoint s"), kSuccess);
    EXPECT_EQ(run(db, "update t set n = n + 1000 where n >= 200"), kSuccess);
    CVORNReader first, second;
    EXPECT_EQ(db->execReadSQL(raw("select n from t order by n"), first), 0U);
    EXPECT_EQ(readOn(first, 2), "0,1");
    EXPECT_EQ(db->execReadSQL(raw("select n from t where n < 150 order by n"), second), 0U);
    EXPECT_EQ(run(db, text), outcome.empty() ? kSuccess : outcome);
    EXPECT_EQ(readOn(first), counted(2, 200) + "," + counted(1200, 1300));
    EXPECT_EQ(readOn(second), counted(0, 150));
    db->rollbackTransaction();
  }
}

TEST_F(SqliteStore, ProcessesCreateAStoreAtOnce) {
  vorn::unbindStores();
  for (int round = 0; round < 8; ++round) {
    const std::string url = "sqlite:" + m_directory.file(std::to_string(round));
    const auto start = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    std::vector<std::future<bool>> children(12);
    for (auto& child : children) {
      child = std::async(std::launch::async, [&] {
        return holdsInChild([&] {
          std::this_thread::sleep_until(start);
          useStore(url);
          return run(db, "create table if not exists t(n)") == kSuccess && run(db, "insert into t values(1)") == kSuccess;
        });
      });
    }
    for (auto& child : children) EXPECT_TRUE(child.get());
    useStore(url);
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), "12");
    EXPECT_EQ(rowsOf(db, "select journal_mode from pragma_journal_mode"), "wal");
    vorn::unbindStores();
  }
}

TEST_F(SqliteStore, JournalModeThatOthersHoldIsWaitedForAndKept) {
  const std::string mode = "select journal_mode from pragma_journal_mode";
  for (const std::string held : {"wal", "delete"}) {
    vorn::unbindStores();
    std::optional<PlainSqlite> other(m_file);
    ASSERT_EQ(other->run("pragma journal_mode=" + held + "; begin; select * from t"), SQLITE_OK);
    useStore("sqlite:" + m_file + "?busy_timeout_ms=100&journal_mode=" + (held == "wal" ? "delete" : "wal"));
    EXPECT_EQ(rowsOf(db, mode), held);
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), "0");
    if (held == "wal") continue;
    useStore("sqlite:" + m_file);
    std::thread soon([&other] { usleep(200000), other.reset(); });
    EXPECT_EQ(rowsOf(db, mode), "wal");
    soon.join();
  }
}

TEST_F(SqliteStore, StatementThatFindsTheFileLockedLeavesItsTransactionOpen) {
  useStore("sqlite:" + m_file + "?busy_timeout_ms=0");
  PlainSqlite other(m_file);
  for (const std::string statement : {"insert into t values(1, 0)", "insert into t values(1, 0) returning n"}) {
    EXPECT_EQ(run(db, "begin"), kSuccess);
    ASSERT_EQ(other.run("begin immediate"), SQLITE_OK);
    EXPECT_EQ(rowsOf(db, statement), "sqlite 5 SQLITE_BUSY");
    other.run("rollback");
    EXPECT_EQ(run(db, "commit"), kSuccess) << statement;
  }
}

TEST_F(SqliteStore, StatementsThatAreKeptAreBoundedByBytes) {
  const sqlite3_int64 before = sqlite3_memory_used();
  for (int text = 0; text < 70; ++text) {
    const std::string more = std::to_string(text);
    EXPECT_EQ(run(db, "update t set v = '" + std::string(1000000, 'x') + more + "'"), kSuccess);
    EXPECT_EQ(run(db, "update t set v = '" + std::string(60000, 'x') + more + "'"), kSuccess);
    std::string list = "select " + more;
    for (int term = 0; term < 1500; ++term) list += "," + std::to_string(term);
    EXPECT_EQ(run(db, list), kSuccess);
  }
  EXPECT_LT(sqlite3_memory_used() - before, 3 << 20);
}

TEST_F(SqliteStore, KilledProcessLeavesAllRowsOfABatchOrNone) {
  constexpr long kRows = 5000;
  ASSERT_EQ(run(db, "create table killed(n, v)"), kSuccess);
  BatchInserter batch = numbers(kRows);
  batch.table("killed");
  long before = 0;
  for (int round = 0; round < 25 || before == 0; ++round) {
    vorn::unbindStores();
    const pid_t child = fork();
    if (child == 0) {
      for (useStore("sqlite:" + m_file);;) db->ExecBatchInserter(batch);
    }
    usleep(2000 + static_cast<unsigned>(round % 25) * 2000);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    useStore("sqlite:" + m_file);
    const long rows = std::stol(rowsOf(db, "select count(*) from killed"));
    ASSERT_TRUE(rows % kRows == 0 && rows >= before) << "round " << round << ": " << rows;
    before = rows;
    ASSERT_EQ(onPlain("pragma integrity_check"), "ok");
  }
}

TEST_F(SqliteStore, ChildRefusesTheFilesThatItsParentHadOpen) {
  const std::string insert = "insert into t values(1, 1)", alias = m_directory.file("alias.db");
  ASSERT_EQ(link(m_file.c_str(), alias.c_str()), 0);
  EXPECT_TRUE(holdsInChild([&] { return run(db, insert) == kSuccess; })) << "nothing was open";
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "insert into t values(2, 2)"), kSuccess);
  const auto isRefused = [&] { return run(db, insert) == "vorn 18 FORKED_STORE"; };
  EXPECT_TRUE(holdsInChild([&] {
    if (run(db, insert) != "vorn 10 TRANSACTION_LOST" || db->rollbackTransaction() != 0 || !isRefused()) return false;
    useStore("sqlite:" + alias);
    if (!isRefused()) return false;
    useStore("sqlite:" + m_directory.file("mine.db"));
    return run(db, "create table t(n)") == kSuccess;
  }));
  EXPECT_TRUE(onAnotherThread([&] { return holdsInChild(isRefused); })) << "another thread's transaction";
  EXPECT_EQ(describe(db->commitTransaction()), kSuccess);
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "2");
}

TEST_F(SqliteStore, Scenarios) {
  std::filesystem::current_path(m_directory.file(""));
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
  ASSERT_EQ(rowsOf(db, "pragma journal_mode=delete"), "delete");
  vorn::unbindStores();
  EXPECT_TRUE(chmod(m_directory.file("").c_str(), 0755) == 0 && chmod(m_file.c_str(), 0444) == 0);
  EXPECT_TRUE(holdsInChild([this] {
    // Permissions mean nothing to the superuser.
    if (geteuid() == 0 && seteuid(65534) != 0) return false;
    useStore("sqlite:" + m_file);
    return run(db, "insert into t values(1, 1)") == "sqlite 8 SQLITE_READONLY" && rowsOf(db, "select count(*) from t") == "0";
  }));
}

TEST_F(SqliteStore, BatchRefusesWhatTheStoreCannotHoldAndKeepsZeroBytes) {
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
  EXPECT_EQ(rowsOf(db, "select n from t order by rowid"), std::string("9223372036854775807;a\0b", 23));
}

}  // namespace
