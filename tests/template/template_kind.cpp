// The template of a new store, after a library whose table of kinds knows it.
#include "store/ScenarioRunner.h"

std::vector<StoreKind> storeKinds() {
  return {{"Template", "template", "template/", [] { return "template:store"; }, false, "", ""}};
}

[[maybe_unused]] static const bool areRegistered = [] {
  registerScenarios("Scenarios", "template/scenarios.txt", storeKinds()[0]);
  return true;
}();
