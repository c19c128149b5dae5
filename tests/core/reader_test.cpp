#include "vorn/reader.h"

#include <sstream>

#include "scripted/scripted_platform.h"
#include "support.h"

namespace {

using scripted::platform;

/// Every conversion here runs while the process writes its numbers in another way.
struct ReaderTest : scripted::PlatformTest {
  ReaderTest() { reader.initializeSession("default"); }

  /// Reads each FIELD of a list of FIELD>RESULT into a variable that holds `initial`.
  template <typename Value>
  void expect(Value initial, std::istringstream& cases) {
    for (std::string token; cases >> token;) {
      const std::size_t arrow = token.find('>');
      platform().rows = {{decode(token.substr(0, arrow)), {}}};
      ASSERT_TRUE(reader.hasNextElement());
      Value value = initial;
      CVORNNull null;
      int last = 0;
      reader >> null >> value >> last;
      std::ostringstream result;
      result.imbue(std::locale::classic());
      result.precision(17);
      if (null) result << '!';
      if (value != initial) result << value;
      EXPECT_EQ(result.str(), decode(token.substr(arrow + 1)).text())
          << token << " as " << typeid(Value).name();
    }
  }

  static vorn::RowValue decode(std::string text) {
    vorn::RowValue value;
    for (char& byte : text) byte = byte == '_' ? ' ' : byte == '^' ? '\0' : byte;
    if (text.starts_with("i:"))
      value.setInteger(std::stol(text.substr(2)));
    else if (text.starts_with("r:"))
      value.setReal(std::strtod(text.c_str() + 2, nullptr));
    else if (text != "~")
      value.setText(text.data(), text.size());
    return value;
  }

  /// Has the platform deliver rows, each a list of FIELD.
  static void deliver(const std::vector<std::string>& rows) {
    for (const std::string& list : rows) {
      std::istringstream fields(list);
      scripted::Row& row = platform().rows.emplace_back();
      for (std::string field; fields >> field;) row.push_back(decode(field));
    }
  }

  CVORNReader reader;
};

TEST_F(ReaderTest, Converts) {
  for (const auto& [list, unused] : casesOf("core/conversions.txt")) {
    std::istringstream cases(list);
    std::string type;
    cases >> type;
    if (type == "char") expect('c', cases);
    if (type == "short") expect(short{77}, cases);
    if (type == "ushort") expect<unsigned short>(77, cases);
    if (type == "int") expect(77, cases);
    if (type == "uint") expect(77U, cases);
    if (type == "long") expect(77L, cases);
    if (type == "ulong") expect(77UL, cases);
    if (type == "float") expect(77.0F, cases);
    if (type == "double") expect(77.0, cases);
    if (type == "string") expect(std::string("old"), cases);
    EXPECT_TRUE(cases.eof()) << "no such type: " << type;
  }
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
  platform().onCall = [](const vorn::TypedRef&) { throw std::bad_alloc(); };
  EXPECT_THROW(reader >> marker >> target, std::bad_alloc);
  reader >> target;
  EXPECT_FALSE(marker);
}

TEST_F(ReaderTest, StepsThroughRowsAndSessions) {
  deliver({"1 2", "3", "", "4 5"});
  std::string fields = reader.getNextField();
  while (reader.hasNextElement()) fields += ", " + reader.getNextField();
  EXPECT_EQ(fields, "1, 3, , 4") << "the first fields, that of a row without columns, too";
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
