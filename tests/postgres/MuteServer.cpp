#include "postgres/MuteServer.h"

#include <arpa/inet.h>
#include <sys/socket.h>

MuteServer::MuteServer() : m_listener(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  bind(m_listener, reinterpret_cast<sockaddr*>(&address), size);
  getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
  listen(m_listener, 8);
  m_port = ntohs(address.sin_port);
  m_thread = std::thread([this] { greet(); });
}

MuteServer::~MuteServer() {
  shutdown(m_listener, SHUT_RDWR);
  m_thread.join();
  close(m_listener);
}

void MuteServer::greet() {
  // Authentication is done; ready for a query.
  constexpr char kGreeting[] = "R\0\0\0\x08\0\0\0\0Z\0\0\0\x05I";
  std::vector<int> connections;
  for (int connection; (connection = accept(m_listener, nullptr, nullptr)) >= 0;) {
    char startup[1024];
    if (read(connection, startup, sizeof startup) > 0) static_cast<void>(write(connection, kGreeting, sizeof kGreeting - 1) > 0);
    connections.push_back(connection);
  }
  for (const int connection : connections) close(connection);
}
