#include "vorn/platform/stores.h"

#include "exec/adapters/session/StoreTable.h"
#include "exec/adapters/session/fork_handlers.h"

namespace vorn {

ExecResult bindStore(const std::string& sessionName, const std::string& url) {
  installForkHandlers();
  return StoreTable::instance().bind(sessionName, url);
}

void unbindStores() {
  installForkHandlers();
  StoreTable::instance().unbindAll();
}

}  // namespace vorn
