#include "faults/CuttingProxy.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

bool sendAll(int file, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = send(file, bytes, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes += sent, size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

struct CuttingProxy::Link {
  int client, server;
  std::atomic<long> bytesLeft;
  std::atomic<bool> isCut{false};
  std::thread up, down;

  Link(int clientFile, int serverFile, long bytes) : client(clientFile), server(serverFile), bytesLeft(bytes) {}
  void end() const { shutdown(client, SHUT_RDWR), shutdown(server, SHUT_RDWR); }
};

CuttingProxy::CuttingProxy(int serverPort, unsigned seed)
    : m_serverPort(serverPort), m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), m_random(seed) {
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_listener, 64) != 0) throw std::runtime_error("listen");
  getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
  m_port = ntohs(address.sin_port);
  m_accepting = std::thread([this] { accept(); });
}

CuttingProxy::~CuttingProxy() {
  shutdown(m_listener, SHUT_RDWR);
  m_accepting.join();
  for (const auto& link : m_links) link->end();
  for (const auto& link : m_links) link->up.join(), link->down.join(), close(link->client), close(link->server);
  close(m_listener);
}

void CuttingProxy::accept() {
  for (int client; (client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(m_serverPort);
    connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    // From a few bytes of the greeting to large batches.
    const long bytes = static_cast<long>(m_random() % (1U << (6 + m_random() % 14)));
    m_links.push_back(std::make_unique<Link>(client, server, bytes));
    Link& link = *m_links.back();
    link.up = std::thread([this, &link] { pass(link, link.client, link.server); });
    link.down = std::thread([this, &link] { pass(link, link.server, link.client); });
  }
}

void CuttingProxy::pass(Link& link, int from, int to) {
  char bytes[4096];
  for (ssize_t size; (size = recv(from, bytes, sizeof bytes, 0)) > 0;) {
    const long left = m_isCalm ? size : link.bytesLeft.fetch_sub(size);
    if (!sendAll(to, bytes, static_cast<std::size_t>(std::clamp<long>(left, 0, size)))) break;
    if (left >= size) continue;
    if (!link.isCut.exchange(true)) ++m_cuts;
    break;
  }
  link.end();
}
