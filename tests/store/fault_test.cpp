#include <map>
#include <optional>
#include <random>

#include "faults/CuttingProxy.h"
#include "faults/FailingAllocations.h"
#include "faults/FailingVfs.h"
#include "faults/HarmTest.h"

// Every operation is run again and again, with its first, second, third … allocation failing, or operation of
// the file system, or byte of the conversation with the server, until none is left to fail. After each one:
// what was acknowledged is there, once; nothing else is, and no half batch; a reader has delivered exactly
// its rows or has ended with a failure; and neither a lock nor a connection is missing.
namespace {

using Side = CuttingProxy::Side;
using Harm = CuttingProxy::Harm;
using Disk = FailingVfs::Kind;

/// What fails, and where: an allocation, what `disk` says, or the connection at a byte that `side` sends; one that only
/// stalls there does no harm.
struct Fault {
  StoreKind store;
  std::string name;
  std::string query = {};
  std::optional<Disk> disk = {};
  std::optional<Side> side = {};
  bool stalls = false;

  bool isOfMemory() const { return !disk && !side; }
};

std::vector<Fault> allFaults() {
  std::vector<Fault> faults;
  for (const StoreKind& kind : storeKinds()) {
    faults.push_back({kind, kind.name, kind.plainQuery});
    if (!kind.isRemote) continue;
    faults.push_back({kind, "CutAtTheClients" + kind.name, kind.plainQuery, {}, Side::Client});
    faults.push_back({kind, "CutAtTheServers" + kind.name, kind.plainQuery, {}, Side::Server});
    faults.push_back({kind, "StalledAtTheClients" + kind.name, kind.plainQuery, {}, Side::Client, true});
    faults.push_back({kind, "StalledAtTheServers" + kind.name, kind.plainQuery, {}, Side::Server, true});
  }
  const StoreKind sqlite = storeKinds().back();
  const std::pair<const char*, Disk> disks[] = {{"FailingDisk", Disk::IoError},
                                                {"ShortWrites", Disk::ShortWrite},
                                                {"FullDisk", Disk::Full},
                                                {"BusyFile", Disk::Busy}};
  for (const auto& [name, disk] : disks) {
    for (const char* const mode : {"wal", "delete"}) {
      faults.push_back({sqlite, name + std::string("_") + mode + "_Sqlite",
                        std::string("&busy_timeout_ms=20&journal_mode=") + mode, disk});
    }
  }
  return faults;
}

std::map<std::string, long> struckOf;

class Faults : public HarmTest, public testing::WithParamInterface<Fault> {
 protected:
  void SetUp() override {
    alarm(600);
    if (GetParam().disk) FailingVfs::install();
    m_url = GetParam().store.freshUrl();
    if (GetParam().side) m_url = throughProxy(m_url);
    m_url += "?pool_size=2&acquire_timeout_ms=2000" + GetParam().query;
    prepare(m_url);
    ASSERT_EQ(run(db, "create index i on t(v)"), kSuccess);
  }

  /// All of them take an hour.
  long stride() {
    const unsigned long most = GetParam().stalls ? 900 : GetParam().side ? 400 : GetParam().disk ? 8 : 1;
    return std::getenv("VORN_TEST_EVERY_FAULT") != nullptr ? 1 : 1 + static_cast<long>(m_random() % most);
  }

  std::string throughProxy(const std::string& url) {
    const std::size_t end = url.rfind('/'), begin = url.rfind(':', end) + 1;
    m_proxy.emplace(std::stoi(url.substr(begin, end - begin)));
    return url.substr(0, begin) + std::to_string(m_proxy->port()) + url.substr(end);
  }

  void arm(bool isLasting) {
    if (GetParam().disk) FailingVfs::arm(*GetParam().disk, m_first, isLasting);
    const Harm harm = GetParam().stalls ? Harm::Stall : isLasting ? Harm::CutForAll : Harm::Cut;
    if (GetParam().side) m_proxy->arm(*GetParam().side, m_first, harm);
    if (GetParam().isOfMemory()) FailingAllocations::arm(m_first, isLasting);
  }

  void disarm() {
    if (GetParam().disk) m_struck = FailingVfs::disarm();
    if (GetParam().side) m_struck = m_proxy->disarm();
    // A cut in a message that nobody answers is noticed by the next call, unless its connection has answered
    // just now and is not looked at.
    if (GetParam().side && m_struck) usleep(2000);
    if (GetParam().isOfMemory()) m_struck = FailingAllocations::disarm();
  }

  /// Runs a round for every fault that there can be, once and lasting, on a connection that has run it before,
  /// and where opening one is not the work of a client library, on a new one of a new thread.
  template <typename Round>
  void strikeEverywhere(Round round) {
    for (const bool isLasting : {false, true}) {
      strike(isLasting, "", round);
      if (GetParam().store.isRemote) continue;
      strike(isLasting, " on a new connection", [&] {
        useStore(m_url);
        // The C library itself ends a process that has no memory for the destructor of a thread's first
        // object.
        std::thread([&] {
          vorn::lastResult();
          round();
        }).join();
      });
    }
  }

  template <typename Round>
  void strike(bool isLasting, const std::string& where, Round round) {
    m_isLasting = isLasting;
    m_struck = true;
    for (m_first = 1; m_struck && !HasFailure(); m_first += stride()) {
      m_struck = false;
      round();
      expectHealed();
      struckOf[GetParam().name] += m_struck ? 1 : 0;
      const char* const which = isLasting ? " and all after it fail" : " fails";
      if (HasFailure()) ADD_FAILURE() << "number " << m_first << which << where;
    }
    EXPECT_EQ(rowsOf(db, GetParam().store.integritySql), "ok");
  }

  /// Runs `call`, which returns a code, while something fails. @return whether it says that it was done
  template <typename Call>
  bool isDone(Call call) {
    bool done = false;
    arm(m_isLasting);
    try {
      done = call() == 0;
      EXPECT_TRUE(done || GetParam().isOfMemory() || vorn::lastResult().detail().value_or("") != "");
    } catch (const std::bad_alloc&) {
      EXPECT_TRUE(GetParam().isOfMemory());
    }
    disarm();
    EXPECT_TRUE(done || !GetParam().stalls);
    return done;
  }

  /// What was acknowledged is there whole, anything else not at all, unless an answer can be lost.
  void expectRows(long operation, long rows, bool done, bool canBeLost) {
    const std::string found =
        rowsOf(db, "select count(*), count(distinct n) from t where v = " + std::to_string(operation));
    const std::string all = std::to_string(rows) + "|" + std::to_string(rows);
    if (found != "0|0" || done) {
      EXPECT_EQ(found, done || canBeLost ? all : "0|0") << "operation " << operation;
    }
  }

  /// Both connections of the pool are good, and neither holds a lock.
  void expectHealed() {
    Reading reading;
    EXPECT_EQ(describe(reading.start(db)), kSuccess);
    EXPECT_TRUE(reading.endsWell());
    EXPECT_EQ(describe(send(db, 0, 0, 3)), kSuccess);
    EXPECT_EQ(onAnotherThread([this] { return run(db, "insert into t values(-1, 0)"); }), kSuccess);
    EXPECT_EQ(describe(db->beginTransaction()), kSuccess);
    EXPECT_EQ(describe(db->rollbackTransaction()), kSuccess);
  }

  /// Inserts two rows of an operation by a statement that returns them.
  unsigned long insertReturning(long operation) {
    const std::string v = std::to_string(operation);
    CVORNReader returned;
    return db->execReadSQL(raw("insert into t values(0, " + v + "), (1, " + v + ") returning n"), returned);
  }

  std::string m_url;
  std::optional<CuttingProxy> m_proxy;
  std::mt19937 m_random{testSeed()};
  long m_operation = 0;
  long m_first = 0;  // what is to fail
  bool m_isLasting = false;
  bool m_struck = false;
};

TEST_P(Faults, WritesAndBatchesAloneAndBesideReaders) {
  for (const long rows : {1, 2, 5, 250}) {
    for (const bool besideReaders : {false, true}) {
      strikeEverywhere([&] {
        Reading reading;
        Reading second;
        if (besideReaders) {
          EXPECT_EQ(reading.start(db) + second.start(db), 0U);
          reading.take(kReadRows - 20);
          second.take(kReadRows - 5);
        }
        const long operation = ++m_operation;
        const bool done =
            isDone([&] { return rows == 2 ? insertReturning(operation) : send(db, operation, 0, rows); });
        EXPECT_TRUE(!besideReaders || (reading.endsWell() && second.endsWell()));
        expectRows(operation, rows, done, GetParam().store.isRemote);
      });
    }
  }
}

TEST_P(Faults, Read) {
  // From the first row on, up to the last one, and what a write has moved into memory.
  const std::pair<long, bool> cases[] = {{0, false}, {kReadRows - 20, false}, {kReadRows - 20, true}};
  for (const auto& [from, moves] : cases) {
    strikeEverywhere([&, from = from, moves = moves] {
      Reading reading;
      bool runs = from > 0 && reading.start(db) == 0;
      reading.take(from);
      EXPECT_TRUE(!moves || send(db, 0, 0, 1) == 0);
      isDone([&] {
        const unsigned long code = runs ? 0 : reading.start(db);
        runs = code == 0;
        if (runs) reading.take(from + 21);
        return code;
      });
      EXPECT_TRUE(!runs || reading.endsWell()) << "row " << reading.last;
    });
  }
}

TEST_P(Faults, BatchInATransaction) {
  for (const long rows : {5, 250}) {
    strikeEverywhere([&] {
      const long before = ++m_operation;
      const long batch = ++m_operation;
      const long after = ++m_operation;
      EXPECT_EQ(db->beginTransaction(), 0U);
      EXPECT_EQ(send(db, before, 0, 1), 0U);
      const bool stored = isDone([&] { return send(db, batch, 0, rows); });
      const bool wentOn = send(db, after, 0, 1) == 0;
      const bool committed = db->commitTransaction() == 0;
      if (!committed) db->rollbackTransaction();
      expectRows(before, 1, committed, false);
      expectRows(batch, rows, committed && stored, false);
      expectRows(after, 1, committed && wentOn, false);
    });
  }
}

TEST_P(Faults, WholeTransaction) {
  std::vector<std::string> ends = {"", "commit"};
  if (GetParam().store.name == "MariaDb") ends.emplace_back("begin not atomic commit; select 1; end");
  for (const std::string& end : ends) {
    strikeEverywhere([&] {
      const long operation = ++m_operation;
      const bool done = isDone([&] {
        unsigned long code = end.empty() ? db->beginTransaction() : db->execWriteSQL(raw("begin"));
        if (code == 0) code = send(db, operation, 0, 1);
        if (code == 0) code = send(db, operation, 1, 20);
        if (code != 0) return code;
        CVORNReader none;
        return end.empty() ? db->commitTransaction() : db->execReadSQL(raw(end), none);
      });
      const bool undone = !done && db->rollbackTransaction() == 0;
      expectRows(operation, 21, done, GetParam().store.isRemote && !undone);
    });
  }
}

TEST_P(Faults, EndOfAThread) {
  for (const bool inTransaction : {false, true}) {
    const long operation = ++m_operation;
    std::thread([&] {
      EXPECT_TRUE(!inTransaction || db->beginTransaction() == 0);
      EXPECT_EQ(send(db, operation, 0, 1), 0U);
      m_first = 1;
      arm(true);
    }).join();
    disarm();
    expectRows(operation, 1, !inTransaction, false);
    expectHealed();
  }
}

TEST_P(Faults, AreEnough) {
  const long struck = struckOf[GetParam().name];
  std::printf("faults injected, %s: %ld\n", GetParam().name.c_str(), struck);
#ifdef VORN_TEST_REPLACES_MALLOC
  EXPECT_GE(struck, GetParam().isOfMemory() ? 500 : 40) << "where all cases have run";
#endif
}

INSTANTIATE_TEST_SUITE_P(Stores, Faults, testing::ValuesIn(allFaults()),
                         [](const auto& fault) { return fault.param.name; });

}  // namespace
