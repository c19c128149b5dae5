#include "mariadb/GaleraCluster.h"

#include <mysql.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

constexpr std::chrono::seconds kPatience{60};

bool comesTrue(std::chrono::seconds patience, const std::function<bool()>& isSo) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!isSo()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    usleep(20000);
  }
  return true;
}

std::string lastLines(const std::string& file) {
  std::ifstream stream(file);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  return text.substr(text.size() - std::min<std::size_t>(text.size(), 1000));
}

void waitUntil(const std::string& what, const std::function<bool()>& isSo) {
  if (!comesTrue(kPatience, isSo)) throw std::runtime_error("waited in vain: " + what);
}

}  // namespace

GaleraCluster::GaleraCluster() {
  const std::string network =
      "127." + std::to_string(1 + getpid() / 256 % 250) + "." + std::to_string(getpid() % 256) + ".";
  for (int node = 0; node < kNodes; ++node) m_nodes[node].address = network + std::to_string(node + 1);
  // All nodes begin with the same data, so that none has to send its own to another.
  start(0, "--wsrep-new-cluster");
  std::string failure;
  const bool isThere = comesTrue(kPatience, [&] {
    try {
      ask(0, "root", "", std::string("grant all on *.* to vorn identified by '") + kPassword + "'");
      ask(0, "root", "", "create database if not exists state");
      return true;
    } catch (const std::runtime_error& refused) {
      failure = refused.what();
      return false;
    }
  });
  if (!isThere) throw std::runtime_error(failure + "; " + lastLines(m_nodes[0].directory.file("log")));
  m_nodes[0].end(SIGTERM);
  std::filesystem::remove(m_nodes[0].directory.file("data/galera.cache"));
  for (int node = 1; node < kNodes; ++node) {
    std::filesystem::copy(m_nodes[0].directory.file("data"), m_nodes[node].directory.file("data"),
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
                                    m_nodes[node].directory.file(""), m_nodes[node].address, addresses};
  if (!option.empty()) words.push_back(option);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  m_nodes[node].process = fork();
  if (m_nodes[node].process != 0) return;
  closefrom(3);
  execv(arguments[0], arguments.data());
  _exit(127);
}

void GaleraCluster::Node::end(int signal) {
  if (process <= 0) return;
  ::kill(process, signal);
  waitpid(process, nullptr, 0);
  process = -1;
}

void GaleraCluster::freeze(int node) const {
  ::kill(m_nodes[node].process, SIGSTOP);
}

void GaleraCluster::thaw(int node) const {
  ::kill(m_nodes[node].process, SIGCONT);
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
  for (int node = 0; node < kNodes; ++node) {
    if (comesTrue(kPatience / 2, [&] { return isSynced(node, kNodes); })) continue;
    ++m_restarts;
    kill(node);
    rejoin(node);
    waitUntilSynced(node, kNodes);
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
  const std::unique_ptr<MYSQL, void (*)(MYSQL*)> connection(mysql_init(nullptr), mysql_close);
  const unsigned limit = 10;
  const unsigned longLimit = 600;  // counts millions of rows
  mysql_options(connection.get(), MYSQL_OPT_CONNECT_TIMEOUT, &limit);
  mysql_options(connection.get(), MYSQL_OPT_READ_TIMEOUT, &longLimit);
  mysql_options(connection.get(), MYSQL_INIT_COMMAND, "set session wsrep_sync_wait = 15");
  const auto failUnless = [&](bool isDone) {
    if (!isDone) throw std::runtime_error(sql + ": " + mysql_error(connection.get()));
  };
  failUnless(mysql_real_connect(connection.get(), m_nodes[node].address.c_str(), user, password, nullptr,
                                13306, nullptr, 0) != nullptr);
  failUnless(mysql_query(connection.get(), sql.c_str()) == 0);
  const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(mysql_store_result(connection.get()),
                                                                mysql_free_result);
  failUnless(mysql_errno(connection.get()) == 0);
  std::string fields;
  while (MYSQL_ROW row = result == nullptr ? nullptr : mysql_fetch_row(result.get())) {
    fields.clear();
    for (unsigned field = 0; field < mysql_num_fields(result.get()); ++field) {
      fields.append(field == 0 ? "" : "|").append(row[field] == nullptr ? "~" : row[field]);
    }
  }
  return fields;
}
