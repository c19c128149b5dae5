#include "exec/adapters/kinds/ModuleLoader.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/store/StoreModule.h"

namespace vorn {

namespace {

std::filesystem::path folderOfLibrary() {
  static const char inLibrary = 0;
  Dl_info library{};
  if (dladdr(&inLibrary, &library) == 0 || library.dli_fname == nullptr) return {};
  std::error_code ignored;
  return std::filesystem::canonical(library.dli_fname, ignored).parent_path();
}

std::vector<std::filesystem::path> folders() {
  std::vector<std::filesystem::path> result;
  const std::filesystem::path library = folderOfLibrary();
  if (!library.empty()) result.push_back(library / "vorn" / VORN_MODULE_INTERFACE);
  const char* const configured = secure_getenv("VORN_MODULE_DIR");
  if (configured != nullptr && *configured != '\0') result.emplace_back(configured);
  return result;
}

ExecResult missing(const std::string& module, const std::vector<std::filesystem::path>& searched) {
  std::string message = "the " + module + " store is not installed: install the package libvorn" +
                        VORN_MODULE_INTERFACE + "-" + module + " (libvorn-" + module + ".so is not in";
  const char* separator = " ";
  for (const std::filesystem::path& folder : searched) {
    message.append(separator).append(folder.string());
    separator = " or ";
  }
  return makeFailure(Failure::ModuleMissing, message + ")");
}

ExecResult unreadable(const std::filesystem::path& file, const std::string& reason) {
  return makeFailure(Failure::ModuleUnreadable, file.string() + " cannot be loaded: " + reason);
}

ExecResult loadFile(const std::filesystem::path& file, const StoreKind*& kind) {
  void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* const reason = dlerror();
    return unreadable(file, reason == nullptr ? "unknown reason" : reason);
  }
  const auto* module = static_cast<const StoreModule*>(dlsym(handle, "vornStoreModule"));
  ExecResult result;
  if (module == nullptr) {
    result = unreadable(file, "it is no module of this library");
  } else if (std::strncmp(module->version, VORN_VERSION_TEXT, sizeof module->version) != 0) {
    const std::string version(module->version, strnlen(module->version, sizeof module->version));
    result = makeFailure(Failure::ModuleVersion, file.string() + " is of version " + version +
                                                     ", the library is of version " VORN_VERSION_TEXT);
  } else {
    kind = module->kind;
    return result;
  }
  dlclose(handle);
  return result;
}

}  // namespace

ExecResult ModuleLoader::load(const std::string& module, const StoreKind*& kind) {
  const std::vector<std::filesystem::path> searched = folders();
  for (const std::filesystem::path& folder : searched) {
    const std::filesystem::path file = folder / ("libvorn-" + module + ".so");
    std::error_code ignored;
    if (std::filesystem::exists(std::filesystem::symlink_status(file, ignored))) return loadFile(file, kind);
  }
  return missing(module, searched);
}

}  // namespace vorn
