#include "mariadb/GaleraCluster.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include "mariadb/MariaDbServer.h"

namespace {

constexpr std::chrono::seconds kPatience{150};

void waitUntil(const std::string& what, const std::function<bool()>& isSo) {
  if (!TestProgram::comesTrue(kPatience, isSo)) throw std::runtime_error("waited in vain: " + what);
}

}  // namespace

GaleraCluster::GaleraCluster() {
  const std::string network =
      "127." + std::to_string(1 + getpid() / 256 % 250) + "." + std::to_string(getpid() % 256) + ".";
  for (int node = 0; node < kNodes; ++node) m_nodes[node].address = network + std::to_string(node + 1);
  // All nodes begin with the same data, so that none has to send its own to another.
  start(0, "--wsrep-new-cluster");
  waitUntil("the first node", [&] {
    try {
      ask(0, "root", "", std::string("grant all on *.* to vorn identified by '") + kPassword + "'");
      ask(0, "root", "", "create database if not exists state");
      return true;
    } catch (const std::runtime_error&) {
      return false;
    }
  });
  m_nodes[0].program.stop(SIGTERM);
  std::filesystem::remove(m_nodes[0].program.file("data/galera.cache"));
  for (int node = 1; node < kNodes; ++node) {
    std::filesystem::copy(m_nodes[0].program.file("data"), m_nodes[node].program.file("data"),
                          std::filesystem::copy_options::recursive);
  }
  start(0, "--wsrep-new-cluster");
  waitUntilSynced(0, 1);
  for (int node = 1; node < kNodes; ++node) rejoin(node);
  waitUntilSynced();
}

void GaleraCluster::start(int node, const std::string& option) {
  std::string addresses;
  for (const Node& each : m_nodes) addresses.append(addresses.empty() ? "" : ",").append(each.address);
  std::vector<std::string> words = {VORN_TEST_SOURCES "/mariadb/galera_node.sh",
                                    m_nodes[node].program.file(""), m_nodes[node].address, addresses};
  if (!option.empty()) words.push_back(option);
  m_nodes[node].program.launch(words);
}

bool GaleraCluster::isSynced(int node, int members) const {
  try {
    return query(node,
                 "select a.variable_value, b.variable_value from information_schema.global_status a, "
                 "information_schema.global_status b where a.variable_name = 'wsrep_local_state_comment' "
                 "and b.variable_name = 'wsrep_cluster_size'") == "Synced|" + std::to_string(members);
  } catch (const std::runtime_error&) {
    return false;
  }
}

void GaleraCluster::waitUntilSynced(int node, int members) const {
  waitUntil(m_nodes[node].address, [&] { return isSynced(node, members); });
}

void GaleraCluster::waitUntilSynced() {
  const auto isWhole = [this] { return isSynced(0, kNodes) && isSynced(1, kNodes) && isSynced(2, kNodes); };
  for (int attempt = 0; !TestProgram::comesTrue(kPatience / 3, isWhole); ++attempt) {
    if (attempt == 3) throw std::runtime_error("the nodes do not find each other");
    for (int node = 0; node < kNodes; ++node) {
      const auto isIn = [&] { return isSynced(node, 1) || isSynced(node, 2) || isSynced(node, kNodes); };
      if (TestProgram::comesTrue(kPatience / 15, isIn)) continue;
      ++m_restarts;
      kill(node);
      goOnWithout(node);
      rejoin(node);
    }
  }
}

void GaleraCluster::goOnWithout(int node) {
  const int others[] = {(node + 1) % kNodes, (node + 2) % kNodes};
  const auto goesOn = [&] {
    return std::ranges::any_of(others, [&](int other) { return isSynced(other, 1) || isSynced(other, 2); });
  };
  if (TestProgram::comesTrue(kPatience / 15, goesOn)) return;
  for (const int other : others) {
    try {
      query(other, "set global wsrep_provider_options='pc.bootstrap=1'");
      return;
    } catch (const std::runtime_error&) {  // it is not there
    }
  }
}

std::string GaleraCluster::url(int first, int count) const {
  std::string hosts;
  for (int node = first; node < first + count; ++node) {
    hosts.append(node == first ? "" : ",").append(m_nodes[node].address).append(":13306");
  }
  return std::string("mariadb://vorn:") + kPassword + "@" + hosts + "/state";
}

std::string GaleraCluster::ask(int node, const char* user, const char* password,
                               const std::string& sql) const {
  const std::unique_ptr<MYSQL, void (*)(MYSQL*)> connection(
      connectToMariaDb(m_nodes[node].address, 13306, user, password, ""), mysql_close);
  lastRowOf(connection.get(), "set session wsrep_sync_wait = 15");
  return lastRowOf(connection.get(), sql);
}
