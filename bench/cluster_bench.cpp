// Transactions on a cluster of three nodes, by the number of nodes that are written to and by the share of
// transactions that change the same row.
#include <atomic>
#include <barrier>
#include <map>
#include <stdexcept>

#include "Harness.h"
#include "LibraryStore.h"
#include "Threads.h"
#include "mariadb/GaleraCluster.h"
#include "vorn/platform/logging.h"
#include "vorn/reader.h"
#include "vorn/transaction.h"

namespace {

constexpr std::size_t kThreads = 8;
constexpr std::size_t kRowsOfThread = 100;
constexpr const char* kSum = "select sum(v) from state.counter";

/// @return how many of the pool's connections each node has
std::map<std::string, std::size_t> connectionsOfNodes() {
  std::barrier all(static_cast<std::ptrdiff_t>(kThreads));
  std::vector<std::string> names(kThreads);
  bench::runThreads(kThreads, [&](std::size_t thread) {
    bench::LibraryStore store;
    store.begin();
    names[thread] = store.first("select @@wsrep_node_name");
    all.arrive_and_wait();
    store.commit();
  });
  std::map<std::string, std::size_t> counts;
  for (const std::string& name : names) ++counts[name];
  return counts;
}

// A connection goes to a node at random: until they are spread evenly.
void connect(const GaleraCluster& cluster, int nodes) {
  for (bool isEven = false; !isEven;) {
    bench::LibraryStore::close();
    bench::LibraryStore::bind(cluster.url(0, nodes) +
                              "?load_balance=random&pool_size=" + std::to_string(kThreads));
    const auto counts = connectionsOfNodes();
    isEven = counts.size() == static_cast<std::size_t>(nodes);
    for (const auto& [node, count] : counts) isEven = isEven && count >= kThreads / counts.size();
  }
}

/// Raises a counter in each transaction: of every hundred, `share` raise the same one.
class Raising {
 public:
  Raising(const GaleraCluster& cluster, std::size_t transactions, unsigned share)
      : m_cluster(cluster), m_transactions(transactions), m_share(share) {}

  void prepare(int nodes) {
    connect(m_cluster, nodes);
    m_before = std::stol(m_cluster.query(0, kSum));
    m_attempts = 0;
  }

  void run() {
    bench::runThreads(kThreads, [this](std::size_t thread) {
      MIRAsqlDB db(false);
      for (std::size_t i = 0; i < m_transactions / kThreads; ++i) {
        const bool isHot = i * 37 % 100 < m_share;
        const std::size_t row = isHot ? 0 : 1 + thread * kRowsOfThread + i % kRowsOfThread;
        bench::LibraryStore::check(raise(db, row));
      }
    });
  }

  /// @return the attempts that conflicts have undone, for a hundred transactions
  double finish() {
    const long done = static_cast<long>(m_transactions / kThreads * kThreads);
    if (std::stol(m_cluster.query(0, kSum)) != m_before + done) throw std::runtime_error("lost or doubled");
    return 100.0 * static_cast<double>(m_attempts - done) / static_cast<double>(done);
  }

 private:
  unsigned long raise(MIRAsqlDB& db, std::size_t row) {
    const std::string condition = " where n=" + std::to_string(row);
    vorn::RetryPolicy patient;
    patient.attempts = 1000;
    return vorn::retryTransaction(
        db,
        [&](CVORN& store) -> unsigned long {
          ++m_attempts;
          CVORNsqlstr query, change;
          query.assign("select v from counter" + condition);
          change.assign("update counter set v=v+1" + condition);
          CVORNReader reader;
          const unsigned long code = store.execReadSQL(query, reader);
          return code != 0 ? code : store.execWriteSQL(change);
        },
        patient);
  }

  const GaleraCluster& m_cluster;
  const std::size_t m_transactions;
  const unsigned m_share;
  long m_before = 0;
  std::atomic<long> m_attempts{0};
};

void measure(bench::Harness& harness) {
  if (!harness.options().wants("nodes")) return;    // takes a while to start
  vorn::setLogSink([](const vorn::LogRecord&) {});  // of every conflict
  const GaleraCluster cluster;
  cluster.query(0, "create table state.counter(n bigint primary key, v bigint not null)");
  const std::string rows = std::to_string(kThreads * kRowsOfThread);
  cluster.query(0, "insert into state.counter select seq, 0 from state.seq_0_to_" + rows);
  const std::size_t transactions = harness.options().size(2000);
  for (int nodes = 1; nodes <= GaleraCluster::kNodes; ++nodes) {
    bench::Workload workload{"nodes", "nodes: " + std::to_string(nodes), "transaction", transactions};
    workload.mostRounds = 3;
    workload.x = static_cast<std::size_t>(nodes);
    workload.sideUnit = "attempts undone for 100 transactions";
    for (const unsigned share : {0U, 1U, 10U, 100U}) {
      auto raising = std::make_shared<Raising>(cluster, transactions, share);
      workload.competitors.push_back(
          {std::to_string(share) + " % of them on one row", [raising](auto&) { raising->run(); },
           [raising, nodes] { raising->prepare(nodes); }, [raising](auto&) { return raising->finish(); }});
    }
    harness.measure(workload);
  }
  bench::LibraryStore::close();
}

}  // namespace

int main(int argc, char** argv) {
  return bench::Harness::runProgram(argc, argv, "cluster", measure);
}
