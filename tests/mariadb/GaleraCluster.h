#pragma once

#include "faults/TestProgram.h"

/// A cluster of three nodes of the test's own, each at an address of its own of the loopback network and with its
/// data in a temporary directory. They end with the object, and with the thread that started them.
///
/// Nodes are numbered from 0. A call that takes longer than two and a half minutes throws.
class GaleraCluster {
 public:
  static constexpr int kNodes = 3;

  /// Makes the data and starts all nodes.
  GaleraCluster();
  GaleraCluster(const GaleraCluster&) = delete;
  GaleraCluster& operator=(const GaleraCluster&) = delete;

  /// Ends a node without a chance to say good-bye.
  void kill(int node) { m_nodes[node].program.stop(SIGKILL); }
  /// Starts a killed node, and returns at once. It catches up with what the others have written meanwhile.
  void rejoin(int node) { start(node, {}); }
  /// Lets a node do nothing, while its sockets stay open.
  void freeze(int node) const { m_nodes[node].program.signal(SIGSTOP); }
  void thaw(int node) const { m_nodes[node].program.signal(SIGCONT); }

  /// Waits until a node says that its part of the cluster has so many members, and that it is in step with them.
  void waitUntilSynced(int node, int members) const;
  /// Waits until all nodes are in step. A node that was cast out may give up in place of coming back ("failed to form
  /// singleton view"), until its server is started again. So it is when it is not there after most of a minute, as by
  /// whoever watches over it.
  void waitUntilSynced();
  /// @return how often a node was started again because it did not come back
  int restarts() const { return m_restarts; }

  /// @return a node's address, which is its name too
  const std::string& address(int node) const { return m_nodes[node].address; }
  /// @return the URL of `count` nodes
  std::string url(int first = 0, int count = kNodes) const;
  /// Runs SQL on a connection of the test's own that sees what any node has acknowledged.
  /// @return the fields of the last row, joined by '|'
  std::string query(int node, const std::string& sql) const { return ask(node, "vorn", kPassword, sql); }

  static constexpr const char* kPassword = "geheim";

 private:
  struct Node {
    TestProgram program;
    std::string address;
  };

  void start(int node, const std::string& option);
  std::string ask(int node, const char* user, const char* password, const std::string& sql) const;

  /// Has one of the other nodes go on with those that it sees, where none does: they were slow at the same time, and
  /// none has a majority any more.
  void goOnWithout(int node);

  bool isSynced(int node, int members) const;

  Node m_nodes[kNodes];
  int m_restarts = 0;
};
