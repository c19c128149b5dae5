#include <chrono>
#include <random>

#include "faults/HarmTest.h"
#include "faults/Storm.h"
#include "mariadb/GaleraCluster.h"

namespace {

/// VORN_SOAK_MINUTES has the storm last longer.
class MariaDbCluster : public HarmTest {
 protected:
  static GaleraCluster& cluster() {
    static GaleraCluster nodes;
    return nodes;
  }
};

TEST_F(MariaDbCluster, ATransactionIsRunAgainOnAnotherNodeWhenItsOwnLeaves) {
  useStore(cluster().url(0, 2));
  ASSERT_EQ(run(db, "create or replace table raised(n bigint primary key, v bigint)"), kSuccess);
  ASSERT_EQ(run(db, "insert into raised values(1, 0)"), kSuccess);
  cluster().query(0, "set global wsrep_provider_options='gmcast.isolate=1'");
  const std::string status = "set statement wsrep_sync_wait=0 for show status like 'wsrep_cluster_status'";
  while (cluster().query(0, status).find("non-Primary") == std::string::npos) usleep(10000);
  const std::string raise = "update raised set v = v + 1 where n = 1";
  EXPECT_EQ(run(db, raise), "mariadb 1047 ER_UNKNOWN_COM_ERROR");
  EXPECT_EQ(
      describe(vorn::retryTransaction(*db, [&](CVORN& store) { return store.execWriteSQL(raw(raise)); })),
      kSuccess);
  cluster().query(0, "set global wsrep_provider_options='gmcast.isolate=0'");
  cluster().waitUntilSynced();
  EXPECT_EQ(cluster().query(0, "select v from state.raised"), "1");
}

TEST_F(MariaDbCluster, NothingIsLostWhileNodesAreKilledAndFrozen) {
  const char* const chosen = std::getenv("VORN_SOAK_MINUTES");
  const int minutes = chosen == nullptr ? 0 : std::atoi(chosen);
  alarm(static_cast<unsigned>(minutes * 90 + 420));
  const unsigned seed = testSeed();
  std::mt19937 random(seed);
  const std::string url = cluster().url() + "?load_balance=random&connect_timeout=2&read_timeout=6";
  prepare(url);
  for (int node = 0; node < GaleraCluster::kNodes; ++node) cluster().query(node, "select n from state.r");
  // After a node has come back, connections are to be spread over all nodes again.
  const auto waitUntilAllServe = [&] {
    cluster().waitUntilSynced();
    useStore(url);
    sleep(2);
  };
  Storm storm(seed);
  storm.rage(1, [&] {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(minutes);
    int harm = 0;
    do {
      waitUntilAllServe();
      const int killed = static_cast<int>(random() % GaleraCluster::kNodes);
      const int frozen = (killed + 1) % GaleraCluster::kNodes;
      cluster().kill(killed);
      sleep(4);
      cluster().rejoin(killed);
      waitUntilAllServe();
      cluster().freeze(frozen);
      cluster().waitUntilSynced(killed, GaleraCluster::kNodes - 1);
      sleep(1);
      cluster().thaw(frozen);
      waitUntilAllServe();
      harm += 2;
      std::printf("nodes that did not come back by themselves: %d, ", cluster().restarts());
      storm.printProgress();
    } while (std::chrono::steady_clock::now() < end);
    return harm;
  });
  EXPECT_GT(storm.repeats(), 0) << "no conflict was met";
  useStore(cluster().url(0, 1) + "?sync_wait=1");
  storm.expectOn(db);
  const std::string rows = "select count(*), sum(crc32(concat_ws(',', n, v))) from state.t";
  const std::string first = cluster().query(0, rows);
  for (int node = 1; node < GaleraCluster::kNodes; ++node) {
    EXPECT_EQ(cluster().query(node, rows), first) << "node " << node;
  }
}

}  // namespace
