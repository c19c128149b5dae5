#include <csignal>
#include <tuple>

#include "postgres/PostgresTest.h"
#include "postgres_retry.h"

namespace {

using PostgresStore = PostgresTest;

TEST_F(PostgresStore, ServerRestartedWhileIdleIsNotNoticed) {
  PostgresServer server;
  useStore(server.url());
  ASSERT_EQ(run(db, "create table t(n bigint)"), kSuccess);
  for (const int signal : {SIGINT, SIGQUIT}) {
    server.stop(signal);
    server.start();
    EXPECT_EQ(run(db, "insert into t values(1)"), kSuccess);
  }
  server.query("select pg_terminate_backend(" + rowsOf(db, "select pg_backend_pid()") + ", 5000)");
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "2");
  EXPECT_EQ(log.texts(), "");
}

TEST_F(PostgresStore, TransactionIsRetriedAsThePageShows) {
  useStore(m_url + "?options=-c%20default_transaction_isolation%3Dserializable");
  ASSERT_EQ(run(db, "create table t as select 0 as n"), kSuccess);
  int attempts = 0;
  const auto work = [&](CVORN& store) {
    const std::string seen = rowsOf(&store, "select n + 1 from t");
    if (++attempts == 1) {
      EXPECT_EQ(onAnotherThread([this] { return run(db, "update t set n = 5"); }), kSuccess);
    }
    return store.execWriteSQL(raw("update t set n = " + seen));
  };
  EXPECT_EQ(runInTransaction(database, work), 0U);
  EXPECT_EQ(rowsOf(db, "select n from t"), "6");
  EXPECT_EQ(attempts, 2);
}

TEST_F(PostgresStore, CertificatesAreCheckedAsTheUriAsks) {
  const TemporaryDirectory directory;
  const std::string own = directory.file("own"), other = directory.file("other");
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
