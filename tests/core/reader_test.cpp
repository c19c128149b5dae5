#include "vorn/reader.h"

#include <climits>
#include <locale>
#include <sstream>

#include "scripted/scripted_platform.h"

namespace {

using scripted::platform;
using scripted::row;

/// Writes 1234.5 as 1.234,5.
class CommaPunctuation : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

/// Every conversion here runs while the process writes its numbers in another way.
struct ReaderTest : scripted::PlatformTest {
  ReaderTest() { reader.initializeSession("default"); }
  ~ReaderTest() override { std::locale::global(before); }

  /// Reads each FIELD of a list of FIELD>RESULT into a variable that holds `initial`.
  ///
  /// FIELD is a text, `null`, or a number after `i:` or `r:`. RESULT is `!` for a marked field, then the
  /// variable unless it kept its value. `_` stands for a blank and `~` for a zero byte.
  template <typename Value>
  void expect(Value initial, const std::string& list) {
    std::istringstream cases(list);
    for (std::string token; cases >> token;) {
      const std::size_t arrow = token.find('>');
      platform().rows.push_back(row("in front", decode(token.substr(0, arrow)), 5));
      ASSERT_TRUE(reader.hasNextElement());
      std::string front;
      Value value = initial;
      CVORNNull null;
      int behind = 0;
      reader >> front >> null >> value >> behind;
      std::ostringstream result;
      result.imbue(std::locale::classic());
      result.precision(17);
      if (null) result << '!';
      if (value != initial) result << value;
      EXPECT_EQ(result.str(), decode(token.substr(arrow + 1)).text()) << token << " as " << typeid(Value).name();
      EXPECT_EQ(behind, 5);
    }
  }

  static vorn::RowValue decode(std::string text) {
    if (text == "null") return scripted::value(nullptr);
    if (text.starts_with("i:")) return scripted::value(std::stol(text.substr(2)));
    if (text.starts_with("r:")) return scripted::value(std::strtod(text.c_str() + 2, nullptr));
    for (char& byte : text) byte = byte == '_' ? ' ' : byte == '~' ? '\0' : byte;
    return scripted::value(text);
  }

  std::locale before = std::locale::global(std::locale(std::locale(), new CommaPunctuation));
  CVORNReader reader;
};

TEST_F(ReaderTest, Converts) {
  expect<char>('c', "xyz>x _>_ i:-5>- r:2.5>2 ~>~ >! null>!");
  expect<short>(77, R"(12>12 -12>-12 _+7x>7 007>7 32768>32767 -32769>-32768 i:40000>32767 x>0 true>0 0x10>0
    99999999999999999999>32767 1.234>1 __> >! null>! r:3.75>3 12~34>12 1e3>1)");
  expect<unsigned short>(77, "65535>65535 65536>65535 -1>65535 i:-1>65535 -65536>65535 true>0 _> >! null>!");
  expect<int>(77, R"(TRUE>1 true>1 FALSE>0 false>0 True>0 true_>0 _true>0 2147483647>2147483647 __> >! null>!
    2147483648>2147483647 i:-2147483649>-2147483648 1.234.567>1 _42>42 r:100000>100000 r:1e20>1)");
  expect<unsigned int>(77, R"(true>1 FALSE>0 -1>4294967295 i:-2>4294967294 i:4294967296>4294967295
    4294967295>4294967295 ->0 _> >! null>!)");
  expect<long>(77, R"(i:-9223372036854775808>-9223372036854775808 9223372036854775807>9223372036854775807
    99999999999999999999>9223372036854775807 -9223372036854775809>-9223372036854775808 true>0 _-8,5>-8
    1.234.567>1 __>0 12e3>12 12~34>12 r:123456789012>123456789012 >! null>!)");
  expect<unsigned long>(77,
                        R"(18446744073709551615>18446744073709551615 18446744073709551616>18446744073709551615
    i:-1>18446744073709551615 -1>18446744073709551615 i:9223372036854775807>9223372036854775807 true>0
    i:-9223372036854775808>9223372036854775808 __>0 >! null>!)");
  expect<double>(77,
                 R"(1.5>1.5 1,5>1 _0x1p4z>16 1e400>inf -inf>-inf r:inf>inf x>0 true>0 r:0.5>0.5 _>0 nan>nan
    r:nan>nan i:9223372036854775807>9.2233720368547758e+18 5e-324>4.9406564584124654e-324 >! null>!)");
  // The last but one is narrowed from double; rounded once it would be the next float.
  expect<float>(77, R"(0.5>0.5 0.1>0.10000000149011612 r:0.1>0.10000000149011612 i:16777217>16777216 1e39>inf
    1.00000005960464477540>1 >! null>!)");
  expect<std::string>("old", R"(plain>plain _>! __>__ 12~34>12~34 i:1234567>1234567 r:1234.5>1234.5 r:3>3.0
    true>true r:-0.0>-0.0 r:0.1>0.1 r:100000>100000.0 r:9999999999999998>9999999999999998.0 r:1e16>1e+16
    r:18014398509481984>1.8014398509481984e+16
    r:1e20>1e+20 r:0.0001>0.0001 r:-0.00012345678901234567>-0.00012345678901234567 r:0.00001>1e-05
    r:-1.7976931348623157e308>-1.7976931348623157e+308 r:5e-324>5e-324 r:inf>inf r:-inf>-inf r:-nan>nan
    >! null>!)");
}

TEST_F(ReaderTest, MarksOnlyTheNextFieldAndLeavesWhatIsBehindTheRow) {
  std::string first = "x", text = "x";
  int second = 77, third = 77;
  long fourth = 77;
  CVORNNull full, missing, waiting;
  platform().rows = {row("a", nullptr, 3), row("text", nullptr, 4)};
  reader >> full >> first >> second >> third >> missing >> fourth >> text;
  EXPECT_EQ(first + std::to_string(second) + std::to_string(third) + std::to_string(fourth), "a77377");
  EXPECT_TRUE(!full && missing && text.empty());
  EXPECT_TRUE(reader.getNextField().empty() && reader());
  reader >> waiting;
  EXPECT_EQ(reader.getNextField(), "text") << "the plain field does not use up the marker";
  reader >> second >> missing >> third;
  EXPECT_TRUE(waiting && missing) << "a marker whose field is not empty keeps its value";
}

TEST_F(ReaderTest, StepsThroughRowsAndSessions) {
  const auto next = [&] { return reader.getNextField(); };
  platform().rows = {row(1, 2), row(3), row(), row(4, 5, 6)};
  EXPECT_EQ(next(), "1") << "the first extraction fetches the first row";
  EXPECT_TRUE(reader());
  EXPECT_EQ(next() + next(), "3") << "a row left early is gone";
  EXPECT_TRUE(reader.hasNextElement()) << "a row without columns is a row";
  EXPECT_EQ(next(), "");
  EXPECT_TRUE(reader.hasNextElement());
  EXPECT_EQ(next(), "4");
  EXPECT_FALSE(reader.hasNextElement());
  EXPECT_EQ(next(), "5") << "the end of the result leaves the row";
  EXPECT_EQ(reader.initializeSession("ignored"), reader.initializeSession("too"));
  EXPECT_EQ(next(), "6") << "and so does a second query without clear()";
  platform().rows = {row(0), row(7)};
  reader.clear();
  reader.initializeSession("default");
  EXPECT_EQ(next(), "0") << "a cleared reader fetches by itself again";
  scripted::takeEvents();
  reader.clear();
  EXPECT_EQ(next(), "") << "not bound";
  reader.initializeSession("other");
  EXPECT_EQ(next(), "") << "a fetch was tried already";
  EXPECT_TRUE(reader.hasNextElement());
  EXPECT_EQ(next(), "7");
  EXPECT_EQ(scripted::takeEvents(), "close default; open other; fetch other 105 100");
}

}  // namespace
