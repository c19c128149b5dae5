#include "exec/adapters/kinds/StoreKinds.h"

#include <atomic>
#include <string>
#include <vector>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/kinds/ForkBarrier.h"
#include "exec/adapters/kinds/ModuleLoader.h"
#include "exec/adapters/sqlite/SqliteKind.h"
#include "exec/adapters/store/StoreKind.h"
#include "exec/adapters/store/nearest_name.h"
#include "vorn/platform/stores.h"

namespace vorn {

namespace {

/// A kind of store: in the library, or in a module and unknown until that is loaded.
struct KindEntry {
  const char* schemes[2];
  ErrorFamily family;
  const char* module;
  std::atomic<const StoreKind*> kind;
};

// A new store is one more entry.
KindEntry entries[] = {
    {{"sqlite", nullptr}, ErrorFamily::Sqlite, nullptr, &kSqliteKind},
    {{"postgresql", "postgres"}, ErrorFamily::PostgreSql, "postgresql", nullptr},
    {{"mariadb", nullptr}, ErrorFamily::MariaDb, "mariadb", nullptr},
};

bool hasScheme(const KindEntry& entry, const std::string& scheme) {
  for (const char* known : entry.schemes) {
    if (known != nullptr && scheme == known) return true;
  }
  return false;
}

ExecResult provide(KindEntry& entry, const StoreKind*& kind) {
  kind = entry.kind.load(std::memory_order_acquire);
  if (kind != nullptr) return {};
  // A child forked in the middle of a load would inherit half a module and the loader's lock.
  const ForkBarrier loading;
  ExecResult result = ModuleLoader::load(entry.module, kind);
  if (result.succeeded()) entry.kind.store(kind, std::memory_order_release);
  return result;
}

std::vector<std::string> knownSchemes() {
  std::vector<std::string> list;
  for (const KindEntry& entry : entries) {
    for (const char* scheme : entry.schemes) {
      if (scheme != nullptr) list.emplace_back(scheme);
    }
  }
  return list;
}

// An error code may come from a log or from another process, so its store's module need not be loaded yet.
KindEntry* findEntry(std::uint64_t code, const StoreKind*& kind) {
  for (KindEntry& entry : entries) {
    if (static_cast<std::uint64_t>(entry.family) != code >> 32) continue;
    static_cast<void>(provide(entry, kind));
    return &entry;
  }
  return nullptr;
}

std::string describe(std::string family, const std::string& native) {
  return family.append(" ").append(native);
}

bool isOfLayer(std::uint64_t code) {
  return code >> 32 == static_cast<std::uint64_t>(ErrorFamily::Layer);
}

}  // namespace

ExecResult StoreKinds::makeDriver(StoreUrl& url, const std::string& sessionName,
                                  std::shared_ptr<StoreDriver>& driver) {
  for (KindEntry& entry : entries) {
    if (!hasScheme(entry, url.scheme())) continue;
    // A client library is set up for the whole process when its first driver is made.
    const ForkBarrier loading;
    const StoreKind* kind = nullptr;
    ExecResult result = provide(entry, kind);
    return result.succeeded() ? kind->makeDriver(url, sessionName, driver) : result;
  }
  const std::vector<std::string> known = knownSchemes();
  return makeFailure(Failure::UnknownScheme, "no store speaks the URL scheme '" + url.scheme() + "'" +
                                                 nearestName(url.scheme(), known) + "; there are " +
                                                 listOf(known));
}

std::string describeError(std::uint64_t code) {
  if (code == 0) return "success";
  if (code == 1) return "refused by the library";
  const auto native = static_cast<std::uint32_t>(code);
  std::string number = std::to_string(native);
  if (isOfLayer(code)) {
    const char* const name = failureName(native);
    return name == nullptr ? describe("vorn", number) : describe("vorn", number.append(" ").append(name));
  }
  const StoreKind* kind = nullptr;
  const KindEntry* const entry = findEntry(code, kind);
  if (entry == nullptr) return describe("unknown", std::to_string(code));
  return kind == nullptr ? describe(entry->module, number) : describe(kind->name, kind->describe(native));
}

ErrorClass errorClass(std::uint64_t code) noexcept {
  if (code == 0) return ErrorClass::Success;
  if (code == 1) return ErrorClass::Refused;
  const auto native = static_cast<std::uint32_t>(code);
  if (isOfLayer(code)) return failureClass(native);
  try {
    const StoreKind* kind = nullptr;
    findEntry(code, kind);
    return kind == nullptr ? ErrorClass::Other : kind->classify(native);
  } catch (...) {
    return ErrorClass::Other;
  }
}

}  // namespace vorn
