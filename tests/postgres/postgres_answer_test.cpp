#include <chrono>
#include <csignal>
#include <fstream>
#include <future>

#include "faults/Loopback.h"
#include "postgres/PostgresServer.h"
#include "postgres_example.h"
#include "store/store_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

/// Every answer belongs to its question, whatever the server does in between.
class PostgresAnswer : public StoreTest {
 protected:
  void SetUp() override { useStore(m_url + "?pool_size=2"); }

  /// Runs SQL on a connection of the test's own.
  void onServer(const std::string& sql) {
    sharedPostgresServer().query(sql, m_url.substr(m_url.rfind('/') + 1));
  }

  const std::string m_url = sharedPostgresServer().freshDatabase();
};

TEST_F(PostgresAnswer, BatchSeesWhatWasCommittedWhileItWaited) {
  const std::pair<const char*, const char*> cases[] = {
      {"create rule x as on insert to t do instead nothing", "success, 0"},
      {"create table u(n bigint); create rule x as on insert to t do instead insert into u values(new.n)",
       "success, 0"},
      {"alter table t alter n add generated always as identity", "postgresql 428C9 generated_always, 0"},
      {"alter table t enable row level security; alter table t force row level security; alter table t owner "
       "to bounded",
       "postgresql 42501 insufficient_privilege, 0"}};
  onServer("create role bounded; grant bounded to vorn");
  for (const auto& [change, outcome] : cases) {
    onServer("drop table if exists t, u; create table t(n bigint not null, v bigint)");
    ASSERT_EQ(db->beginTransaction(), 0U);
    ASSERT_EQ(run(db, "lock table t in access exclusive mode"), kSuccess);
    auto outcomeElsewhere = std::async(std::launch::async, [this] {
      if (db->beginTransaction() != 0 || run(db, "set local role bounded") != kSuccess)
        return std::string("no role");
      const std::string done = describe(db->ExecBatchInserter(numbers(3000)));
      db->rollbackTransaction();
      return done;
    });
    while (sharedPostgresServer().query("select count(*) from pg_locks where not granted") == "0")
      usleep(1000);
    for (const std::string& statement : split(change, ";")) ASSERT_EQ(run(db, statement), kSuccess);
    ASSERT_EQ(run(db, "grant all on t to bounded"), kSuccess);
    ASSERT_EQ(db->commitTransaction(), 0U);
    EXPECT_EQ(outcomeElsewhere.get() + ", " + rowsOf(db, "select count(*) from t"), outcome) << change;
  }
}

TEST_F(PostgresAnswer, PeerThatGoesMuteHoldsNobody) {
  int port = 0;
  const int listener = listenOnLoopback(port);
  const TemporaryDirectory directory;
  const std::string services = directory.file("services");
  std::ofstream(services) << "[mute]\nhost=127.0.0.1\nport=" << port << "\nconnect_timeout=2\n";
  setenv("PGSERVICEFILE", services.c_str(), 1);
  for (const std::string& url :
       {"postgresql://me@127.0.0.1:" + std::to_string(port) + "/x?sslmode=disable&connect_timeout=2",
        std::string("postgresql:///x?service=mute&user=me&sslmode=disable")}) {
    useStore(url);
    auto connection = std::async(std::launch::async, [listener] {
      const int peer = accept(listener, nullptr, nullptr);
      constexpr char kGreeting[] = "R\0\0\0\x08\0\0\0\0Z\0\0\0\x05I";  // authenticated, ready for a query
      send(peer, kGreeting, sizeof kGreeting - 1, MSG_NOSIGNAL);
      return peer;  // and never a word more
    });
    const auto start = Clock::now();
    EXPECT_EQ(run(db, "select 1"), "postgresql 08001 sqlclient_unable_to_establish_sqlconnection") << url;
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(6)) << url;
    close(connection.get());
  }
  close(listener);
  unsetenv("PGSERVICEFILE");
}

TEST_F(PostgresAnswer, ReadGivenUpUnderAStoppedServerLeavesNoThreadAndNoDescriptor) {
  const auto entries = [](const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
  };
  ASSERT_EQ(rowsOf(db, "select 1"), "1");
  const auto threads = entries("/proc/self/task"), files = entries("/proc/self/fd");
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select pg_backend_pid(), generate_series(1, 100000000)"), reader), 0U);
  int process = 0;
  reader >> process;
  ASSERT_EQ(kill(process, SIGSTOP), 0);
  const auto start = Clock::now();
  reader.clear();
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
  EXPECT_EQ(entries("/proc/self/task"), threads);
  EXPECT_LT(entries("/proc/self/fd"), files);
  kill(process, SIGCONT);
  EXPECT_NE(log.texts().find("given up"), std::string::npos);
  EXPECT_EQ(rowsOf(db, "select 41"), "41");
  EXPECT_EQ(onAnotherThread([this] { return rowsOf(db, "select 43"); }), "43");
}

TEST_F(PostgresAnswer, NotificationsAreTakenWhileTheConnectionIsHeld) {
  CVORNReader holding;
  ASSERT_EQ(db->execReadSQL(raw("select 1"), holding), 0U);
  ASSERT_EQ(run(db, "listen news"), kSuccess);
  const long before = residentKilobytes();
  for (int round = 0; round < 20; ++round) {
    onServer("select pg_notify('news', repeat('x', 7900) || n) from generate_series(1, 100) n");
    ASSERT_EQ(rowsOf(db, "select 1"), "1");
  }
  EXPECT_LT(residentKilobytes() - before, 8192);
}

TEST_F(PostgresAnswer, TransactionIsRetriedAsThePageShows) {
  useStore(m_url + "?options=-c%20default_transaction_isolation%3Dserializable");
  ASSERT_EQ(run(db, "create table t as select 0 as n"), kSuccess);
  const auto raiseOften = [this] {
    for (int time = 0; time < 20; ++time) EXPECT_EQ(raiseCounter(database), 0U);
  };
  std::thread beside(raiseOften);
  raiseOften();
  beside.join();
  EXPECT_EQ(rowsOf(db, "select n from t"), "40");
}

TEST_F(PostgresAnswer, CertificatesAreCheckedAsTheUriAsks) {
  const TemporaryDirectory directory;
  const std::string own = directory.file("own");
  const std::string other = directory.file("other");
  for (const std::string& file : {own, other}) {
    ASSERT_EQ(std::system((VORN_TEST_SOURCES "/postgres/make_certificate.sh " + file).c_str()), 0);
  }
  const PostgresServer server("ssl=on\nssl_cert_file='" + own + "'\nssl_key_file='" + own + ".key'\n");
  const std::string refused = "postgresql 08001 sqlclient_unable_to_establish_sqlconnection";
  const std::pair<std::string, std::string> cases[] = {{"sslmode=verify-full&sslrootcert=" + own, "true"},
                                                       {"sslmode=disable", "false"},
                                                       {"sslmode=verify-ca&sslrootcert=" + other, refused},
                                                       {"sslmode=verify-full&sslrootcert=/nowhere", refused}};
  for (const auto& [options, outcome] : cases) {
    useStore(server.url() + "?" + options);
    EXPECT_EQ(rowsOf(db, "select ssl from pg_stat_ssl where pid = pg_backend_pid()"), outcome) << options;
  }
}

}  // namespace
