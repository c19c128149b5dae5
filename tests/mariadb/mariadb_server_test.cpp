#include <set>

#include "faults/Loopback.h"
#include "mariadb/MariaDbServer.h"
#include "store/store_fixture.h"

namespace {

class MariaDbHosts : public StoreTest {
 protected:
  /// @return which server answers, through a URL with these hosts and options
  std::string ask(const std::string& hosts, const std::string& options) {
    useStore(replaced(m_second.url(), m_second.host(), hosts) + "?connect_timeout=1" + options);
    return rowsOf(db, "select @@report_host");
  }

  const MariaDbServer m_second{"report_host=second\nskip_ssl\n"};
};

TEST_F(MariaDbHosts, AHostThatCannotBeHadIsPassedOver) {
  int port = 0;
  const int mute = listenOnLoopback(port);  // it takes connections, and says nothing
  const std::string dead = "127.0.0.1:1,127.0.0.1:" + std::to_string(port);
  const std::string both = sharedMariaDbServer().host() + "," + m_second.host();
  EXPECT_EQ(ask(dead + "," + both, ""), "~");
  EXPECT_EQ(ask(dead, ""), "mariadb 2013 CR_SERVER_LOST");
  std::set<std::string> met;
  for (int time = 0; time < 40 && met.size() < 2; ++time) {
    met.insert(ask("127.0.0.1:1," + both, "&load_balance=random"));
  }
  EXPECT_EQ(met, (std::set<std::string>{"second", "~"}));
  EXPECT_EQ(ask("", "&socket=" + m_second.file("socket")), "second");
  EXPECT_EQ(ask(m_second.host(), "&ssl_verify_server_cert=off"), "mariadb 2026 CR_SSL_CONNECTION_ERROR")
      << "the server does not encrypt";
  close(mute);
}

}  // namespace
