#pragma once

#include <map>
#include <memory>
#include <string>

#include "exec/adapters/Store.h"
#include "exec/adapters/StoreUrl.h"

namespace vorn {

/// The client library's own connection keywords and their values.
using PostgresSettings = std::map<std::string, std::string>;

/// Makes the driver of `postgresql://…`. Every connection keyword of the client library is an option.
ExecResult makePostgresDriver(StoreUrl& url, const std::string& sessionName,
                              std::shared_ptr<StoreDriver>& driver);

class PostgresDriver : public StoreDriver {
 public:
  explicit PostgresDriver(PostgresSettings settings);

  ExecResult open(std::unique_ptr<StoreConnection>& connection) override;

 private:
  const PostgresSettings m_settings;
};

}  // namespace vorn
