#include "exec/adapters/mariadb/MariaDbDriver.h"
#include "exec/adapters/mariadb/MariaDbError.h"
#include "exec/adapters/store/StoreModule.h"

namespace vorn {

namespace {

constexpr StoreKind kMariaDbKind = {ErrorFamily::MariaDb, "mariadb", makeMariaDbDriver, describeMariaDbError,
                                    classifyMariaDbError};

}  // namespace

}  // namespace vorn

extern "C" __attribute__((visibility("default")))
const vorn::StoreModule vornStoreModule = {VORN_VERSION_TEXT, &vorn::kMariaDbKind};
