// What SQLite's files, locks, readers and memory can do to a store.
#include <fcntl.h>
#include <sqlite3.h>

#include <cstdio>

#include "faults/FailingAllocations.h"
#include "store/store_fixture.h"

namespace {

class SqliteReliability : public StoreTest {
 protected:
  SqliteReliability() { useStore("sqlite:" + m_file); }
  void SetUp() override { ASSERT_EQ(run(db, "create table t(n unique, v)"), kSuccess); }

  /// Runs a statement on the file in plain SQLite, without any patience. @return the first field of its last row, or the failure
  std::string onPlain(const std::string& sql) { return onPlain(m_file, sql); }
  static std::string onPlain(const std::string& file, const std::string& sql) {
    sqlite3* plain = nullptr;
    std::string found;
    const auto keep = [](void* out, int, char** values, char**) {
      return *static_cast<std::string*>(out) = values[0] ? values[0] : "~", 0;
    };
    int code = sqlite3_open(file.c_str(), &plain);
    if (code == SQLITE_OK) code = sqlite3_exec(plain, sql.c_str(), keep, &found, nullptr);
    sqlite3_close(plain);
    return code == SQLITE_OK ? found : sqlite3_errstr(code);
  }

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

TEST_F(SqliteReliability, NothingIsAcknowledgedIntoAFileThatIsGone) {
  const auto remove = [this](const std::string& suffix) { EXPECT_EQ(std::remove((m_file + suffix).c_str()), 0) << suffix; };
  const auto removeAll = [&] { remove(""), remove("-wal"), remove("-shm"); };
  const auto replace = [&] {
    EXPECT_EQ(onPlain(m_directory.file("other.db"), "create table t(n, v); insert into t values('new', 0)"), "");
    EXPECT_EQ(std::rename(m_directory.file("other.db").c_str(), m_file.c_str()), 0);
    remove("-wal"), remove("-shm");
  };
  const std::function<void()> faults[] = {removeAll, replace, [&] { remove("-wal"); }, [&] { remove("-shm"); }};
  const auto ready = [this] {
    vorn::unbindStores();
    for (const char* suffix : {"", "-wal", "-shm"}) std::remove((m_file + suffix).c_str());
    useStore("sqlite:" + m_file);
    EXPECT_EQ(run(db, "create table t(n, v)"), kSuccess);
  };
  for (std::size_t fault = 0; fault < std::size(faults); ++fault) {
    SCOPED_TRACE(fault);
    const bool wholeFile = fault < 2;
    ready();
    faults[fault]();  // while the connection is idle
    if (wholeFile) {
      EXPECT_EQ(rowsOf(db, "select n from t"), fault == 0 ? "sqlite 1 SQLITE_ERROR" : "new");
      run(db, "create table t(n, v)");
    } else {
      EXPECT_EQ(run(db, "insert into t values(1, 1)"), "vorn 15 CONNECTION_LOST");
    }
    EXPECT_EQ(run(db, "insert into t values(2, 2)"), kSuccess);
    EXPECT_EQ(onPlain("select max(v) from t"), "2");

    ready();
    EXPECT_EQ(db->beginTransaction(), 0U);
    EXPECT_EQ(run(db, "insert into t values(1, 1)"), kSuccess);
    faults[fault]();  // in a transaction
    EXPECT_EQ(describe(db->commitTransaction()), "vorn 15 CONNECTION_LOST");
    run(db, "create table t(n, v)");
    EXPECT_EQ(run(db, "insert into t values(2, 2)"), kSuccess);
    EXPECT_EQ(onPlain("select count(*) from t where n = 1"), "0");

    ready();
    EXPECT_EQ(db->ExecBatchInserter(numbers(100)), 0U);
    CVORNReader reader, refused;
    EXPECT_EQ(db->execReadSQL(raw("select n from t"), reader), 0U);
    EXPECT_EQ(readOn(reader, 1), "0");
    EXPECT_NE(db->execReadSQL(raw("selec"), refused), 0U);
    faults[fault]();  // under a reader
    const std::string query = fault == 0 ? "select n from t" : "select n from later";
    const auto outcome = wholeFile ? rowsOf(db, query) : describe(db->ExecBatchInserter(numbers(3)));
    EXPECT_EQ(outcome, "vorn 15 CONNECTION_LOST");
    EXPECT_EQ(readOn(reader), counted(1, 100)) << "what it had moved into memory";
    reader.clear();
    run(db, "create table t(n, v)");
    EXPECT_EQ(db->ExecBatchInserter(numbers(3)), 0U);
    EXPECT_EQ(onPlain("select count(*) > 2 from t"), "1");
  }
  const std::string lines = log.texts(vorn::LogLevel::Info), word = "moved, replaced or deleted under";
  std::size_t found = 0;
  for (std::size_t at = 0; (at = lines.find(word, at)) != std::string::npos; ++at) ++found;
  EXPECT_EQ(found, 3 * std::size(faults)) << lines;
}

TEST_F(SqliteReliability, WhatAPragmaKeepsInTheTemporarySchemaGoesWithItsSession) {
  EXPECT_EQ(run(db, "pragma temp.user_version=5"), kSuccess);
  EXPECT_EQ(rowsOf(db, "pragma temp.user_version"), "0");
}

TEST_F(SqliteReliability, ReadersDeliverTheirRowsWhateverEndsTheTransaction) {
  const std::pair<std::string, std::string> cases[] = {{"rollback", kSuccess},
                                                       {"rollback to s", kSuccess},
                                                       {"savepoint z", kSuccess},
                                                       {"release s", kSuccess},
                                                       {"commit", kSuccess},
                                                       {"pragma foreign_keys=off", kSuccess},
                                                       {"insert or rollback into t values(5, 5)", "sqlite 2067 SQLITE_CONSTRAINT_UNIQUE"},
                                                       {"drop table t", kSuccess}};
  for (const auto& [text, outcome] : cases) {
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
    EXPECT_EQ(run(db, text), outcome);
    EXPECT_EQ(readOn(first), counted(2, 200) + "," + counted(1200, 1300));
    EXPECT_EQ(readOn(second), counted(0, 150));
    db->rollbackTransaction();
  }
}

TEST_F(SqliteReliability, NewReaderSeesWhatOthersHaveCommitted) {
  EXPECT_EQ(db->ExecBatchInserter(numbers(300)), 0U);
  CVORNReader older;
  EXPECT_EQ(db->execReadSQL(raw("select n from t order by n"), older), 0U);
  EXPECT_EQ(readOn(older, 1), "0");
  EXPECT_EQ(onAnotherThread([this] { return run(db, "insert into t values(1000, 0)"); }), kSuccess);
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "301");
  EXPECT_EQ(readOn(older), counted(1, 300));
}

TEST_F(SqliteReliability, ProcessesCreateAStoreAtOnce) {
  constexpr int kProcesses = 12;
  vorn::unbindStores();
  for (int round = 0; round < 8; ++round) {
    const std::string url = "sqlite:" + m_directory.file(std::to_string(round));
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    std::vector<pid_t> children;
    for (int child = 0; child < kProcesses; ++child) {
      children.push_back(fork());
      if (children.back() != 0) continue;
      close(gate[1]);
      char nothing = 0;
      if (read(gate[0], &nothing, 1) != 0) _exit(2);  // until the parent closes the gate
      useStore(url);
      const bool made = run(db, "create table if not exists t(n)") == kSuccess && run(db, "insert into t values(1)") == kSuccess;
      _exit(made ? 0 : 1);
    }
    close(gate[0]), close(gate[1]);
    for (const pid_t child : children) {
      int status = -1;
      EXPECT_TRUE(waitpid(child, &status, 0) == child && status == 0) << status;
    }
    useStore(url);
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), std::to_string(kProcesses));
    EXPECT_EQ(rowsOf(db, "select journal_mode from pragma_journal_mode"), "wal");
    vorn::unbindStores();
  }
}

TEST_F(SqliteReliability, JournalModeThatOthersHoldIsWaitedForAndKept) {
  const std::string wants[] = {"delete", "wal"};
  for (const std::string& wanted : wants) {
    vorn::unbindStores();
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(m_file.c_str(), &other), SQLITE_OK);
    const std::string held = wanted == "wal" ? "delete" : "wal";
    ASSERT_EQ(sqlite3_exec(other, ("pragma journal_mode=" + held + "; begin; select * from t").c_str(), nullptr, nullptr, nullptr),
              SQLITE_OK);
    useStore("sqlite:" + m_file + "?busy_timeout_ms=100&journal_mode=" + wanted);
    EXPECT_EQ(rowsOf(db, "select journal_mode from pragma_journal_mode"), held);
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), "0");
    if (held == "delete") {
      useStore("sqlite:" + m_file);
      std::thread soon([other] { std::this_thread::sleep_for(std::chrono::milliseconds(200)), sqlite3_close(other); });
      EXPECT_EQ(rowsOf(db, "select journal_mode from pragma_journal_mode"), "wal");
      soon.join();
    } else {
      sqlite3_close(other);
    }
  }
}

TEST_F(SqliteReliability, StatementsThatAreKeptAreBoundedByBytes) {
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

TEST_F(SqliteReliability, ChildRefusesTheFilesThatItsParentHadOpen) {
  EXPECT_EQ(onAnotherThread([this] {
              EXPECT_EQ(db->beginTransaction(), 0U);
              EXPECT_EQ(run(db, "insert into t values(1, 1)"), kSuccess);
              // Another thread of this process is in a transaction while it forks.
              const bool refused = onAnotherThread([this] {
                return holdsInChild([this] {
                  const std::string same = run(db, "insert into t values(2, 2)");
                  const std::string linked = (link(m_file.c_str(), m_directory.file("l.db").c_str()),
                                              useStore("sqlite:" + m_directory.file("l.db")), run(db, "select 1"));
                  useStore("sqlite:" + m_directory.file("mine.db"));
                  return same == "vorn 18 FORKED_STORE" && linked == same && run(db, "create table t(n)") == kSuccess;
                });
              });
              EXPECT_TRUE(refused);
              return describe(db->commitTransaction());
            }),
            kSuccess);
  EXPECT_TRUE(holdsInChild([this] { return run(db, "insert into t values(2, 2)") == kSuccess; })) << "nothing was open";
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "2");
}

struct Operation {
  std::string name;
  bool nested, reading;  ///< in a transaction, beside an open reader
  long rows;             ///< a batch of so many, or as many as the statement writes
  std::string sql;
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

class SqliteMemory : public SqliteReliability, public testing::WithParamInterface<Operation> {
 protected:
  unsigned long operate() {
    const Operation& operation = GetParam();
    if (operation.sql.empty()) return db->ExecBatchInserter(m_batch);
    CVORNReader returned;
    return operation.name == "returning" ? db->execReadSQL(raw(operation.sql), returned) : db->execWriteSQL(raw(operation.sql));
  }

  /// Runs the operation while an allocation fails, and looks at what is left.
  /// @return whether there was such an allocation
  bool survives(long allocation, FailingAllocations::Extent extent) {
    const Operation& operation = GetParam();
    vorn::unbindStores();
    std::remove(m_file.c_str());
    useStore("sqlite:" + m_file + "?synchronous=off&busy_timeout_ms=0");
    SetUp();
    EXPECT_EQ(db->ExecBatchInserter(numbers(40)), 0U);
    if (operation.nested) { EXPECT_EQ(db->beginTransaction(), 0U); }
    CVORNReader reader;
    if (operation.reading) { EXPECT_EQ(db->execReadSQL(raw("select n from t order by n"), reader), 0U); }
    const std::string begun = operation.reading ? readOn(reader, 3) + "," : "";
    unsigned long outcome = 1;
    bool struck = false;
    {
      const FailingAllocations failing(allocation, extent);
      try {
        outcome = operate();
      } catch (const std::bad_alloc&) {}
      struck = failing.struck();
    }
    SCOPED_TRACE("allocation " + std::to_string(allocation) + ": " + describe(outcome));
    if (operation.reading) {
      const std::string rest = readOn(reader);
      const bool whole = vorn::lastResult().succeeded();
      EXPECT_EQ(begun + rest, whole ? counted(0, 40) : counted(0, 40).substr(0, begun.size() + rest.size()));
      reader.clear();
    }
    if (operation.nested && db->commitTransaction() != 0) {
      EXPECT_NE(outcome, 0U) << "the transaction was lost without a word";
      db->rollbackTransaction();
    }
    EXPECT_EQ(onPlain("begin immediate; rollback; select 1"), "1") << "a lock is held";
    EXPECT_EQ(onPlain("select count(*) from t"), std::to_string(40 + (outcome == 0 ? operation.rows : 0)));
    EXPECT_EQ(rowsOf(db, "select sum(n < 40) from t"), "40");
    return struck;
  }

 private:
  const BatchInserter m_batch = numbers(GetParam().rows, 1000);
};

TEST_P(SqliteMemory, FailedAllocationsLoseAndDoubleNothing) {
  for (const auto extent : {FailingAllocations::Extent::Once, FailingAllocations::Extent::Lasting}) {
    long allocation = 1;
    while (survives(allocation, extent) && !HasFailure()) ++allocation;
    EXPECT_GT(allocation, 5);
  }
  std::printf("%ld failures so far\n", FailingAllocations::total());
}

INSTANTIATE_TEST_SUITE_P(Operations, SqliteMemory,
                         testing::Values(Operation{"write", false, false, 1, "insert into t values(1000, 'it''s')"},
                                         Operation{"drain", false, true, 1, "insert into t values(1000, 'it''s')"},
                                         Operation{"batch", false, false, 120, ""}, Operation{"beside", false, true, 30, ""},
                                         Operation{"nested", true, false, 30, ""}, Operation{"both", true, true, 30, ""},
                                         Operation{"returning", false, false, 2,
                                                   "insert into t values(1000, 1), (1001, 2) returning n, zeroblob(99)"}),
                         [](const auto& operation) { return operation.param.name; });

}  // namespace
