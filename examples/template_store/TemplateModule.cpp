#include "exec/adapters/store/StoreModule.h"
#include "template_store/TemplateDriver.h"
#include "template_store/TemplateError.h"

namespace vorn {

namespace {

constexpr StoreKind kTemplateKind = {kTemplateFamily, "template", makeTemplateDriver, describeTemplateError,
                                     classifyTemplateError};

}  // namespace

}  // namespace vorn

// The one symbol that the module exports.
extern "C" __attribute__((visibility("default")))
const vorn::StoreModule vornStoreModule = {VORN_VERSION_TEXT, &vorn::kTemplateKind};
