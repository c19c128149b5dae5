#include <array>
#include <string>

#include "exec/adapters/LayerError.h"
#ifdef VORN_WITH_POSTGRES
#include "exec/adapters/postgres/PostgresError.h"
#endif
#include "exec/adapters/sqlite/SqliteError.h"
#include "vorn/platform/stores.h"

namespace vorn {

namespace {

std::string describe(const char* family, const std::string& native, const char* name) {
  return std::string(family) + " " + native + (name == nullptr ? "" : std::string(" ") + name);
}

}  // namespace

std::string describeError(std::uint64_t code) {
  if (code == 0) return "success";
  if (code == 1) return "refused by the library";
  const auto native = static_cast<std::uint32_t>(code);
  switch (static_cast<ErrorFamily>(code >> 32)) {
    case ErrorFamily::Sqlite:
      return describe("sqlite", std::to_string(native), sqliteErrorName(native));
#ifdef VORN_WITH_POSTGRES
    case ErrorFamily::PostgreSql: {
      const std::string state = sqlStateText(native);
      return describe("postgresql", state, sqlStateName(state));
    }
#endif
    case ErrorFamily::Layer:
      return describe("vorn", std::to_string(native), layerErrorName(native));
    default:
      return "unknown " + std::to_string(code);
  }
}

}  // namespace vorn
