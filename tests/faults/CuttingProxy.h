#pragma once

#include <atomic>
#include <map>
#include <mutex>
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

  /// Does no more harm from here on. @return whether that byte has come
  bool disarm();

 private:
  /// One end of a connection: who is there, and the socket of the other end.
  struct End {
    Side side;
    int other;
  };

  void run();
  void letIn();
  bool passOn(int from);
  void cut(int end);

  const int m_serverPort;
  int m_port = 0;
  const int m_listener;
  std::map<int, End> m_ends;  ///< by socket

  std::mutex m_mutex;  ///< held while something is passed on, so that none of the harm is done after disarm()
  long m_left = 0;     ///< bytes up to the harm, its own included; 0: none is to be done
  Side m_side = Side::Client;
  Harm m_harm = Harm::Cut;
  bool m_isShut = false, m_isDone = false;
  std::atomic<bool> m_isOver{false};
  std::thread m_thread;
};
