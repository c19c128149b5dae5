#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "exec/adapters/sqlite/SqliteSettings.h"
#include "exec/adapters/store/StoreDriver.h"
#include "exec/adapters/store/StoreUrl.h"

namespace vorn {

/// Makes the driver of `sqlite:<path>` and `sqlite::memory:`.
ExecResult makeSqliteDriver(StoreUrl& url, const std::string& sessionName,
                            std::shared_ptr<StoreDriver>& driver);

class SqliteDriver : public StoreDriver {
 public:
  explicit SqliteDriver(SqliteSettings settings);

  std::string name() const override { return m_settings.name; }
  ExecResult open(std::unique_ptr<StoreConnection>& connection) override;
  void close() override;

  // SQLite knows the locks of a file by process: a child that inherits open files would believe to hold them.
  bool closesIdleBeforeFork() const override { return true; }

 private:
  const SqliteSettings m_settings;
  std::mutex m_mutex;  ///< one opening at a time, so that creating the file is not fought over
  std::unique_ptr<StoreConnection> m_anchor;  ///< keeps a database in memory alive between connections
};

}  // namespace vorn
