// What SQLite's files, locks and readers can do to a store.
#include <sqlite3.h>
#include <sys/stat.h>

#include "store/store_fixture.h"

namespace {

class SqliteStore : public StoreTest {
 protected:
  SqliteStore() { useStore("sqlite:" + m_file); }
  void SetUp() override { ASSERT_EQ(run(db, "create table t(n unique, v)"), kSuccess); }
  TemporaryDirectory m_directory;
  const std::string m_file = m_directory.file("s.db");
};

TEST_F(SqliteStore, ProcessesCreateAStoreAtOnce) {
  vorn::unbindStores();
  for (int round = 0; round < 8; ++round) {
    const std::string url = "sqlite:" + m_directory.file(std::to_string(round));
    const auto start = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    for (int child = 0; child < 12; ++child) {
      if (fork() != 0) continue;
      std::this_thread::sleep_until(start);
      useStore(url);
      const bool isDone = run(db, "create table if not exists t(n)") == kSuccess &&
                          run(db, "insert into t values(1)") == kSuccess;
      _exit(isDone ? 0 : 1);
    }
    for (int child = 0, status = -1; child < 12; ++child) EXPECT_TRUE(wait(&status) > 0 && status == 0);
    useStore(url);
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), "12");
    EXPECT_EQ(rowsOf(db, "select journal_mode from pragma_journal_mode"), "wal");
    vorn::unbindStores();
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

TEST_F(SqliteStore, BatchThatNamesAColumnTwiceStoresWhatOneRowStores) {
  ASSERT_EQ(run(db, "create table named(v, z integer primary key)"), kSuccess);
  ASSERT_EQ(run(db, "insert into named(rowid, z) values(4, -4)"), kSuccess);
  BatchInserter batch;
  batch.table("named");
  batch["rowid"] << 5L << 6L;
  batch["z"] << -5L << -6L;
  ASSERT_EQ(db->ExecBatchInserter(batch), 0U);
  EXPECT_EQ(rowsOf(db, "select z from named order by abs(z)"), "-4;-5;-6");
}

TEST_F(SqliteStore, AReadInATransactionLeavesAnotherStreaming) {
  ASSERT_EQ(db->beginTransaction(), 0U);
  CVORNReader reader;
  const std::string many =
      "with recursive r(n) as (select 1 union all select n + 1 from r limit 200000) select hex(zeroblob(99)) "
      "from r";
  ASSERT_EQ(db->execReadSQL(raw(many), reader), 0U);
  const long before = residentKilobytes();
  EXPECT_EQ(rowsOf(db, "select 1"), "1");
  EXPECT_LT(residentKilobytes() - before, 2048);
}

TEST_F(SqliteStore, ReadOnlyFileIsReadAndNotWritten) {
  ASSERT_EQ(rowsOf(db, "pragma journal_mode=delete"), "delete");
  vorn::unbindStores();
  EXPECT_TRUE(chmod(m_directory.file("").c_str(), 0755) == 0 && chmod(m_file.c_str(), 0444) == 0);
  EXPECT_TRUE(holdsInChild([this] {
    // Permissions mean nothing to the superuser.
    if (geteuid() == 0 && seteuid(65534) != 0) return false;
    useStore("sqlite:" + m_file);
    return run(db, "insert into t values(1, 1)") == "sqlite 8 SQLITE_READONLY" &&
           rowsOf(db, "select count(*) from t") == "0";
  }));
}

}  // namespace
