#include <climits>
#include <cmath>
#include <tuple>

#include "store/store_fixture.h"
#include "vorn/platform/secure_c.h"

namespace {

TEST(PlatformTest, FormatsLikeTheCLibraryAndCutsAtTheCount) {
  char actual[400];
  for (const double value : {0.0, -0.0, 2.5, -1e-7, 0.0000005, 1.0 / 3, 123456789.125, 1e22, 1e40, -1e90,
                             5e-324, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    char expected[400];
    const int size = std::snprintf(expected, sizeof expected, "!=%f.%ld %u", value, LONG_MIN, UINT_MAX);
    EXPECT_EQ(
        vorn::snprintf_s(actual, sizeof actual, sizeof actual - 1, "!=%f.%ld %u", value, LONG_MIN, UINT_MAX),
        size);
    EXPECT_STREQ(actual, expected);
  }
  EXPECT_EQ(vorn::snprintf_s(actual, 200, 199, "%f", 1e300), -1);
  EXPECT_EQ(std::string(actual).size(), 199U);
  EXPECT_EQ(vorn::snprintf_s(actual, 5, 5, "=%d", 1), -1);
  EXPECT_STREQ(actual, "");
}

TEST(PlatformTest, ScrubbedLinesHideSecretsAndControls) {
  for (const auto& [text, scrubbed] : casesOf("store/log_lines.txt"))
    EXPECT_EQ(vorn::LogScrubber::scrub(text), scrubbed);
  EXPECT_EQ(vorn::LogScrubber::scrub("two\nlines\r\t\x1b[31m\x7f"), "two\\nlines\\r\\t\\x1b[31m\\x7f");
}

TEST(PlatformTest, ErrorCodesAreDescribed) {
  const std::tuple<unsigned long, unsigned long, const char*> cases[] = {
      {0, 0, "success"},
      {0, 1, "refused by the library"},
      {1, 2067, "sqlite 2067 SQLITE_CONSTRAINT_UNIQUE"},
      {1, 99999, "sqlite 99999"},
      {15, 3, "vorn 3 POOL_EXHAUSTED"},
      {77, 0, "unknown 330712481792"}};
  for (const auto& [family, native, text] : cases)
    EXPECT_EQ(vorn::describeError((family << 32) + native), text);
}

TEST(PlatformTest, ErrorsHaveAClass) {
  using Class = vorn::ErrorClass;
  struct Case {
    unsigned long family;
    int base;
    std::vector<const char*> errors;
    Class expected;
  };
  const Case cases[] = {
      {0, 10, {"0"}, Class::Success},
      {0, 10, {"1"}, Class::Refused},
      {1, 10, {"5", "6", "517"}, Class::Retry},
      {1, 10, {"19", "2067"}, Class::Constraint},
      {1, 10, {"1"}, Class::Statement},
      {1, 10, {"3", "8", "23", "1032"}, Class::Permission},
      {1, 10, {"7", "13"}, Class::Resource},
      {1, 10, {"11", "99999"}, Class::Other},
#ifdef VORN_WITH_POSTGRES
      {2, 36, {"40001", "40P01", "55P03"}, Class::Retry},
      {2, 36, {"08006", "40003", "57P01"}, Class::ConnectionLost},
      {2, 36, {"57014"}, Class::Timeout},
      {2, 36, {"23505", "44000"}, Class::Constraint},
      {2, 36, {"42P01", "0A000", "25P02", "54001"}, Class::Statement},
      {2, 36, {"22P02"}, Class::Value},
      {2, 36, {"25006", "28P01", "42501"}, Class::Permission},
      {2, 36, {"53300", "54000"}, Class::Resource},
      {2, 36, {"XX000"}, Class::Other},
#endif
      {15, 10, {"1", "8", "14", "18"}, Class::Refused},
      {15, 10, {"10", "15"}, Class::ConnectionLost},
      {15, 10, {"3"}, Class::Timeout},
      {15, 10, {"7"}, Class::Value},
      {15, 10, {"17", "19", "20", "21"}, Class::Resource},
      {15, 10, {"0", "9999"}, Class::Other},
      {77, 10, {"0"}, Class::Other},
  };
  for (const Case& each : cases) {
    for (const char* error : each.errors) {
      const unsigned long code = (each.family << 32) + std::stoul(error, nullptr, each.base);
      EXPECT_EQ(vorn::errorClass(code), each.expected) << vorn::describeError(code);
    }
  }
}

}  // namespace
