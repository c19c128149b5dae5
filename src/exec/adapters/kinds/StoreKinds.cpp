#include "exec/adapters/kinds/StoreKinds.h"

#include <mutex>
#include <string_view>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/kinds/ModuleLoader.h"
#include "exec/adapters/sqlite/SqliteKind.h"
#include "exec/adapters/store/StoreKind.h"
#include "vorn/platform/stores.h"

namespace vorn {

namespace {

/// A kind of store: in the library, or in a module and unknown until that is loaded.
struct KindEntry {
  const char* schemes[2];
  ErrorFamily family;
  const char* module;
  const StoreKind* kind;
};

// A new store is one more entry.
KindEntry entries[] = {
    {{"sqlite", nullptr}, ErrorFamily::Sqlite, nullptr, &kSqliteKind},
    {{"postgresql", "postgres"}, ErrorFamily::PostgreSql, "postgresql", nullptr},
};

std::mutex entriesMutex;  // guards the members `kind`

bool hasScheme(const KindEntry& entry, const std::string& scheme) {
  for (const char* known : entry.schemes) {
    if (known != nullptr && scheme == known) return true;
  }
  return false;
}

ExecResult provide(KindEntry& entry, const StoreKind*& kind) {
  const std::lock_guard lock(entriesMutex);
  ExecResult result;
  if (entry.kind == nullptr) result = ModuleLoader::load(entry.module, entry.kind);
  kind = entry.kind;
  return result;
}

std::string knownSchemes() {
  std::string list;
  for (const KindEntry& entry : entries) {
    for (const char* scheme : entry.schemes) {
      if (scheme != nullptr) list.append(list.empty() ? "" : ", ").append(scheme);
    }
  }
  return list;
}

// An error code may come from a log or from another process, so its store's module need not be loaded yet.
const StoreKind* findKind(std::uint64_t code) {
  const StoreKind* kind = nullptr;
  for (KindEntry& entry : entries) {
    if (static_cast<std::uint64_t>(entry.family) == code >> 32) static_cast<void>(provide(entry, kind));
  }
  return kind;
}

bool isOfLayer(std::uint64_t code) {
  return code >> 32 == static_cast<std::uint64_t>(ErrorFamily::Layer);
}

}  // namespace

ExecResult StoreKinds::makeDriver(StoreUrl& url, const std::string& sessionName,
                                  std::shared_ptr<StoreDriver>& driver) {
  for (KindEntry& entry : entries) {
    if (!hasScheme(entry, url.scheme())) continue;
    const StoreKind* kind = nullptr;
    ExecResult result = provide(entry, kind);
    return result.succeeded() ? kind->makeDriver(url, sessionName, driver) : result;
  }
  return makeFailure(Failure::UnknownScheme,
                     "no store speaks the URL scheme '" + url.scheme() + "'; there are " + knownSchemes());
}

void StoreKinds::lock() {
  entriesMutex.lock();
}

void StoreKinds::unlock() {
  entriesMutex.unlock();
}

std::string describeError(std::uint64_t code) {
  if (code == 0) return "success";
  if (code == 1) return "refused by the library";
  const auto native = static_cast<std::uint32_t>(code);
  if (isOfLayer(code)) {
    const char* const name = failureName(native);
    return "vorn " + std::to_string(native) + (name == nullptr ? "" : std::string(" ") + name);
  }
  const StoreKind* const kind = findKind(code);
  return kind == nullptr ? "unknown " + std::to_string(code)
                         : std::string(kind->name) + " " + kind->describe(native);
}

ErrorClass errorClass(std::uint64_t code) noexcept {
  if (code == 0) return ErrorClass::Success;
  if (code == 1) return ErrorClass::Refused;
  const auto native = static_cast<std::uint32_t>(code);
  if (isOfLayer(code)) return failureClass(native);
  try {
    const StoreKind* const kind = findKind(code);
    return kind == nullptr ? ErrorClass::Other : kind->classify(native);
  } catch (...) {
    return ErrorClass::Other;
  }
}

}  // namespace vorn
