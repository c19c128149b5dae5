#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

/// Passes connections on to a server of this machine and cuts each of them at a random byte.
class CuttingProxy {
 public:
  CuttingProxy(int serverPort, unsigned seed);
  /// Cuts what is left and waits for its threads.
  ~CuttingProxy();
  CuttingProxy(const CuttingProxy&) = delete;
  CuttingProxy& operator=(const CuttingProxy&) = delete;

  int port() const { return m_port; }
  int cuts() const { return m_cuts; }

  /// From now on nothing is cut.
  void calm() { m_isCalm = true; }

 private:
  struct Link;
  void accept();
  void pass(Link& link, int from, int to);

  int m_serverPort;
  int m_listener;
  int m_port;
  std::mt19937 m_random;
  std::atomic<int> m_cuts{0};
  std::atomic<bool> m_isCalm{false};
  std::vector<std::unique_ptr<Link>> m_links;  // of the accepting thread, until that has ended
  std::thread m_accepting;
};
