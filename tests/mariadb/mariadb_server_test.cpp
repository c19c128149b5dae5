#include <chrono>
#include <csignal>
#include <future>
#include <set>

#include "faults/Loopback.h"
#include "mariadb/MariaDbServer.h"
#include "store/store_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

/// What a server, and the way to it, can do to a store.
class MariaDbServers : public StoreTest {
 protected:
  void SetUp() override { useStore(m_url + "?pool_size=2"); }

  /// @return the row of a query on a store that is bound anew
  std::string ask(const std::string& url, const std::string& sql) {
    useStore(url);
    return rowsOf(db, sql);
  }

  const std::string m_url = sharedMariaDbServer().freshDatabase();
};

TEST_F(MariaDbServers, ServerThatStandsStillHoldsNobodyBeyondTheLimit) {
  MariaDbServer server;
  useStore(server.freshDatabase() + "?read_timeout=1&connect_timeout=1");
  ASSERT_EQ(run(db, "create table t(n int)"), kSuccess);
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select seq, repeat('x', 300) from seq_1_to_900000"), reader), 0U);
  server.signal(SIGSTOP);
  const auto start = Clock::now();
  reader.clear();
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
  EXPECT_EQ(run(db, "insert into t values(1)"), "mariadb 2013 CR_SERVER_LOST");
  server.signal(SIGCONT);
  EXPECT_EQ(run(db, "insert into t values(2)"), kSuccess);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "insert into t values(3)"), kSuccess);
  server.signal(SIGSTOP);
  EXPECT_EQ(run(db, "insert into t values(4)"), "vorn 15 CONNECTION_LOST");
  server.signal(SIGCONT);
  EXPECT_EQ(describe(db->commitTransaction()), "vorn 10 TRANSACTION_LOST");
  EXPECT_EQ(rowsOf(db, "select n from t where n > 1"), "2");
}

// The server sends rows as they are taken, and locks them meanwhile.
TEST_F(MariaDbServers, DeadlockUnderAnOpenReaderIsTheOutcomeOfTheEnd) {
  ASSERT_TRUE(vorn::bindStore("NeUpgradeDB", m_url).succeeded());
  MIRAsqlDB rival(true);
  ASSERT_EQ(run(db, "create table t(n int primary key, v longtext)"), kSuccess);
  ASSERT_EQ(run(db, "create table log(n int)"), kSuccess);
  ASSERT_EQ(run(db, "insert into t select seq, repeat('x', 100000) from seq_1_to_400"), kSuccess);
  for (const char* const end : {"commit", "given up, commit", "rollback"}) {
    std::promise<void> holds, opened;
    auto blocked = std::async(std::launch::async, [&] {
      rival.beginTransaction();
      std::string outcome = run(&rival, "insert into t select -seq, '' from seq_1_to_5000");
      outcome += run(&rival, "update t set v = '' where n = 399");
      holds.set_value();
      opened.get_future().wait();
      outcome += run(&rival, "update t set v = '' where n = 1");
      rival.rollbackTransaction();
      return outcome;
    });
    holds.get_future().wait();
    ASSERT_EQ(db->beginTransaction(), 0U);
    ASSERT_EQ(run(db, "insert into log values(1)"), kSuccess);
    CVORNReader reader;
    ASSERT_EQ(db->execReadSQL(raw("select v from t where n > 0 for update"), reader), 0U);
    opened.set_value();
    usleep(300000);
    if (end[0] == 'g') reader.clear();
    if (end[0] == 'r')
      EXPECT_EQ(run(db, end), kSuccess);
    else
      EXPECT_NE(db->commitTransaction(), 0U);
    EXPECT_EQ(blocked.get(), std::string(kSuccess) + kSuccess + kSuccess);
    EXPECT_EQ(rowsOf(db, "select count(*) from log"), "0");
  }
}

TEST_F(MariaDbServers, CertificatesAreCheckedAsTheUrlAsks) {
  const TemporaryDirectory directory;
  const std::string own = directory.file("own");
  const std::string other = directory.file("other");
  for (const std::string& file : {own, other}) {
    TestProgram::execute({VORN_TEST_SOURCES "/postgres/make_certificate.sh", file});
    TestProgram::execute({"/bin/chmod", "644", file + ".key"});
  }
  const MariaDbServer server("ssl_cert=" + own + "\nssl_key=" + own + ".key\n");
  const std::string refused = "mariadb 2026 CR_SSL_CONNECTION_ERROR";
  const std::pair<std::string, std::string> cases[] = {{"", "no"},
                                                       {"ssl=off", "no"},
                                                       {"ssl_ca=" + own, "yes"},
                                                       {"ssl=on&tls_version=TLSv1.2&ssl_ca=" + own, "yes"},
                                                       {"ssl_verify_server_cert=off", "yes"},
                                                       {"ssl=on", refused},
                                                       {"ssl_ca=" + other, refused},
                                                       {"ssl_ca=/nowhere", refused}};
  for (const auto& [options, outcome] : cases) {
    EXPECT_EQ(ask(server.url() + "?" + options,
                  "select if(variable_value = '', 'no', 'yes') from information_schema.session_status"
                  " where variable_name = 'ssl_cipher'"),
              outcome)
        << options;
  }
  const std::string elsewhere = replaced(server.url(), "127.0.0.1", "localhost");
  EXPECT_EQ(ask(elsewhere + "?ssl_ca=" + own, "select 1"), refused) << "it is made out to the address";
  EXPECT_EQ(ask(sharedMariaDbServer().url() + "?ssl_verify_server_cert=off", "select 1"), refused)
      << "the server does not encrypt";

  // An encrypted connection is cut as others are.
  useStore(server.url() + "?pool_size=1&ssl_ca=" + own);
  const auto killOthers = [&server] {
    server.query(
        "begin not atomic for c in (select id from information_schema.processlist where user = 'vorn' and id "
        "<> connection_id()) do kill c.id; end for; end");
    usleep(50000);
  };
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select seq, repeat('x', 300) from seq_1_to_900000"), reader), 0U);
  killOthers();
  reader.clear();
  ASSERT_EQ(rowsOf(db, "select 1"), "1");
  ASSERT_EQ(db->beginTransaction(), 0U);
  killOthers();
  EXPECT_EQ(run(db, "do 0"), "vorn 10 TRANSACTION_LOST");
  db->rollbackTransaction();
  EXPECT_EQ(rowsOf(db, "select seq from seq_1_to_3"), "1;2;3");
}

TEST_F(MariaDbServers, AHostThatCannotBeHadIsPassedOver) {
  int port = 0;
  const int mute = listenOnLoopback(port);  // it takes connections, and says nothing
  const MariaDbServer second("report_host=second\n");
  const MariaDbServer third("report_host=third\n");
  const std::string query = "select @@report_host";
  const auto url = [&](const std::string& hosts, const std::string& options) {
    return replaced(second.url(), second.host(), hosts) + "?connect_timeout=1" + options;
  };
  const std::string dead = "127.0.0.1:1,127.0.0.1:" + std::to_string(port) + ",";
  const auto begun = Clock::now();
  EXPECT_EQ(ask(url(dead + second.host() + "," + third.host(), ""), query), "second");
  EXPECT_LT(Clock::now() - begun, std::chrono::milliseconds(2900));
  EXPECT_EQ(ask(url(dead + "127.0.0.1:1", ""), query), "mariadb 2002 CR_CONNECTION_ERROR");
  second.signal(SIGSTOP);
  EXPECT_EQ(ask(url(second.host() + "," + third.host(), ""), query), "third");
  second.signal(SIGCONT);
  std::set<std::string> met;
  for (int time = 0; time < 40 && met.size() < 2; ++time) {
    met.insert(ask(url("127.0.0.1:1," + second.host() + "," + third.host(), "&load_balance=random"), query));
  }
  EXPECT_EQ(met, (std::set<std::string>{"second", "third"}));
  EXPECT_EQ(ask(replaced(third.url(), third.host(), "") + "?socket=" + third.socket(), query), "third");
  close(mute);
}

}  // namespace
