#pragma once

#include <string>
#include <thread>

#include "store/store_fixture.h"

/// A server that greets each connection as one that is ready, and then answers no more.
class MuteServer {
 public:
  MuteServer();
  ~MuteServer();
  MuteServer(const MuteServer&) = delete;
  MuteServer& operator=(const MuteServer&) = delete;

  int port() const { return m_port; }
  const TemporaryDirectory& directory() const { return m_directory; }

 private:
  void greet();

  TemporaryDirectory m_directory;
  int m_listener;
  int m_port = 0;
  std::thread m_thread;
};
