#include "exec/adapters/kinds/ModuleLoader.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "common/joined.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/store/StoreModule.h"

namespace vorn {

namespace {

using Path = std::filesystem::path;
using Handle = std::unique_ptr<void, int (*)(void*)>;

std::string fileName(const std::string& module) {
  return "libvorn-" + module + ".so";
}

std::string packageName(const std::string& module) {
  return "libvorn" VORN_MODULE_INTERFACE "-" + module;
}

// The loader has kept the folder as it was when it loaded the library: a relative path that the library was
// found by leads elsewhere once the process has changed its working directory.
Path fileOfLibrary() {
  static const char inLibrary = 0;
  Dl_info library{};
  void* map = nullptr;
  char folder[PATH_MAX] = "";
  const bool known = dladdr1(&inLibrary, &library, &map, RTLD_DL_LINKMAP) != 0 &&
                     library.dli_fname != nullptr && dlinfo(map, RTLD_DI_ORIGIN, folder) == 0;
  return known && folder[0] != '\0' ? Path(folder) / Path(library.dli_fname).filename() : Path();
}

// Beside the library is where its file is, and where the symbolic link is that the process found it by.
std::vector<Path> folders() {
  std::vector<Path> result;
  const Path library = fileOfLibrary();
  std::error_code ignored;
  for (const Path& beside : {std::filesystem::canonical(library, ignored).parent_path(),
                             std::filesystem::canonical(library.parent_path(), ignored)}) {
    const Path folder = beside / "vorn" / VORN_MODULE_INTERFACE;
    const bool isNew = std::find(result.begin(), result.end(), folder) == result.end();
    if (!beside.empty() && isNew) result.push_back(folder);
  }
  const char* const configured = secure_getenv("VORN_MODULE_DIR");
  if (configured != nullptr && *configured != '\0') result.emplace_back(configured);
  return result;
}

// What exists and cannot be looked at is not missing; loading it says why.
bool isMissing(const Path& file) {
  std::error_code ignored;
  return std::filesystem::symlink_status(file, ignored).type() == std::filesystem::file_type::not_found;
}

ExecResult missing(const std::string& module, const std::vector<Path>& searched) {
  std::string message = "the " + module + " store is not installed: install the package " +
                        packageName(module) + " (" + fileName(module) + " is not in ";
  appendJoined(message, searched, " or ",
               [](std::string& text, const Path& folder) { text += folder.string(); });
  return makeFailure(Failure::ModuleMissing, message + ")");
}

ExecResult unreadable(const std::string& module, const Path& file, const std::string& reason) {
  return makeFailure(Failure::ModuleUnreadable, file.string() + " of the package " + packageName(module) +
                                                    " cannot be loaded: " + reason);
}

ExecResult otherVersion(const std::string& module, const Path& file, const std::string& version) {
  return makeFailure(Failure::ModuleVersion, file.string() + " is of version " + version +
                                                 ", the library is of version " VORN_VERSION_TEXT
                                                 ": install the package " +
                                                 packageName(module) + " of that version");
}

ExecResult loadFile(const std::string& module, const Path& file, const StoreKind*& kind) {
  Handle handle(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL), dlclose);
  if (!handle) {
    const char* const reason = dlerror();
    return unreadable(module, file, reason == nullptr ? "unknown reason" : reason);
  }
  const auto* found = static_cast<const StoreModule*>(dlsym(handle.get(), "vornStoreModule"));
  if (found == nullptr) return unreadable(module, file, "it is no module of this library");
  const std::string version(found->version, strnlen(found->version, sizeof found->version));
  if (version != VORN_VERSION_TEXT) return otherVersion(module, file, version);
  kind = found->kind;
  static_cast<void>(handle.release());  // see invariant 2
  return {};
}

}  // namespace

ExecResult ModuleLoader::load(const std::string& module, const StoreKind*& kind) {
  const std::vector<Path> searched = folders();
  for (const Path& folder : searched) {
    const Path file = folder / fileName(module);
    if (!isMissing(file)) return loadFile(module, file, kind);
  }
  return missing(module, searched);
}

}  // namespace vorn
