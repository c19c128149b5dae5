#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

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
