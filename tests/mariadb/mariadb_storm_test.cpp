#include "faults/StormTest.h"
#include "mariadb/MariaDbServer.h"

namespace {

class MariaDbStorm : public StormTest {
 protected:
  void SetUp() override {
    m_url = m_server.freshDatabase();
    prepare(m_url);
  }

  int strike(const std::string& verb, const std::string& condition) override {
    mysql_query(m_harmer.get(), ("select id from information_schema.processlist where db = 'store1' and " +
                                 condition + " order by rand() limit 1")
                                    .c_str());
    const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(mysql_store_result(m_harmer.get()),
                                                                  mysql_free_result);
    const MYSQL_ROW row = mysql_fetch_row(result.get());
    return row != nullptr && mysql_query(m_harmer.get(), (verb + " " + row[0]).c_str()) == 0 ? 1 : 0;
  }
  int strikingSocket() override { return static_cast<int>(mysql_get_socket(m_harmer.get())); }

  MariaDbServer m_server{"max_connections=40\n"};
  std::unique_ptr<MYSQL, void (*)(MYSQL*)> m_harmer{m_server.connect(), mysql_close};
};

TEST_F(MariaDbStorm, FiveHundredCancellations) {
  use(m_url);
  rage(500, 1000, [this] { return strike("kill query", "command not in ('Sleep', 'Daemon')"); });
}

TEST_F(MariaDbStorm, FiveHundredCutConnections) {
  use(m_url);
  rage(250, 20000, [this] { return strike("kill", "true"); });
  rage(250, 20000, [this] { return cutOne(m_server.port()) ? 1 : 0; });
}

TEST_F(MariaDbStorm, AcknowledgedRowsSurviveTheServer) {
  m_options = "&read_timeout=2";
  use(m_url);
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

}  // namespace
