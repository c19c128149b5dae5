#include "vorn/batch_inserter.h"

#include <climits>

#include "faults/FailingAllocations.h"
#include "scripted/scripted_platform.h"
#include "vorn/database.h"

namespace {

using scripted::takeEvents;
using Columns = std::map<std::string, BaseTypeVector>;

struct BatchTest : scripted::PlatformTest {
  /// Each column has the type that its name numbers.
  BatchTest() {
    batch["0"] << std::string("it's");
    batch["1"] << 1;
    batch["2"] << 2U;
    batch["3"] << 1.5F;
    batch["4"] << 2.5;
  }

  /// Appends a value to every column; only one of its own type may take it.
  template <typename Value>
  void expectOnlyIn(const std::string& own, const Value& value, int line) {
    for (const std::string column : {"0", "1", "2", "3", "4"}) {
      batch[column] << value;
      const std::string refusal =
          "error " + own + " scrubbed [VORNLib]typeName is error. @BatchInserter:operator<<:";
      EXPECT_EQ(takeEvents(), column == own ? "" : refusal + std::to_string(line));
    }
  }

  static Columns columnsOf(const BatchInserter& inserter) {
    Columns columns{{"old content", {}}};
    inserter.GetParam(columns);
    return columns;
  }

  BatchInserter batch;
};

TEST_F(BatchTest, Renders) {
  EXPECT_EQ(BatchInserter().toString(), "insert into  () values()");
  EXPECT_EQ(batch.table("t'").getTableName(), "t'");
  batch["a'b"] << 1;
  batch["B"] << 1;
  EXPECT_EQ(batch["selected only"].toString(),
            "insert into t' (0, 1, 2, 3, 4, B, a''b) values({0}, {1}, {2}, {3}, {4}, {B}, {a''b})");
}

TEST_F(BatchTest, ColumnIsOfTheTypeOfItsFirstValue) {
  expectOnlyIn("1", true, 58);
  expectOnlyIn("0", std::string("text"), 70);
  expectOnlyIn("1", short{-2}, 82);
  expectOnlyIn("2", static_cast<unsigned short>(65535), 94);
  expectOnlyIn("1", -3, 106);
  expectOnlyIn("2", 4000000000U, 118);
  expectOnlyIn("1", LONG_MIN, 130);
  expectOnlyIn("2", ULONG_MAX, 142);
  expectOnlyIn("3", 0.25F, 154);
  expectOnlyIn("4", 0.5, 166);
  Columns columns = columnsOf(batch);
  EXPECT_EQ(columns["0"].m_strVec, (std::vector<std::string>{"it's", "text"}));
  EXPECT_EQ(columns["1"].m_longVec, (std::vector<long>{1, 1, -2, -3, LONG_MIN}));
  EXPECT_EQ(columns["2"].m_ulongVec, (std::vector<unsigned long>{2, 65535, 4000000000U, ULONG_MAX}));
  EXPECT_EQ(columns["3"].m_floatVec, (std::vector<float>{1.5F, 0.25F}));
  EXPECT_EQ(columns["4"].m_doubleVec, (std::vector<double>{2.5, 0.5}));
  EXPECT_EQ(columns.size(), 5u);
}

TEST_F(BatchTest, AppendsToItsOwnColumnsAfterCopyMoveAndClear) {
  BatchInserter copy(batch["1"] << 2);
  copy << 3;
  batch << 4;
  BatchInserter moved(std::move(copy));
  moved << 5;
  BatchInserter assigned;
  assigned["b"] << 6;
  assigned = batch;
  assigned << 7;
  batch.clear();
  batch << 8;
  EXPECT_EQ(columnsOf(batch).at("").m_longVec, std::vector<long>{8});
  EXPECT_EQ(columnsOf(moved).at("1").m_longVec, (std::vector<long>{1, 2, 3, 5}));
  EXPECT_EQ(columnsOf(assigned).at("1").m_longVec, (std::vector<long>{1, 2, 4, 7}));
}

TEST_F(BatchTest, KeepsItsColumnsWhenAnAssignmentThrows) {
  batch.table("a table with a long name");
  bool threw = true;
  for (long first = 1; threw; ++first) {
    BatchInserter target;
    target["a"] << 1;
    try {
      FailingAllocations::arm(first, FailingAllocations::Extent::Once);
      target = batch;
      threw = FailingAllocations::disarm();
    } catch (const std::bad_alloc&) {
      target << 2;
      EXPECT_EQ(target.toString(), "insert into  (a) values({a})");
      EXPECT_EQ(columnsOf(target).at("a").m_longVec, (std::vector<long>{1, 2}));
    }
  }
}

TEST_F(BatchTest, PassesItsColumnsAsReadOnlyReferences) {
  std::map<std::string, std::uint32_t> elements;
  scripted::platform().onCall = [&](const vorn::TypedRef& parameters) {
    EXPECT_EQ(parameters.type.code, vorn::type_code::kParameterSet);
    EXPECT_EQ(parameters.type.flags, vorn::type_flag::kReadOnly);
    for (const auto& [name, column] : *static_cast<const vorn::ParamRefMap*>(parameters.object)) {
      elements[name] = column.type.record->elementCode;
      EXPECT_EQ(column.type.code, vorn::type_code::kVector);
      EXPECT_EQ(column.type.flags, vorn::type_flag::kReadOnly);
      EXPECT_EQ(column.type.record->count(column.object), 1u);
      EXPECT_TRUE(name != "1" || *static_cast<long*>(column.type.record->first(column.object)) == 1);
    }
  };
  EXPECT_EQ(MIRAsqlDB(false).ExecBatchInserter(batch), 0u);
  EXPECT_EQ(elements,
            (std::map<std::string, std::uint32_t>{{"0", 41}, {"1", 15}, {"2", 25}, {"3", 17}, {"4", 18}}));
  EXPECT_EQ(columnsOf(batch).at("0").m_strVec.front(), "it's") << "still there";
}

TEST(TypeRegistry, AppendsToAVectorThroughItsRecord) {
  std::vector<std::string> texts;
  vorn::TypeDescriptor type;
  vorn::TypeRegistry::registerVectorType<std::vector<std::string>>(type, 61, "std::vector", 0);
  type.record->removeLast(&texts);
  EXPECT_EQ(type.record->first(&texts), nullptr);
  type.record->appendDefault(&texts);
  const std::string one = "one";
  type.record->appendCopy(&texts, &one);
  for (int i = 0; i < 40; ++i) type.record->appendCopy(&texts, &texts[1]);  // its own, while it grows
  EXPECT_EQ(texts.back(), one);
}

}  // namespace
