#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "exec/field_conversion.h"
#include "scripted/scripted_platform.h"

namespace {

using vorn::RowValue;

TEST(RowValueText, IsTheShortestThatReadsBack) {
  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    RowValue value;
    std::string text;
  } cases[] = {
      {scripted::value(nullptr), ""},
      {scripted::value(INT64_MIN), "-9223372036854775808"},
      {scripted::value(INT64_MAX), "9223372036854775807"},
      {scripted::value(1.5), "1.5"},
      {scripted::value(3.0), "3.0"},
      {scripted::value(-0.0), "-0.0"},
      {scripted::value(0.1), "0.1"},
      {scripted::value(100000.0), "100000.0"},
      {scripted::value(9999999999999998.0), "9999999999999998.0"},
      {scripted::value(1e16), "1e+16"},
      {scripted::value(1e20), "1e+20"},
      {scripted::value(0.0001), "0.0001"},
      {scripted::value(-0.00012345678901234567), "-0.00012345678901234567"},
      {scripted::value(0.00001), "1e-05"},
      {scripted::value(5e-324), "5e-324"},
      {scripted::value(-1.7976931348623157e308), "-1.7976931348623157e+308"},
      {scripted::value(infinity), "inf"},
      {scripted::value(-infinity), "-inf"},
      {scripted::value(-std::nan("")), "nan"},
      {scripted::value(std::string("a\0b", 3)), std::string("a\0b", 3)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.value.text(), c.text);
    RowValue spent = c.value;
    std::string taken = "something longer than the text that replaces it";
    spent.takeText(taken);
    EXPECT_EQ(taken, c.text);
    spent.setText("next", 4);
    EXPECT_EQ(spent.text(), "next");
  }
}

/// Converts each value both ways, into every type, and counts the short cuts taken.
class BothWays {
 public:
  void check(const RowValue& value) {
    if (vorn::isEmptyField(value)) return;
    compare<char>(value);
    compare<short>(value);
    compare<unsigned short>(value);
    compare<int>(value);
    compare<unsigned int>(value);
    compare<long>(value);
    compare<unsigned long>(value);
    compare<float>(value);
    compare<double>(value);
  }

  long shortCuts() const { return m_shortCuts; }
  long differences() const { return m_differences; }

 private:
  template <typename Target>
  void compare(const RowValue& value) {
    const Target untouched = 42;
    Target direct = untouched;
    Target byText = untouched;
    RowValue::TextBuffer buffer;
    const bool taken = vorn::convertDirectly(value, direct);
    if (taken) vorn::convertText(value.textView(buffer), byText);
    m_shortCuts += taken;
    // Bit by bit, so that -0.0 is not 0.0.
    if (std::memcmp(&direct, &byText, sizeof(Target)) == 0) return;
    ++m_differences;
    ADD_FAILURE() << typeid(Target).name() << " from '" << value.text() << "': " << direct << " for "
                  << byText;
  }

  long m_shortCuts = 0;
  long m_differences = 0;
};

TEST(FieldConversion, TakesTheShortCutOnlyWhereTheTextSaysTheSame) {
  constexpr int kRounds = 200000;
  std::mt19937_64 random(20240229);
  const auto below = [&](std::uint64_t bound) { return random() % bound; };
  BothWays bothWays;

  for (int bit = 0; bit < 64; ++bit) {  // around every limit of every integer type, and of exact doubles
    for (int delta = -2; delta <= 2; ++delta) {
      for (const std::uint64_t sign : {1UL, ~0UL}) {
        const auto integer =
            static_cast<std::int64_t>(sign * ((1UL << bit) + static_cast<std::uint64_t>(delta)));
        bothWays.check(scripted::value(integer));
        bothWays.check(scripted::value(std::to_string(integer)));
        bothWays.check(scripted::value(std::to_string(integer) + "0"));
        bothWays.check(scripted::value(static_cast<double>(integer)));
      }
    }
  }
  const std::string alphabet =
      std::string("0123456789012345678901234567890123456789.-+eExX ,_inaft") + '\0' + '\n';
  for (int i = 0; i < kRounds && bothWays.differences() < 10; ++i) {
    bothWays.check(
        scripted::value(static_cast<std::int64_t>(random() >> below(64)) * (below(2) != 0 ? 1 : -1)));
    double real;
    const std::uint64_t bits = random();
    std::memcpy(&real, &bits, sizeof real);
    bothWays.check(scripted::value(real));
    bothWays.check(scripted::value(static_cast<double>(below(2000000)) / 100));
    std::string text(1 + below(i % 2 == 0 ? 5 : 24), '0');
    for (char& byte : text) byte = alphabet[below(i % 3 == 0 ? 41 : alphabet.size())];
    bothWays.check(scripted::value(text));
  }
  EXPECT_GT(bothWays.shortCuts(), 9L * kRounds);
}

}  // namespace
