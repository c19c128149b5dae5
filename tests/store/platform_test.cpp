#include <climits>
#include <cmath>

#include "store/store_fixture.h"
#include "vorn/platform/secure_c.h"

namespace {

TEST(PlatformTest, FormatsLikeTheCLibraryAndCutsAtTheCount) {
  char expected[400];
  char actual[400];
  for (const double value : {0.0,  -0.0, 0.5,  2.5,  1e-7,  -1e-7,  0.0000005, 1.0 / 3,   123456789.125, 1e15,
                             1e22, 1e39, 1e40, 1e60, -1e90, 5e-324, HUGE_VAL,  -HUGE_VAL, std::nan(""),  0.1F + 0.0}) {
    const int size = std::snprintf(expected, sizeof expected, "!=%f.", value);
    EXPECT_EQ(vorn::snprintf_s(actual, sizeof actual, sizeof actual - 1, "!=%f.", value), size);
    EXPECT_STREQ(actual, expected);
  }
  for (const long value : {0L, -1L, LONG_MAX, LONG_MIN}) {
    std::snprintf(expected, sizeof expected, " >= %d,%ld,%lu,%u", static_cast<int>(value), value, static_cast<unsigned long>(value),
                  static_cast<unsigned>(value));
    vorn::snprintf_s(actual, sizeof actual, sizeof actual - 1, " >= %d,%ld,%lu,%u", static_cast<int>(value), value,
                     static_cast<unsigned long>(value), static_cast<unsigned>(value));
    EXPECT_STREQ(actual, expected);
    std::snprintf(expected, sizeof expected, "=%ld", value);
    EXPECT_GT(vorn::snprintf_s(actual, sizeof actual, sizeof actual - 1, "=%ld", value), 0);
    EXPECT_STREQ(actual, expected);
  }
  EXPECT_EQ(vorn::snprintf_s(actual, 200, 199, "%f", 1e300), -1);
  EXPECT_EQ(std::string(actual).size(), 199U);
  EXPECT_EQ(vorn::snprintf_s(actual, 5, 4, "=%d", 12345), -1);
  EXPECT_STREQ(actual, "=123");
  EXPECT_EQ(vorn::snprintf_s(actual, 5, 4, "=%d", 123), 4);
  EXPECT_EQ(vorn::snprintf_s(actual, 5, 5, "=%d", 1), -1) << "no room for the zero byte";
  EXPECT_STREQ(actual, "");
}

TEST(PlatformTest, BoundedCopiesRefuseWhatDoesNotFit) {
  char target[4] = "xyz";
  EXPECT_EQ(vorn::memcpy_s(target, 4, "ab", 3), 0);
  EXPECT_STREQ(target, "ab");
  EXPECT_EQ(vorn::memcpy_s(target, 4, "abcdefgh", 8), ERANGE);
  EXPECT_EQ(target[0], '\0');
  EXPECT_EQ(vorn::memcpy_s(target, 4, nullptr, 1), EINVAL);
  EXPECT_EQ(vorn::memset_s(target, 4, 'z', 9), ERANGE);
  EXPECT_EQ(std::string(target, 4), "zzzz");
}

TEST(PlatformTest, ScrubbedLinesHideSecretsAndControls) {
  const struct {
    const char* text;
    const char* scrubbed;
  } cases[] = {{"plain [VORNLib] text", "plain [VORNLib] text"},
               {"two\nlines\r\t\x1b[31m\x7f", "two\\nlines\\r\\t\\x1b[31m\\x7f"},
               {"postgresql://me:s3cret@h:1/db failed", "postgresql://me:***@h:1/db failed"},
               {"at mysql://u:p@ss@h/x and http://h/?q=1", "at mysql://u:***@h/x and http://h/?q=1"},
               {"host=h password=se\\cret user=u", "host=h password=*** user=u"},
               {"Password = 'a \\' b' next", "Password = *** next"},
               {"sslpassword=abc&x=1", "sslpassword=***&x=1"},
               {"token count is 3", "token count is 3"},
               {"a = b", "a = b"}};
  for (const auto& each : cases) EXPECT_EQ(vorn::LogScrubber::scrub(each.text), each.scrubbed);
}

TEST(PlatformTest, ErrorCodesAreDescribed) {
  EXPECT_EQ(vorn::describeError(0), "success");
  EXPECT_EQ(vorn::describeError(1), "refused by the library");
  EXPECT_EQ(vorn::describeError((1UL << 32) + 2067), "sqlite 2067 SQLITE_CONSTRAINT_UNIQUE");
  EXPECT_EQ(vorn::describeError((1UL << 32) + 99999), "sqlite 99999");
  EXPECT_EQ(vorn::describeError((15UL << 32) + 3), "vorn 3 POOL_EXHAUSTED");
  EXPECT_EQ(vorn::describeError(77UL << 32), "unknown 330712481792");
}

}  // namespace
