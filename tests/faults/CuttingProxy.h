#pragma once

#include <atomic>
#include <map>
#include <string>
#include <thread>

/// Passes on what clients and a server on this machine say to each other, and cuts a connection in the middle
/// of it, or lets it wait there.
class CuttingProxy {
 public:
  enum class Side { Client, Server };
  /// CutForAll: nobody is let in after it until disarm(). Stall: the byte and what follows come later.
  /// Mute: nothing more is passed on until disarm().
  enum class Harm { Cut, CutForAll, Stall, Mute };

  explicit CuttingProxy(int serverPort);
  ~CuttingProxy();
  CuttingProxy(const CuttingProxy&) = delete;
  CuttingProxy& operator=(const CuttingProxy&) = delete;

  int port() const { return m_port; }

  /// Does harm to the connection on which the byte comes that this side sends next, or so many later.
  void arm(Side side, long bytes, Harm harm);

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
  std::atomic<long> m_left{0};  ///< bytes up to the harm, its own included; 0: none is to be done
  std::atomic<Side> m_side{Side::Client};
  std::atomic<Harm> m_harm{Harm::Cut};
  std::atomic<bool> m_isShut{false}, m_isDone{false}, m_isOver{false};
  std::thread m_thread;
};
