#ifdef VORN_WITH_POSTGRES
#include "postgres/PostgresServer.h"
#endif
#include "store/store_fixture.h"

namespace {

std::string freshSqliteFile() {
  static const TemporaryDirectory directory;
  static int serial = 0;
  return "sqlite:" + directory.file(std::to_string(++serial));
}

}  // namespace

std::vector<StoreKind> storeKinds() {
  return {
#ifdef VORN_WITH_POSTGRES
      {"PostgreSql", [] { return sharedPostgresServer().freshDatabase(); }, true, "select 'ok'", "&sslmode=disable&gssencmode=disable"},
#endif
      {"Sqlite", freshSqliteFile, false, "pragma integrity_check", "&synchronous=off"}};
}
