#pragma once

#include <memory>
#include <string>

#include "exec/adapters/postgres/PostgresSettings.h"
#include "exec/adapters/store/StoreDriver.h"
#include "exec/adapters/store/StoreUrl.h"

namespace vorn {

/// Makes the driver of `postgresql://…` and `postgres://…`. Every connection keyword of the client library is
/// an option.
ExecResult makePostgresDriver(StoreUrl& url, const std::string& sessionName,
                              std::shared_ptr<StoreDriver>& driver);

class PostgresDriver : public StoreDriver {
 public:
  explicit PostgresDriver(PostgresSettings settings);

  std::string name() const override;
  ExecResult open(std::unique_ptr<StoreConnection>& connection) override;

 private:
  const PostgresSettings m_settings;
};

}  // namespace vorn
