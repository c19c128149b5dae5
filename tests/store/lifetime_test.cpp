// What outlives calls: processes that fork, threads and objects that end.
#include <functional>

#include "store/store_fixture.h"

namespace {

class Lifetime : public StoreTest, public testing::WithParamInterface<StoreKind> {};

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
  EXPECT_TRUE(holdsInChild([&] {
    setenv("VORN_STORE_DEFAULT", url.c_str(), 1);
    unsetenv("LOCPATH");
    execl("/proc/self/exe", "store_tests", "--gtest_also_run_disabled_tests", "--gtest_brief=1",
          "--gtest_filter=LifetimeProgram.*", nullptr);
    return false;
  }));
  EXPECT_EQ(rowsOf(db, "select n from t order by n"), "1;2;4");

  EXPECT_EQ(run(db, "delete from t"), kSuccess);
  vorn::setLogSink([this](const vorn::LogRecord& record) {
    if (record.text.find("thread ended") == std::string::npos) return;
    EXPECT_EQ(run(db, "insert into t values(10, 0)"), kSuccess);
  });
  std::thread([this] {
    thread_local AtEnd first;
    first.work = [this] { EXPECT_EQ(run(db, "insert into t values(11, 0)"), kSuccess); };
    EXPECT_EQ(db->beginTransaction(), 0U);
    EXPECT_EQ(run(db, "insert into t values(12, 0)"), kSuccess);
  }).join();
  vorn::setLogSink({});
  EXPECT_EQ(rowsOf(db, "select n from t order by n"), "10;11");
}

INSTANTIATE_TEST_SUITE_P(Stores, Lifetime, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
