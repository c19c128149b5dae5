#include "mariadb/GaleraCluster.h"
#include "store/store_fixture.h"

namespace {

class MariaDbCluster : public StoreTest {
 protected:
  static GaleraCluster& cluster() {
    static GaleraCluster nodes;
    return nodes;
  }
};

TEST_F(MariaDbCluster, ReadsOnAnotherNodeSeeWhatWasAcknowledgedIfTheyWaitForIt) {
  constexpr int kRows = 500;
  MIRAsqlDB reading(true);
  useStore(cluster().url(0, 1));
  ASSERT_EQ(run(db, "create or replace table seen(n bigint primary key)"), kSuccess);
  int missed[2] = {};
  for (const int wait : {0, 1}) {
    const std::string url = cluster().url(1, 1) + "?sync_wait=" + std::to_string(wait);
    ASSERT_TRUE(vorn::bindStore("NeUpgradeDB", url).succeeded());
    for (int row = 0; row < kRows; ++row) {
      const std::string n = std::to_string(wait * kRows + row);
      ASSERT_EQ(run(db, "insert into seen values(" + n + ")"), kSuccess);
      missed[wait] += rowsOf(&reading, "select n from seen where n=" + n) == n ? 0 : 1;
    }
  }
  std::printf("of %d rows, a read on another node missed %d at once and %d with sync_wait=1\n", kRows,
              missed[0], missed[1]);
  EXPECT_GT(missed[0], 0);
  EXPECT_EQ(missed[1], 0);
}

}  // namespace
