#pragma once

#include "store/DifferentialTest.h"

/// A DifferentialTest on databases of a server of its own. The second store has the plain tables only.
template <typename Server, typename ServersClient>
class ServerDifferential : public DifferentialTest {
 protected:
  /// @param folder    of the statements and the tables
  /// @param settings  of the server
  /// @param options   of the URLs
  ServerDifferential(const std::string& folder, const std::string& settings, std::string options)
      : DifferentialTest(folder + "/" + folder + "_statements.txt"),
        m_server(settings),
        m_tables(casesOf(folder + "/differential_tables.sql")),
        m_options(std::move(options)) {}

  std::vector<std::string> setup(std::size_t store) override {
    std::vector<std::string> texts;
    for (const auto& [sql, unused] : m_tables) {
      if (store == 0 || sql.find("plain") != std::string::npos) texts.push_back(sql);
    }
    return texts;
  }

  std::string url(std::size_t store) override { return m_urls[kOurs][store] + m_options; }

  std::unique_ptr<Client> connect(Side side, std::size_t store) override {
    return std::make_unique<ServersClient>(m_urls[side][store] + m_options, m_server);
  }

  Server m_server;

 private:
  const std::string m_urls[2][2] = {{m_server.freshDatabase(), m_server.freshDatabase()},
                                    {m_server.freshDatabase(), m_server.freshDatabase()}};
  const std::vector<std::pair<std::string, std::string>> m_tables;
  const std::string m_options;
};
