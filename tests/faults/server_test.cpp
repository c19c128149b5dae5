#include <netinet/tcp.h>
#include <sys/socket.h>

#include <chrono>
#include <csignal>
#include <fstream>

#include "faults/CuttingProxy.h"
#include "faults/HarmTest.h"
#include "faults/Storm.h"
#include "faults/TestServer.h"

namespace {

using Clock = std::chrono::steady_clock;

/// What a server does to those who wait for it.
class Servers : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  static auto entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
  }

  TestServer& m_server = GetParam().server();
};

TEST_P(Servers, ReadGivenUpUnderAStoppedServerLeavesNoThreadAndNoDescriptor) {
  useStore(m_server.url() + "?pool_size=2");
  ASSERT_EQ(rowsOf(db, "select 1"), "1");
  int idle = 0;
  for (int file = 3; file < 256 && idle != 30; ++file) {
    socklen_t size = sizeof idle;
    getsockopt(file, IPPROTO_TCP, TCP_KEEPIDLE, &idle, &size);
  }
  EXPECT_EQ(idle, 30) << "seconds until the server is asked whether it is there";
  const auto threads = entries("/proc/self/task"), files = entries("/proc/self/fd");
  CVORNReader reader;
  const std::string many = "with recursive c(n) as (select 1 union all select n + 1 from c where n < 100000)";
  ASSERT_EQ(db->execReadSQL(raw(many + " select repeat('x', 3000) from c"), reader), 0U);
  m_server.signal(SIGSTOP);
  const auto start = Clock::now();
  reader.clear();
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
  EXPECT_EQ(entries("/proc/self/task"), threads);
  EXPECT_LT(entries("/proc/self/fd"), files);
  m_server.signal(SIGCONT);
  EXPECT_NE(log.texts().find("given up"), std::string::npos);
  EXPECT_EQ(rowsOf(db, "select 41"), "41");
  EXPECT_EQ(onAnotherThread([this] { return rowsOf(db, "select 43"); }), "43");
}

TEST_P(Servers, PeerThatGoesMuteHoldsNobodyBeyondTheLimit) {
  CuttingProxy proxy(m_server.port());
  const std::string port = std::to_string(proxy.port());
  const std::string url = replaced(m_server.url(), m_server.host(), "127.0.0.1:" + port);
  std::vector<std::string> urls = {url + "?connect_timeout=2" + GetParam().plainQuery};
  const TemporaryDirectory directory;
  if (GetParam().family == "postgresql") {
    setenv("PGSERVICEFILE", directory.file("services").c_str(), 1);
    std::ofstream(directory.file("services"))
        << "[mute]\nport=" << port << "\nhost=127.0.0.1\nconnect_timeout=2\nsslmode=disable\n";
    urls.push_back(replaced(url, "127.0.0.1:" + port, "") + "?service=mute");
  }
  // At the last byte the session is being set up.
  for (const long byte : {1, 250, GetParam().family == "mariadb" ? 500 : 610}) {
    for (const std::string& each : urls) {
      proxy.arm(CuttingProxy::Side::Server, byte, CuttingProxy::Harm::Mute);
      useStore(each);
      const auto start = Clock::now();
      EXPECT_EQ(vorn::errorClass(db->execWriteSQL(raw("select 1"))), vorn::ErrorClass::ConnectionLost)
          << each;
      EXPECT_NE(vorn::lastResult().detail().value_or(""), "") << each;
      EXPECT_LT(Clock::now() - start, std::chrono::seconds(6)) << each;
      EXPECT_TRUE(proxy.disarm());
    }
  }
}

/// A Storm on a server. What was acknowledged is there, once, whatever is done to the server.
class Storms : public HarmTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override { prepare(m_url); }

  void rage(int harms, unsigned longestPause, const std::function<int()>& harm) {
    m_storm.rage(harms, [&] {
      usleep(static_cast<unsigned>(m_random() % longestPause));
      return harm();
    });
    useStore(m_url);
    m_storm.expectOn(db);
  }

  /// Ends a random one of the server's statements or connections. @return how many were met
  int strike(TestServer::Struck what) const { return std::stoi(m_server.query(m_server.striking(what))); }

  /// Ends one of this process's connections to the server, wherever in a message it is.
  /// @return how many there were
  int cutOne() {
    constexpr int kFiles = 64;
    for (int tried = 0, file = static_cast<int>(m_random() % kFiles); tried < kFiles; ++tried) {
      file = (file + 1) % kFiles;
      sockaddr_in peer{};
      socklen_t size = sizeof peer;
      const bool isConnection = getpeername(file, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
      if (isConnection && ntohs(peer.sin_port) == m_server.port()) return shutdown(file, SHUT_RDWR) + 1;
    }
    return 0;
  }

  TestServer& m_server = GetParam().server();
  const std::string m_url =
      GetParam().freshUrl() + "?pool_size=" + std::to_string(Storm::kThreads) + GetParam().plainQuery;
  const unsigned m_seed = testSeed();
  std::mt19937 m_random{m_seed};
  Storm m_storm{m_seed};
};

TEST_P(Storms, FiveHundredCancellations) {
  rage(repetitions(500), 1000, [this] { return strike(TestServer::Struck::Statement); });
}

TEST_P(Storms, FiveHundredCutConnections) {
  rage(repetitions(250), 20000, [this] { return strike(TestServer::Struck::Connection); });
  rage(repetitions(250), 20000, [this] { return cutOne(); });
}

TEST_P(Storms, FiveKilledAndStoppedServers) {
  if (GetParam().family != "mariadb") GTEST_SKIP() << "a server that another one takes over from";
  useStore(m_url + "&read_timeout=2");
  rage(5, 600000, [this] {
    m_server.stop(SIGKILL);
    usleep(100000);
    m_server.start();
    m_server.signal(SIGSTOP);
    usleep(2500000);
    m_server.signal(SIGCONT);
    return 1;
  });
}

INSTANTIATE_TEST_SUITE_P(Stores, Servers, testing::ValuesIn(remoteKinds()),
                         [](const auto& kind) { return kind.param.name; });

INSTANTIATE_TEST_SUITE_P(Stores, Storms, testing::ValuesIn(remoteKinds()),
                         [](const auto& kind) { return kind.param.name; });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Servers);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Storms);

}  // namespace
