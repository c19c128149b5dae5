#pragma once

#include <memory>
#include <string>

#include "exec/adapters/store/StoreDriver.h"
#include "exec/adapters/store/StoreUrl.h"
#include "template_store/ScriptedEngine.h"
#include "template_store/TemplateSettings.h"

namespace vorn {

/// Makes the driver of `template:NAME`.
ExecResult makeTemplateDriver(StoreUrl& url, const std::string& sessionName,
                              std::shared_ptr<StoreDriver>& driver);

class TemplateDriver : public StoreDriver {
 public:
  explicit TemplateDriver(TemplateSettings settings);

  std::string name() const override { return "template:" + m_settings.name; }

  // Several threads open connections at once: the settings are const, and the engine has its own lock.
  ExecResult open(std::unique_ptr<StoreConnection>& connection) override;

 private:
  const TemplateSettings m_settings;
  const std::shared_ptr<scripted::Database> m_database = std::make_shared<scripted::Database>();
};

}  // namespace vorn
