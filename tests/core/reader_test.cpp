#include "vorn/reader.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale>
#include <new>

#include "scripted/scripted_platform.h"

namespace {

long allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using scripted::platform;
using scripted::row;

/// Writes 1234.5 as 1.234,5.
class CommaPunctuation : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

/// Every conversion here runs while the process writes its numbers in another way.
class ReaderTest : public scripted::PlatformTest {
 protected:
  ReaderTest() : m_before(std::locale::global(std::locale(std::locale(), new CommaPunctuation))) {
    m_reader.initializeSession("default");
  }
  ~ReaderTest() override { std::locale::global(m_before); }

  void deliver(scripted::Row next) {
    platform().rows.push_back(std::move(next));
    ASSERT_TRUE(m_reader.hasNextElement());
  }

  template <typename Value>
  struct Case {
    vorn::RowValue field;
    Value value;
    bool null = false;
  };

  /// Reads each field into a variable that holds 77 (or "old") before.
  template <typename Value>
  void expect(Value before, const std::vector<Case<Value>>& cases) {
    for (const Case<Value>& c : cases) {
      deliver(row("in front", c.field, 5));
      std::string front;
      Value value = before;
      CVORNNull null;
      int behind = 0;
      m_reader >> front >> null >> value >> behind;
      EXPECT_EQ(value, c.value) << "from '" << c.field.text() << "'";
      EXPECT_EQ(null, c.null) << "from '" << c.field.text() << "'";
      EXPECT_EQ(behind, 5);
    }
  }

  CVORNReader m_reader;

 private:
  std::locale m_before;
};

vorn::RowValue field(const char* text) {
  return scripted::value(text);
}
template <typename Value>
vorn::RowValue field(Value value) {
  return scripted::value(value);
}

const char kHuge[] = "99999999999999999999";
const std::string kWithZeroByte(
    "12\0"
    "34",
    5);

TEST_F(ReaderTest, ConvertsToSmallIntegers) {
  expect<short>(77, {{field("12"), 12},
                     {field("-12"), -12},
                     {field(" +7x"), 7},
                     {field("007"), 7},
                     {field("32768"), 32767},
                     {field("-32769"), -32768},
                     {field(40000), 32767},
                     {field(kHuge), 32767},
                     {field("x"), 0},
                     {field("true"), 0},
                     {field("0x10"), 0},
                     {field("1.234"), 1},
                     {field("  "), 77},
                     {field(""), 77, true},
                     {field(nullptr), 77, true},
                     {field(3.75), 3},
                     {field(kWithZeroByte), 12}});
  expect<unsigned short>(77, {{field("65535"), 65535},
                              {field("65536"), 65535},
                              {field("-1"), 65535},
                              {field(-1), 65535},
                              {field("true"), 0},
                              {field(" "), 77},
                              {field(nullptr), 77, true}});
  expect<char>('c', {{field("xyz"), 'x'},
                     {field(" "), ' '},
                     {field(-5), '-'},
                     {field(2.5), '2'},
                     {field(std::string(1, '\0')), '\0'},
                     {field(""), 'c', true},
                     {field(nullptr), 'c', true}});
}

TEST_F(ReaderTest, ConvertsToIntegersThatKnowBooleanWords) {
  expect<int>(77, {{field("TRUE"), 1},
                   {field("true"), 1},
                   {field("FALSE"), 0},
                   {field("false"), 0},
                   {field("True"), 0},
                   {field("true "), 0},
                   {field("2147483647"), INT_MAX},
                   {field("2147483648"), INT_MAX},
                   {field(std::int64_t{INT_MIN} - 1), INT_MIN},
                   {field("1.234.567"), 1},
                   {field("\t42"), 42},
                   {field(100000.0), 100000},
                   {field("\n "), 77},
                   {field(""), 77, true},
                   {field(nullptr), 77, true}});
  expect<unsigned int>(77, {{field("true"), 1},
                            {field("FALSE"), 0},
                            {field("-1"), UINT_MAX},
                            {field(-2), UINT_MAX - 1},
                            {field(std::int64_t{1} << 32), UINT_MAX},
                            {field("4294967295"), UINT_MAX},
                            {field("-"), 0},
                            {field(nullptr), 77, true}});
}

TEST_F(ReaderTest, ConvertsToLongIntegers) {
  expect<long>(77, {{field(INT64_MIN), LONG_MIN},
                    {field("9223372036854775807"), LONG_MAX},
                    {field(kHuge), LONG_MAX},
                    {field("-9223372036854775809"), LONG_MIN},
                    {field("true"), 0},
                    {field("  -8,5"), -8},
                    {field("1.234.567"), 1},
                    {field("  "), 0},
                    {field("12e3"), 12},
                    {field(kWithZeroByte), 12},
                    {field(123456789012.0), 123456789012},
                    {field(""), 77, true},
                    {field(nullptr), 77, true}});
  expect<unsigned long>(77, {{field("18446744073709551615"), ULONG_MAX},
                             {field(kHuge), ULONG_MAX},
                             {field(-1), ULONG_MAX},
                             {field("-1"), ULONG_MAX},
                             {field(INT64_MIN), 1UL << 63},
                             {field(INT64_MAX), ULONG_MAX / 2},
                             {field("true"), 0},
                             {field(nullptr), 77, true}});
}

TEST_F(ReaderTest, ConvertsToReals) {
  const double infinity = std::numeric_limits<double>::infinity();
  expect<double>(77, {{field("1.5"), 1.5},
                      {field("1,5"), 1},
                      {field(" 0x1p4z"), 16},
                      {field("1e400"), infinity},
                      {field("-inf"), -infinity},
                      {field(infinity), infinity},
                      {field("x"), 0},
                      {field("true"), 0},
                      {field(INT64_MAX), 9223372036854775807.0},
                      {field(0.1), 0.1},
                      {field("2.2250738585072011e-308"), 2.2250738585072011e-308},
                      {field("5e-324"), 5e-324},
                      {field(" "), 0},
                      {field(""), 77, true},
                      {field(nullptr), 77, true}});
  expect<float>(77, {{field("0.1"), 0.1F},
                     {field(0.1), 0.1F},
                     {field(16777217), 16777216.0F},
                     {field("1e39"), std::numeric_limits<float>::infinity()},
                     {field(""), 77, true},
                     // Narrowed from double: rounding once, straight to float, would give the next one up.
                     {field("1.00000005960464477540"), 1.0F},
                     {field(nullptr), 77, true}});
  deliver(row("nan", std::nan("")));
  double text = 0;
  double real = 0;
  m_reader >> text >> real;
  EXPECT_TRUE(std::isnan(text) && std::isnan(real));
}

TEST_F(ReaderTest, ConvertsToStrings) {
  expect<std::string>("old", {{field("plain"), "plain"},
                              {field(" "), "", true},
                              {field("  "), "  "},
                              {field(kWithZeroByte), kWithZeroByte},
                              {field(1234567), "1234567"},
                              {field(1234.5), "1234.5"},
                              {field(3.0), "3.0"},
                              {field(""), "", true},
                              {field(nullptr), "", true}});
}

TEST_F(ReaderTest, MarksOnlyTheNextFieldAndLeavesWhatIsBehindTheRow) {
  deliver(row("a", nullptr, 3));
  std::string first = "x";
  int second = 77;
  int third = 77;
  long fourth = 77;
  std::string fifth = "x";
  CVORNNull beforeFirst;
  CVORNNull beforeFourth;
  m_reader >> beforeFirst >> first >> second >> third >> beforeFourth >> fourth >> fifth;
  EXPECT_FALSE(beforeFirst);
  EXPECT_TRUE(beforeFourth);
  EXPECT_EQ(second, 77);
  EXPECT_EQ(third, 3);
  EXPECT_EQ(fourth, 77);
  EXPECT_EQ(fifth, "");
  EXPECT_EQ(m_reader.getNextField(), "");

  CVORNNull kept;
  deliver(row(nullptr, 2));
  m_reader >> kept >> second >> kept >> third;
  EXPECT_TRUE(kept) << "a marker whose field is not empty keeps its value";
  deliver(row("text", nullptr));
  CVORNNull waiting;
  m_reader >> waiting;
  EXPECT_EQ(m_reader.getNextField(), "text") << "the plain field does not use up the marker";
  m_reader >> second;
  EXPECT_TRUE(waiting);
}

TEST_F(ReaderTest, StepsThroughRows) {
  platform().rows = {row(1, 2), row(3), row()};
  int value = 0;
  m_reader >> value;  // fetches the first row by itself
  EXPECT_EQ(value, 1);
  EXPECT_TRUE(m_reader());
  m_reader >> value;
  EXPECT_EQ(value, 3) << "a row left early is skipped, and its values are gone";
  EXPECT_EQ(m_reader.getNextField(), "");
  EXPECT_TRUE(m_reader.hasNextElement()) << "a row without columns is a row";
  EXPECT_EQ(m_reader.getNextField(), "");
  EXPECT_FALSE(m_reader.hasNextElement());
}

TEST_F(ReaderTest, KeepsTheOldRowUntilTheNextFetch) {
  deliver(row(1, 2, 3));
  int value = 0;
  m_reader >> value;
  EXPECT_FALSE(m_reader.hasNextElement());
  m_reader >> value;
  EXPECT_EQ(value, 2) << "the end of the result leaves the row";
  vorn::DataSession* const session = m_reader.initializeSession("other");
  m_reader >> value;
  EXPECT_EQ(value, 3) << "a second query without clear() too";
  EXPECT_EQ(session, m_reader.initializeSession("third"));
  m_reader.clear();
  EXPECT_EQ(platform().openSessions, 0);
  m_reader.initializeSession("other");
  platform().rows = {row(9)};
  m_reader >> value;
  EXPECT_EQ(value, 9);
  const std::vector<std::string> events{
      "open default", "fetch default 105 100", "fetch default 105 100", "close default",
      "open other",   "fetch other 105 100"};
  EXPECT_EQ(platform().events, events);
}

TEST_F(ReaderTest, ReadsNothingWithoutASession) {
  platform().rows = {row(1)};
  CVORNReader reader;
  int number = 77;
  std::string text = "x";
  CVORNNull null;
  reader >> null >> number >> text;
  EXPECT_TRUE(null);
  EXPECT_EQ(number, 77);
  EXPECT_EQ(text, "");
  EXPECT_FALSE(reader.hasNextElement());
  EXPECT_FALSE(reader());
  EXPECT_EQ(reader.initializeSession("late") != nullptr && reader.getNextField().empty(), true)
      << "a fetch was attempted already, so only hasNextElement() fetches";
  EXPECT_TRUE(reader.hasNextElement());
}

TEST_F(ReaderTest, AllocatesNothingOnceWarm) {
  const std::string longText(100, 'x');
  short s;
  unsigned long ul;
  float f;
  double d;
  std::string text(200, ' ');
  std::string real(200, ' ');
  CVORNNull null;
  for (int round = 0; round < 2; ++round) {
    deliver(row("+7", -1, " 1.5", longText, 2.5, 0.1));
    const long before = allocations;
    m_reader >> s >> null >> ul >> f >> text >> real >> d;
    EXPECT_EQ(round * (allocations - before), 0) << "in round " << round;
  }
  EXPECT_EQ(text, longText);
}

}  // namespace
