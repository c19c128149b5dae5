#include <atomic>
#include <stdexcept>

#include "faults/HarmTest.h"

namespace {

/// How the transactions of one kind of store are made to conflict.
struct Conflict {
  std::string family;
  std::string options;      ///< with which transactions that read and write the same rows cannot all be kept
  std::string reads;        ///< the end of a select whose rows are written next
  std::string atCommit;     ///< options with which a commit can be refused
  std::string disturbance;  ///< statements of another connection for which it is; none where it never is
};

const Conflict kConflicts[] = {
    {"sqlite", "?busy_timeout_ms=1", "", "?busy_timeout_ms=1&journal_mode=delete", "select n from t"},
    {"postgresql",
     "?options=-c%20default_transaction_isolation%3Dserializable%20-c%20deadlock_timeout%3D20ms", "",
     "?options=-c%20default_transaction_isolation%3Dserializable",
     "begin;select sum(v) from t;update t set v = 100 where n = 2;commit"},
    {"mariadb", "", " lock in share mode", "", ""},
};

class Transactions : public HarmTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    m_url = GetParam().freshUrl();
    prepare(m_url);
    ASSERT_EQ(run(db, "insert into t values(1, 0)") + run(db, "insert into t values(2, 0)"),
              kSuccess + kSuccess);
  }

  const Conflict& conflict() const {
    for (const Conflict& each : kConflicts) {
      if (each.family == GetParam().family) return each;
    }
    throw std::runtime_error("no conflicts of " + GetParam().family);
  }

  /// Raises v of row 1 by one, by reading and writing it. A careless one ignores that its write fails.
  unsigned long raise(CVORN& store, bool isCareless) const {
    CVORNReader reader;
    const unsigned long code =
        store.execReadSQL(raw("select v from t where n = 1" + conflict().reads), reader);
    long v = 0;
    if (code != 0 || !reader.hasNextElement()) return code != 0 ? code : vorn::lastResult().errorCode();
    reader >> v;
    reader.clear();
    const unsigned long written =
        store.execWriteSQL(raw("update t set v = " + std::to_string(v + 1) + " where n = 1"));
    return isCareless ? 0 : written;
  }

  std::string m_url;
};

TEST_P(Transactions, OfEightThreadsRaiseOneCounterExactly) {
  constexpr int kThreads = 8, kTimes = 25;
  useStore(m_url + conflict().options);
  std::atomic<long> kept{0}, refused{0};
  const auto raiseOften = [&](const vorn::RetryPolicy& policy) {
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
      threads.emplace_back([&, number] {
        for (int time = 0; time < kTimes; ++time) {
          const unsigned long code = vorn::retryTransaction(
              database, [&](CVORN& store) { return raise(store, number % 2 == 0); }, policy);
          ++(code == 0 ? kept : refused);
          EXPECT_TRUE(code == 0 || vorn::errorClass(code) == vorn::ErrorClass::Retry) << describe(code);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  };
  raiseOften(vorn::RetryPolicy());
  EXPECT_EQ(refused, 0);
  vorn::RetryPolicy once;
  once.attempts = 1;
  raiseOften(once);
  EXPECT_GT(refused, 0) << "nothing was tested";
  EXPECT_EQ(rowsOf(db, "select v from t where n = 1"), std::to_string(kept));
}

TEST_P(Transactions, ThatLockRowsInOppositeOrderAreBothKept) {
  useStore(m_url + conflict().options);
  std::atomic<int> holding{0};
  const auto raiseBoth = [&](const std::string& first, const std::string& second) {
    return std::async(std::launch::async, [&, first, second] {
      return vorn::retryTransaction(database, [&](CVORN& store) {
        const unsigned long code = store.execWriteSQL(raw("update t set v = v + 1 where n = " + first));
        if (code != 0) return code;
        ++holding;
        for (int wait = 0; wait < 100 && holding < 2; ++wait)
          usleep(2000);  // in vain where the store takes turns
        return store.execWriteSQL(raw("update t set v = v + 1 where n = " + second));
      });
    });
  };
  auto up = raiseBoth("1", "2"), down = raiseBoth("2", "1");
  EXPECT_EQ(describe(up.get()) + describe(down.get()), kSuccess + kSuccess);
  EXPECT_EQ(rowsOf(db, "select v from t order by n"), "2;2");
}

TEST_P(Transactions, RefusedAtTheCommitAreRunAgain) {
  useStore(m_url + conflict().atCommit);
  ASSERT_TRUE(vorn::bindStore("NeUpgradeDB", m_url + conflict().atCommit).succeeded());
  MIRAsqlDB other(true);
  CVORNReader rows;  // the other connection's, open until the next attempt
  std::vector<std::string> written;
  const auto work = [&](CVORN& store) {
    rows.clear();
    const std::string sum = rowsOf(&store, "select sum(v) + 5 from t");
    const unsigned long code = store.execWriteSQL(raw("update t set v = " + sum + " where n = 1"));
    for (const std::string& sql : split(written.empty() ? conflict().disturbance : "", ";")) {
      rows.clear();
      if (sql.empty()) continue;
      EXPECT_EQ(describe(sql[0] == 's' ? other.execReadSQL(raw(sql), rows) : other.execWriteSQL(raw(sql))),
                kSuccess);
    }
    written.push_back(describe(code));
    return code;
  };
  EXPECT_EQ(describe(vorn::retryTransaction(*db, work)), kSuccess);
  EXPECT_EQ(written, std::vector<std::string>(conflict().disturbance.empty() ? 1 : 2, kSuccess));
  EXPECT_EQ(rowsOf(db, "select (select v from t where n = 1) - v from t where n = 2"), "5");
}

INSTANTIATE_TEST_SUITE_P(Stores, Transactions, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
