#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

/// @return a socket that is connected to a port of this machine, or -1
inline int connectToLoopback(int port) {
  const int connected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(connected, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return connected;
  close(connected);
  return -1;
}

/// @return a socket that listens on this machine at a free port, which it tells
inline int listenOnLoopback(int& port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, any, size) != 0 || listen(listener, 64) != 0 || getsockname(listener, any, &size) != 0) {
    throw std::runtime_error("listen");
  }
  port = ntohs(address.sin_port);
  return listener;
}

inline int freeLoopbackPort() {
  int port = 0;
  close(listenOnLoopback(port));
  return port;
}
