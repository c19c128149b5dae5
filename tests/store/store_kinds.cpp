#ifdef VORN_WITH_MARIADB
#include "mariadb/MariaDbServer.h"
#endif
#ifdef VORN_WITH_POSTGRES
#include "postgres/PostgresServer.h"
#endif
#include "store/ScenarioRunner.h"

namespace {

std::string freshSqliteFile() {
  static const TemporaryDirectory directory;
  static int serial = 0;
  return "sqlite:" + directory.file(std::to_string(++serial));
}

}  // namespace

std::vector<StoreKind> storeKinds() {
  return {
#ifdef VORN_WITH_MARIADB
      {"MariaDb", "mariadb", "mariadb/scenarios.txt", [] { return sharedMariaDbServer().freshDatabase(); },
       true, "select 'ok'", "", sharedMariaDbServer},
#endif
#ifdef VORN_WITH_POSTGRES
      {"PostgreSql", "postgresql", "postgres/scenarios.txt",
       [] { return sharedPostgresServer().freshDatabase(); }, true, "select 'ok'",
       "&sslmode=disable&gssencmode=disable", sharedPostgresServer},
#endif
      {"Sqlite", "sqlite", "store/sqlite_scenarios.txt", freshSqliteFile, false, "pragma integrity_check",
       "&synchronous=off&busy_timeout_ms=500"}};
}

std::vector<StoreKind> remoteKinds() {
  std::vector<StoreKind> kinds = storeKinds();
  std::erase_if(kinds, [](const StoreKind& kind) { return !kind.isRemote; });
  return kinds;
}

[[maybe_unused]] static const bool areRegistered = [] {
  for (const StoreKind& kind : storeKinds()) {
    registerScenarios("Scenarios", "store/scenarios.txt", kind);
    registerScenarios(kind.name + "Scenarios", kind.scenarios, kind);
  }
  return true;
}();
