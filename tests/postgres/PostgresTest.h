#pragma once

#include "postgres/PostgresServer.h"
#include "store/store_fixture.h"

/// On an empty database of the shared server.
class PostgresTest : public StoreTest {
 protected:
  void SetUp() override {
    m_url = sharedPostgresServer().freshDatabase();
    useStore(m_url + "?pool_size=2");
  }

  /// Runs SQL on a connection of the test's own.
  void onServer(const std::string& sql) {
    sharedPostgresServer().query(sql, m_url.substr(m_url.rfind('/') + 1));
  }

  std::string m_url;
};
