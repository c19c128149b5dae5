#include <climits>
#include <cmath>

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

TEST(PlatformTest, AStoreThatCannotBeUsedSaysWhatToChange) {
  const TemporaryDirectory directory;
  const std::string folder = directory.file("store");
  std::filesystem::create_directory(folder);
  std::ofstream(folder + "/text") << std::string(1000, 'x');
  for (const auto& [url, part] : casesOf("store/messages.txt")) {
    vorn::ExecResult outcome = vorn::bindStore("default", replaced(url, "$DIR", folder));
    if (describe(outcome.errorCode()) == "vorn 19 MODULE_MISSING") continue;  // it was not built
    const LogCapture log;
    if (outcome.succeeded()) {
      EXPECT_NE(MIRAsqlDB(false).execWriteSQL(raw("select 1")), 0U) << url;
      outcome = vorn::lastResult();
    }
    const std::string message = outcome.detail().value_or("");
    EXPECT_NE(message.find(replaced(part, "$DIR", folder)), std::string::npos) << message;
    EXPECT_EQ(message.find("geheim"), std::string::npos) << message;
  }
  vorn::unbindStores();
}

TEST_F(StoreTest, NamesThatNobodyUsesAnyMoreTakeNoMemory) {
  long before = 0;  // once a sanitizer holds back as much as it ever does
  for (int name = 0; name < 30000; ++name) {
    if (name == 10000) before = residentKilobytes();
    const vorn::DataSession session(std::to_string(name).c_str());
  }
  EXPECT_LT(residentKilobytes() - before, 2048);
}

TEST(PlatformTest, ErrorsOfNoStoreAreDescribed) {
  EXPECT_EQ(describe(1), "refused by the library");
  EXPECT_EQ(describe(77UL << 32), "unknown 330712481792");
  EXPECT_EQ(vorn::errorClass(0), vorn::ErrorClass::Success);
  EXPECT_EQ(vorn::errorClass(1), vorn::ErrorClass::Refused);
}

}  // namespace
