// What outlives calls: processes that fork, threads and objects that end.
#include <fcntl.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <list>
#include <set>

#include "faults/HarmTest.h"

namespace {

class Lifetime : public HarmTest, public testing::WithParamInterface<StoreKind> {
 protected:
  /// Runs a disabled test as a program of its own on the store. @return whether it ended well
  static bool runs(const char* program, const std::string& url) {
    return holdsInChild([&] {
      setenv("VORN_STORE_DEFAULT", url.c_str(), 1);
      const std::string filter = std::string("--gtest_filter=LifetimeProgram.DISABLED_") + program;
      execl("/proc/self/exe", "store_tests", "--gtest_also_run_disabled_tests", "--gtest_brief=1",
            filter.c_str(), nullptr);
      return false;
    });
  }
};

struct AtEnd {
  std::function<void()> work;
  ~AtEnd() {
    if (work) work();
  }
};

// A program of its own, run by the next test on its store.
TEST(LifetimeProgram, DISABLED_StaticObjectsRunStatements) {
  static MIRAsqlDB database(false);
  static const auto expect = [](std::initializer_list<const char*> statements) {
    for (const char* const sql : statements) {
      if (run(&database, sql) != kSuccess) _exit(2);
    }
  };
  // Made before the client library of a store is first used, which ends its own things before this one.
  static AtEnd last;
  static CVORNReader reader;
  EXPECT_EQ(database.execReadSQL(raw("select n from t"), reader), 0U);
  static AtEnd third;  // in the reverse order in which they go
  static AtEnd second;
  static AtEnd first;
  first.work = [] { expect({"begin", "insert into t values(1, 0)", "commit"}); };
  second.work = [] { expect({"begin", "insert into t values(2, 0)"}); };
  third.work = [] { expect({"commit", "begin", "insert into t values(3, 0)"}); };
  last.work = [] { expect({"rollback", "insert into t values(4, 0)"}); };
}

TEST_P(Lifetime, StaticObjectsThreadEndsAndTheirLogSinksRunStatements) {
  const std::string url = GetParam().freshUrl();
  useStore(url);
  ASSERT_EQ(run(db, "create table t (n bigint primary key, v int)"), kSuccess);
  EXPECT_TRUE(runs("StaticObjectsRunStatements", url));
  EXPECT_EQ(rowsOf(db, "select n from t order by n"), "1;2;4");

  EXPECT_EQ(run(db, "delete from t"), kSuccess);
  int line = 10;
  vorn::setLogSink([&](const vorn::LogRecord& record) {
    if (record.text.find("thread ended") == std::string::npos) return;
    EXPECT_EQ(run(db, "insert into t values(" + std::to_string(line++) + ", 0)"), kSuccess);
  });
  std::thread([this] {
    thread_local AtEnd first;
    first.work = [this] {
      EXPECT_EQ(run(db, "insert into t values(20, 0)"), kSuccess);
      EXPECT_EQ(db->beginTransaction(), 0U);
      EXPECT_EQ(run(db, "insert into t values(21, 0)"), kSuccess);
    };
    EXPECT_EQ(db->beginTransaction(), 0U);
    EXPECT_EQ(run(db, "insert into t values(22, 0)"), kSuccess);
  }).join();
  vorn::setLogSink({});
  EXPECT_EQ(rowsOf(db, "select n from t order by n"), "10;11;20");
}

// A program of its own, which leaves while eight threads write. What they were told goes to a file.
TEST(LifetimeProgram, DISABLED_EndsWhileThreadsWrite) {
  const int told = open(std::getenv("VORN_TEST_TOLD"), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  static std::atomic<int> written{0};
  for (long thread = 0; thread < 8; ++thread) {
    std::thread([thread, told] {
      MIRAsqlDB database(false);
      for (long operation = getpid() * 1000L * 8 + thread;; operation += 8) {
        const long rows = thread % 2 == 0 ? 1 : 500;
        const std::string line = std::to_string(operation) + "|" + std::to_string(rows) + "\n";
        if (HarmTest::send(&database, operation, 0, rows) != 0) continue;
        if (write(told, line.data(), line.size()) < 0) abort();
        ++written;
      }
    }).detach();
  }
  while (written < 20) usleep(1000);
  if (std::getenv("VORN_TEST_KILLED") != nullptr) raise(SIGKILL);
  std::exit(0);
}

TEST_P(Lifetime, AProcessExitsOrIsKilledWhileItsThreadsWrite) {
  const TemporaryDirectory directory;
  setenv("VORN_TEST_TOLD", directory.file("told").c_str(), 1);
  const std::string url = GetParam().freshUrl() + "?acquire_timeout_ms=2000" + GetParam().plainQuery;
  prepare(url);
  constexpr int kRounds = repetitions(20);
  for (int round = 0; round < kRounds; ++round) {
    const bool isKilled = round % 4 != 0;
    isKilled ? setenv("VORN_TEST_KILLED", "1", 1) : unsetenv("VORN_TEST_KILLED");
    EXPECT_NE(runs("EndsWhileThreadsWrite", url), isKilled);
  }
  std::set<std::string> found;
  for (const std::string& operation : split(rowsOf(db, Ledger::kQuery), ";")) {
    const std::vector<std::string> numbers = split(operation, "|");
    EXPECT_TRUE(numbers[1] == numbers[2] && (numbers[1] == "1" || numbers[1] == "500")) << operation;
    found.insert(numbers[0] + "|" + numbers[1]);
  }
  std::ifstream told(directory.file("told"));
  long count = 0;
  for (std::string line; std::getline(told, line); ++count) EXPECT_EQ(found.count(line), 1U) << line;
  EXPECT_GE(count, kRounds * 20);
  EXPECT_EQ(rowsOf(db, GetParam().integritySql), "ok");
}

// Some leave a transaction open, which is rolled back, or a reader, whose rows another thread takes, also
// after the store was unbound.
TEST_P(Lifetime, AThousandShortThreadsLeaveThingsOpen) {
  constexpr int kThreads = repetitions(1000);
  const std::string url =
      GetParam().freshUrl() + "?pool_size=12&acquire_timeout_ms=5000" + GetParam().plainQuery;
  prepare(url);
  std::mt19937 random(testSeed());
  Ledger ledger;
  for (int ended = 0; ended < kThreads && !HasFailure();) {
    std::list<Reading> left;
    std::vector<std::thread> threads;
    for (; threads.size() < 8; ++ended) {
      const auto choice = random() % 5;
      const long operation = ledger.begin(), rows = 1 + static_cast<long>(random() % 5);
      Reading& reading = left.emplace_back();
      threads.emplace_back([&, choice, operation, rows] {
        MIRAsqlDB own(false);
        EXPECT_TRUE(choice == 0 || own.beginTransaction() == 0);
        EXPECT_EQ(describe(send(&own, operation, 0, rows)), kSuccess);
        EXPECT_TRUE(choice != 1 || own.commitTransaction() == 0);
        ledger.note(operation, rows, choice < 2 ? Ledger::Told::Done : Ledger::Told::Undone);
        if (choice == 2 || reading.start(&own) != 0) return;
        reading.take(static_cast<long>(choice) * 60);
      });
    }
    for (std::thread& thread : threads) thread.join();
    if (random() % 4 == 0) {
      vorn::unbindStores();
      useStore(url);
    }
    for (Reading& reading : left) {
      EXPECT_TRUE(reading.last == 0 || (reading.endsWell() && reading.last == kReadRows)) << reading.last;
    }
  }
  ledger.expectIn(rowsOf(db, Ledger::kQuery));
  EXPECT_EQ(rowsOf(db, GetParam().integritySql), "ok");
}

INSTANTIATE_TEST_SUITE_P(Stores, Lifetime, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
