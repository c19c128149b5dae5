#include "exec/adapters/DriverTable.h"

#include "exec/adapters/LayerError.h"
#ifdef VORN_WITH_POSTGRES
#include "exec/adapters/postgres/PostgresDriver.h"
#endif
#include "exec/adapters/sqlite/SqliteDriver.h"

namespace vorn {

namespace {

struct DriverEntry {
  const char* scheme;
  ExecResult (*make)(StoreUrl&, const std::string& sessionName, std::shared_ptr<StoreDriver>&);
};

constexpr DriverEntry kDrivers[] = {
    {"sqlite", makeSqliteDriver},
#ifdef VORN_WITH_POSTGRES
    {"postgresql", makePostgresDriver},
    {"postgres", makePostgresDriver},
#endif
};

}  // namespace

ExecResult makeDriver(StoreUrl& url, const std::string& sessionName, std::shared_ptr<StoreDriver>& driver) {
  for (const DriverEntry& entry : kDrivers) {
    if (url.scheme() == entry.scheme) return entry.make(url, sessionName, driver);
  }
  return makeFailure(LayerError::UnknownScheme, "no store speaks the URL scheme '" + url.scheme() + "'");
}

}  // namespace vorn
