// What SQLite's files, locks and readers can do to a store.
#include <sqlite3.h>
#include <sys/stat.h>

#include <csignal>

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
    std::vector<std::future<bool>> children(12);
    for (auto& child : children) {
      child = std::async(std::launch::async, [&] {
        return holdsInChild([&] {
          std::this_thread::sleep_until(start);
          useStore(url);
          return run(db, "create table if not exists t(n)") == kSuccess &&
                 run(db, "insert into t values(1)") == kSuccess;
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
    ASSERT_EQ(rowsOf(db, "pragma integrity_check"), "ok");
  }
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
