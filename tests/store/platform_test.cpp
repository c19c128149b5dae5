#include <climits>
#include <cmath>
#include <tuple>

#include "store/store_fixture.h"
#include "vorn/platform/secure_c.h"

namespace {

template <typename... Values>
void expectLikeTheCLibrary(const char* format, Values... values) {
  char expected[400], actual[400];
  const int size = std::snprintf(expected, sizeof expected, format, values...);
  EXPECT_EQ(vorn::snprintf_s(actual, sizeof actual, sizeof actual - 1, format, values...), size);
  EXPECT_STREQ(actual, expected);
}

TEST(PlatformTest, FormatsLikeTheCLibraryAndCutsAtTheCount) {
  for (const double value :
       {0.0,  -0.0, 0.5,  2.5,  1e-7,  -1e-7,  0.0000005, 1.0 / 3,   123456789.125, 1e15,
        1e22, 1e39, 1e40, 1e60, -1e90, 5e-324, HUGE_VAL,  -HUGE_VAL, std::nan(""),  0.1F + 0.0}) {
    expectLikeTheCLibrary("!=%f.", value);
  }
  for (const long value : {0L, -1L, LONG_MAX, LONG_MIN}) {
    const auto number = static_cast<unsigned long>(value);
    expectLikeTheCLibrary("=%ld", value), expectLikeTheCLibrary("!=%lu", number);
    expectLikeTheCLibrary(" >= %d,%ld,%lu,%u", static_cast<int>(value), value, number,
                          static_cast<unsigned>(value));
  }
  char actual[200];
  EXPECT_EQ(vorn::snprintf_s(actual, 200, 199, "%f", 1e300), -1);
  EXPECT_EQ(std::string(actual).size(), 199U);
  const std::tuple<std::size_t, int, int, const char*> cuts[] = {
      {4, 1234, -1, "=123"}, {4, 123, 4, "=123"}, {5, 1, -1, ""}};
  for (const auto& [count, value, outcome, text] : cuts) {
    EXPECT_EQ(vorn::snprintf_s(actual, 5, count, "=%d", value), outcome);
    EXPECT_STREQ(actual, text);
  }
}

TEST(PlatformTest, BoundedCopiesRefuseWhatDoesNotFit) {
  char target[4] = "xyz";
  EXPECT_TRUE(vorn::memcpy_s(target, 4, "ab", 3) == 0 && std::string(target) == "ab");
  EXPECT_TRUE(vorn::memcpy_s(target, 4, "abcdefgh", 8) == ERANGE && target[0] == '\0');
  EXPECT_EQ(vorn::memcpy_s(target, 4, nullptr, 1), EINVAL);
  EXPECT_TRUE(vorn::memset_s(target, 4, 'z', 9) == ERANGE && std::string(target, 4) == "zzzz");
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

}  // namespace
