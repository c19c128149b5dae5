#include <cmath>
#include <cstring>
#include <random>

#include "exec/field_conversion.h"
#include "scripted/scripted_platform.h"
#include "support.h"

namespace {

using scripted::value;

long shortCuts = 0;

template <typename Target>
void compare(const vorn::RowValue& field) {
  Target direct = 42, byText = 42;
  vorn::RowValue::TextBuffer buffer;
  if (!vorn::convertDirectly(field, direct)) return;
  vorn::convertText(field.textView(buffer), byText);
  ++shortCuts;
  if (direct == byText && std::signbit(direct) == std::signbit(byText)) return;  // -0.0 is not 0.0
  FAIL() << typeid(Target).name() << " from '" << field.text() << "': " << direct << " for " << byText;
}

/// Converts a field both ways, into every type, and counts the short cuts taken.
void check(const vorn::RowValue& field) {
  if (vorn::isEmptyField(field)) return;
  compare<char>(field);
  compare<short>(field);
  compare<unsigned short>(field);
  compare<int>(field);
  compare<unsigned int>(field);
  compare<long>(field);
  compare<unsigned long>(field);
  compare<float>(field);
  compare<double>(field);
}

TEST(FieldConversion, TakesTheShortCutOnlyWhereTheTextSaysTheSame) {
  constexpr int kRounds = 120000;
  std::mt19937_64 random(testSeed());
  for (unsigned bit = 0; bit < 64; ++bit) {  // around the limits of all integers and of exact doubles
    for (unsigned long offset = 0; offset < 10; ++offset) {
      const auto limit =
          static_cast<std::int64_t>(((1UL << bit) + offset % 5 - 2) * (offset < 5 ? 1UL : ~0UL));
      const std::string text = std::to_string(limit);
      const auto real = static_cast<double>(limit);
      for (const std::string& written : {text, text + "0"}) check(value(written));
      for (const double near : {real, real + 0.5, std::nextafter(real, 0.0), real / 65536})
        check(value(near));
      check(value(limit));
    }
  }
  const std::string alphabet = std::string("01234567890123456789012345678901234567.-+eExX ,_inaft\n") + '\0';
  for (int i = 0; i < kRounds && !::testing::Test::HasFailure(); ++i) {
    const auto integer = static_cast<std::int64_t>(random()) >> random() % 64;
    check(value(integer));
    check(value(std::ldexp(integer, -static_cast<int>(random() % 30))));
    double real;
    const std::uint64_t bits = random();
    std::memcpy(&real, &bits, sizeof real);
    check(value(real));
    check(value(static_cast<double>(random() % 2000000) / 100));
    std::string text(1 + random() % (i % 2 == 0 ? 5 : 24), '0');
    for (char& byte : text) byte = alphabet[random() % (i % 3 == 0 ? 40 : alphabet.size())];
    check(value(text));
  }
  EXPECT_GT(shortCuts, 9L * kRounds);
}

}  // namespace
