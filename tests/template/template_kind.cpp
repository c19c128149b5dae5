// The template of a new store, after a library whose table of kinds knows it.
#include "store/ScenarioRunner.h"

std::vector<StoreKind> storeKinds() {
  return {{"Template", "template", "template/scenarios.txt", [] { return "template:store"; }, false, "", ""}};
}

[[maybe_unused]] static const bool areRegistered = [] {
  registerScenarios("Scenarios", storeKinds()[0].scenarios, storeKinds()[0]);
  return true;
}();
