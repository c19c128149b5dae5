#include <atomic>

#ifdef VORN_WITH_POSTGRES
#include "postgres/PostgresServer.h"
#endif
#include "store/store_fixture.h"

namespace {

std::string freshSqliteFile() {
  static const TemporaryDirectory directory;
  static std::atomic<int> serial{0};
  return "sqlite:" + directory.file("store" + std::to_string(++serial) + ".db");
}

constexpr char kMillion[] = "with recursive t(n) as (select 1 union all select n + 1 from t where n < 1000000) select n from t";

}  // namespace

std::vector<StoreKind> storeKinds() {
  return {
#ifdef VORN_WITH_POSTGRES
      {"PostgreSql", [] { return sharedPostgresServer().freshDatabase(); }, "select generate_series(1, 1000000) as n"},
#endif
      {"Sqlite", freshSqliteFile, kMillion}};
}
