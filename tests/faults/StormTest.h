#pragma once

#include "faults/HarmTest.h"
#include "faults/Storm.h"
#include "faults/TestServer.h"

/// A Storm on a server of the test's own. What was acknowledged is there, once, whatever is done to the server.
class StormTest : public HarmTest {
 protected:
  /// Does harm to a random one of the library's connections. @return how many were met
  virtual int strike(const std::string& verb, const std::string& condition) = 0;
  /// @return the socket from which strike() strikes
  virtual int strikingSocket() = 0;

  void use(const std::string& url) {
    useStore(url + "?pool_size=" + std::to_string(Storm::kThreads) + m_options);
  }

  void rage(int harms, unsigned longestPause, const std::function<int()>& harm) {
    m_storm.rage(harms, [&] {
      usleep(static_cast<unsigned>(m_random() % longestPause));
      return harm();
    });
    use(m_url);
    m_storm.expectOn(db);
  }

  /// Ends one of this process's connections to the server, wherever in a message it is.
  /// @return whether there was one
  bool cutOne(int port) {
    constexpr int kFiles = 64;
    for (int tried = 0, file = static_cast<int>(m_random() % kFiles); tried < kFiles;
         ++tried, file = (file + 1) % kFiles) {
      sockaddr_in peer{};
      socklen_t size = sizeof peer;
      const bool isConnection =
          getpeername(file, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && ntohs(peer.sin_port) == port;
      if (isConnection && file != strikingSocket()) return shutdown(file, SHUT_RDWR) == 0;
    }
    return false;
  }

  std::string m_url;
  std::string m_options;
  unsigned m_seed = testSeed();
  std::mt19937 m_random{m_seed};
  Storm m_storm{m_seed};
};
