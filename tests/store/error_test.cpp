#include <map>

#include "store/store_fixture.h"

namespace {

class Errors : public testing::TestWithParam<StoreKind> {};

TEST_P(Errors, HaveANameAndAClass) {
  const std::map<std::string, unsigned long> families = {
      {"sqlite", 1}, {"postgresql", 2}, {"mariadb", 3}, {"vorn", 15}, {"template", 16}};
  const char* const classes[] = {"Success",    "Refused",    "Retry",     "ConnectionLost",
                                 "Timeout",    "Constraint", "Statement", "Value",
                                 "Permission", "Resource",   "Other"};
  for (const auto& [name, errors] : casesOf("store/errors.txt")) {
    for (const std::string& error : split(errors, ", ")) {
      const std::vector<std::string> words = split(error, " ");
      if (words[0] != "vorn" && words[0] != GetParam().family) continue;
      const int base = words[0] == "postgresql" ? 36 : 10;  // of an SQLSTATE
      const unsigned long code = (families.at(words[0]) << 32) + std::stoul(words[1], nullptr, base);
      EXPECT_EQ(describe(code), error);
      EXPECT_EQ(classes[static_cast<std::size_t>(vorn::errorClass(code))], name) << error;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, Errors, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
