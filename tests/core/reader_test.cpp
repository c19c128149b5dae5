#include "vorn/reader.h"

#include <charconv>
#include <map>
#include <sstream>

#include "scripted/scripted_platform.h"
#include "support.h"

namespace {

using scripted::platform;

struct ReaderTest : scripted::PlatformTest {
  ReaderTest() { reader.initializeSession("default"); }

  /// Reads each FIELD of a list of FIELD>RESULT into a variable that holds M, which is 77.
  template <typename Value>
  void expect(const std::vector<std::string>& cases) {
    for (const std::string& each : cases) {
      deliver({split(each, ">")[0]});
      ASSERT_TRUE(reader.hasNextElement());
      Value value{};
      value = 'M';
      const Value initial = value;
      CVORNNull null;
      int last = 0;
      reader >> null >> value >> last;
      std::ostringstream result;
      result.precision(17);
      if (null) result << '!';
      if (value != initial) result << value;
      EXPECT_EQ(result.str(), decode(split(each, ">")[1]).text()) << each << " as " << typeid(Value).name();
    }
  }

  static vorn::RowValue decode(std::string text) {
    vorn::RowValue value;
    double real = 0;
    for (char& byte : text) byte = byte == '_' ? ' ' : byte == '^' ? '\0' : byte;
    if (text.starts_with("i:")) {
      value.setInteger(std::stol(text.substr(2)));
    } else if (text.starts_with("r:")) {
      std::from_chars(text.data() + 2, text.data() + text.size(), real);
      value.setReal(real);
    } else if (text != "~") {
      value.setText(text.data(), text.size());
    }
    return value;
  }

  /// Has the platform deliver rows, each a list of FIELD.
  static void deliver(const std::vector<std::string>& rows) {
    for (const std::string& list : rows) {
      scripted::Row& row = platform.rows.emplace_back();
      for (const std::string& field : split(list, " ")) row.push_back(decode(field));
    }
  }

  CVORNReader reader;
};

TEST_F(ReaderTest, Converts) {
  using Tests = ReaderTest;
  const std::map<std::string, void (Tests::*)(const std::vector<std::string>&)> types = {
      {"char", &Tests::expect<char>},
      {"short", &Tests::expect<short>},
      {"ushort", &Tests::expect<unsigned short>},
      {"int", &Tests::expect<int>},
      {"uint", &Tests::expect<unsigned>},
      {"long", &Tests::expect<long>},
      {"ulong", &Tests::expect<unsigned long>},
      {"float", &Tests::expect<float>},
      {"double", &Tests::expect<double>},
      {"string", &Tests::expect<std::string>}};
  for (const auto& [type, cases] : casesOf("core/conversions.txt"))
    (this->*types.at(type))(split(cases, " "));
}

TEST_F(ReaderTest, MarksOnlyTheNextFieldAndLeavesWhatIsBehindTheRow) {
  std::string first = "x";
  std::string text = "x";
  std::vector<long> numbers = {77, 77, 77};
  CVORNNull full;
  CVORNNull missing;
  CVORNNull waiting;
  deliver({"a ~ 3", "text ~ 4"});
  reader >> full >> first >> numbers[0] >> numbers[1] >> missing >> numbers[2] >> text;
  EXPECT_EQ(first, "a");
  EXPECT_EQ(numbers, (std::vector<long>{77, 3, 77}));
  EXPECT_TRUE(!full && missing && text.empty());
  EXPECT_TRUE(reader.getNextField().empty() && reader());
  reader >> waiting;
  EXPECT_EQ(reader.getNextField(), "text") << "the plain field does not use up the marker";
  reader >> numbers[0] >> missing >> numbers[1];
  EXPECT_TRUE(waiting && missing) << "a marker whose field is not empty keeps its value";
}

TEST_F(ReaderTest, ForgetsTheMarkerOfAFieldWhoseRowCannotBeFetched) {
  CVORNNull marker;
  int target = 1;
  platform.answer = [](auto&, auto&) -> vorn::ExecResult { throw std::bad_alloc(); };
  EXPECT_THROW(reader >> marker >> target, std::bad_alloc);
  reader >> target;
  EXPECT_FALSE(marker);
}

TEST_F(ReaderTest, StepsThroughRowsAndSessions) {
  deliver({"1 2", "3", "4 5"});
  std::string fields = reader.getNextField();
  while (reader.hasNextElement()) fields += ", " + reader.getNextField();
  EXPECT_EQ(fields, "1, 3, 4");
  EXPECT_EQ(reader.initializeSession("ignored"), reader.initializeSession("too"));
  EXPECT_EQ(reader.getNextField(), "5") << "neither the end nor a second query leaves the row";
  scripted::takeEvents();
  reader.clear();
  EXPECT_EQ(reader.getNextField(), "") << "not bound";
  EXPECT_FALSE(reader.hasNextElement());
  deliver({"7"});
  reader.initializeSession("other");
  EXPECT_EQ(reader.getNextField(), "") << "a fetch was tried already";
  EXPECT_TRUE(reader.hasNextElement());
  EXPECT_EQ(reader.getNextField(), "7");
  EXPECT_EQ(scripted::takeEvents(), "close; open other; fetch 105 100");
}

}  // namespace
