#include "template_store/TemplateDriver.h"

#include <utility>

#include "exec/adapters/base/Failure.h"
#include "template_store/TemplateConnection.h"

namespace vorn {

// Everything that can be wrong with a URL is found here; nothing is opened. Takes every option it knows and
// refuses the rest, so that a misspelt one is no silent default.
ExecResult makeTemplateDriver(StoreUrl& url, const std::string&, std::shared_ptr<StoreDriver>& driver) {
  TemplateSettings settings;
  if (url.location().empty()) return makeFailure(Failure::InvalidUrl, "the template URL names no store");
  settings.name = url.location();
  ExecResult result = url.takeWord("mode", "write read", settings.mode);
  if (result.succeeded()) result = url.refuseRest();
  if (result.succeeded()) driver = std::make_shared<TemplateDriver>(std::move(settings));
  return result;
}

TemplateDriver::TemplateDriver(TemplateSettings settings) : m_settings(std::move(settings)) {}

ExecResult TemplateDriver::open(std::unique_ptr<StoreConnection>& connection) {
  return TemplateConnection::open(m_settings, m_database, connection);
}

}  // namespace vorn
