#include <cmath>
#include <cstring>
#include <random>

#include "exec/field_conversion.h"
#include "scripted/scripted_platform.h"
#include "support.h"

namespace {

template <typename Target>
class FieldConversion : public ::testing::Test {
 protected:
  /// Converts the number or text both ways, and counts the short cuts taken.
  template <typename Field>
  void check(const Field& content) {
    const vorn::RowValue field = scripted::value(content);
    Target direct = 42, byText = 42;
    vorn::RowValue::TextBuffer buffer;
    if (!vorn::convertDirectly(field, direct)) return;
    vorn::convertText(field.textView(buffer), byText);
    ++shortCuts;
    if (direct == byText && std::signbit(direct) == std::signbit(byText)) return;  // -0.0 is not 0.0
    FAIL() << "from '" << field.text() << "': " << direct << " for " << byText;
  }

  long shortCuts = 0;
};

using Targets =
    ::testing::Types<char, short, unsigned short, int, unsigned int, long, unsigned long, float, double>;
TYPED_TEST_SUITE(FieldConversion, Targets, );

TYPED_TEST(FieldConversion, TakesTheShortCutOnlyWhereTheTextSaysTheSame) {
  constexpr int kRounds = 60000;
  std::mt19937_64 random(testSeed());
  const std::string alphabet = std::string("01234567890123456789012345678901234567.-+eExX ,_inaft\n") + '\0';
  for (int i = 0; i < kRounds && !this->HasFailure(); ++i) {
    auto integer = static_cast<std::int64_t>(random()) >> random() % 64;
    if (i % 2 == 0) {  // around the limits of all integers and of exact doubles
      const std::uint64_t limit = (1UL << random() % 64) + random() % 5 - 2;
      integer = static_cast<std::int64_t>(i % 4 == 0 ? limit : ~limit);
    }
    this->check(integer);
    this->check(std::to_string(integer));
    this->check(std::nextafter(static_cast<double>(integer), 0.0));
    this->check(std::ldexp(integer, -static_cast<int>(random() % 30)));
    double real;
    const std::uint64_t bits = random();
    std::memcpy(&real, &bits, sizeof real);
    this->check(real);
    this->check(static_cast<double>(random() % 2000000) / 100);
    std::string text(1 + random() % (i % 2 == 0 ? 5 : 24), '0');
    for (char& byte : text) byte = alphabet[random() % (i % 3 == 0 ? 40 : alphabet.size())];
    this->check(text);
  }
  EXPECT_GT(this->shortCuts, kRounds / 2);
}

}  // namespace
