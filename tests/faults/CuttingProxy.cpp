#include "faults/CuttingProxy.h"

#include <poll.h>

#include <algorithm>
#include <vector>

#include "faults/Loopback.h"

CuttingProxy::CuttingProxy(int serverPort)
    : m_serverPort(serverPort), m_listener(listenOnLoopback(m_port)), m_thread([this] { run(); }) {}

CuttingProxy::~CuttingProxy() {
  m_isOver = true;
  m_thread.join();
  for (const auto& [socket, end] : m_ends) close(socket);
  close(m_listener);
}

void CuttingProxy::arm(Side side, long bytes, Harm harm) {
  const std::lock_guard lock(m_mutex);
  m_side = side;
  m_harm = harm;
  m_isDone = false;
  m_left = bytes;
}

bool CuttingProxy::disarm() {
  const std::lock_guard lock(m_mutex);
  m_left = 0;
  m_isShut = false;
  return m_isDone;
}

void CuttingProxy::run() {
  while (!m_isOver) {
    std::vector<pollfd> ends{{m_listener, POLLIN, 0}};
    for (const auto& [socket, end] : m_ends) ends.push_back({socket, POLLIN, 0});
    if (poll(ends.data(), ends.size(), 20) <= 0) continue;
    const std::lock_guard lock(m_mutex);
    for (std::size_t at = ends.size() - 1; at > 0; --at) {
      const bool isThere = m_ends.count(ends[at].fd) != 0;
      if (ends[at].revents != 0 && isThere && !passOn(ends[at].fd)) cut(ends[at].fd);
    }
    // The last, as it may be given the number of a socket that has just been closed.
    if (ends[0].revents != 0) letIn();
  }
}

void CuttingProxy::letIn() {
  const int client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
  const int server = m_isShut ? -1 : connectToLoopback(m_serverPort);
  if (server < 0) {
    close(client);
    return;
  }
  m_ends[client] = {Side::Client, server};
  m_ends[server] = {Side::Server, client};
}

bool CuttingProxy::passOn(int from) {
  char bytes[65536];
  const ssize_t size = recv(from, bytes, sizeof bytes, 0);
  if (size <= 0) return false;
  if (m_isDone && m_harm == Harm::Mute) return true;
  ssize_t allowed = size;
  if (m_left > 0 && m_ends[from].side == m_side) {
    if (m_left <= size) {
      allowed = m_left - 1;
      m_isDone = true;
      m_isShut = m_harm == Harm::CutForAll;
    }
    m_left -= std::min<long>(m_left, size);
  }
  const auto passes = [&](ssize_t sent, ssize_t end) {
    while (sent < end) {
      const ssize_t now =
          send(m_ends[from].other, bytes + sent, static_cast<std::size_t>(end - sent), MSG_NOSIGNAL);
      if (now <= 0) return false;
      sent += now;
    }
    return true;
  };
  if (!passes(0, allowed)) return false;
  if (allowed < size && m_harm != Harm::Stall) return m_harm == Harm::Mute;
  if (allowed < size) usleep(20000);
  return passes(allowed, size);
}

void CuttingProxy::cut(int end) {
  for (const int each : {end, m_ends[end].other}) {
    close(each);
    m_ends.erase(each);
  }
}
