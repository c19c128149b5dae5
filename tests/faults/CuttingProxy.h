#pragma once

#include <atomic>
#include <map>
#include <string>
#include <thread>

/// Passes on what clients and a server on this machine say to each other, and cuts a connection in the middle
/// of it.
class CuttingProxy {
 public:
  enum class Side { Client, Server };

  explicit CuttingProxy(int serverPort);
  ~CuttingProxy();
  CuttingProxy(const CuttingProxy&) = delete;
  CuttingProxy& operator=(const CuttingProxy&) = delete;

  int port() const { return m_port; }

  /// Cuts the connection on which the byte comes that this side sends next, or so many later.
  /// @param lasting  whether nobody is let in after that, until disarm()
  void arm(Side side, long bytes, bool lasting);

  /// @return whether that byte has come
  bool disarm();

 private:
  /// One end of a connection: who is there, and the socket of the other end.
  struct End {
    Side side;
    int other;
  };

  void run();
  bool passOn(int from);
  void cut(int end);

  const int m_serverPort;
  int m_port = 0;
  const int m_listener;
  std::map<int, End> m_ends;    ///< by socket
  std::atomic<long> m_left{0};  ///< bytes up to the cut, its own included; 0: none is to be made
  std::atomic<Side> m_side{Side::Client};
  std::atomic<bool> m_isLasting{false}, m_isShut{false}, m_hasCut{false}, m_isOver{false};
  std::thread m_thread;
};
