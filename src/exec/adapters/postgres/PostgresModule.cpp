#include "exec/adapters/postgres/PostgresDriver.h"
#include "exec/adapters/postgres/PostgresError.h"
#include "exec/adapters/store/StoreModule.h"

namespace vorn {

namespace {

constexpr StoreKind kPostgresKind = {ErrorFamily::PostgreSql, "postgresql", makePostgresDriver,
                                     describePostgresError, classifyPostgresError};

}  // namespace

}  // namespace vorn

extern "C" __attribute__((visibility("default")))
const vorn::StoreModule vornStoreModule = {VORN_VERSION_TEXT, &vorn::kPostgresKind};
