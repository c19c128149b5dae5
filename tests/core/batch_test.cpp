#include "vorn/batch_inserter.h"

#include <climits>

#include "faults/FailingAllocations.h"
#include "scripted/scripted_platform.h"
#include "support.h"
#include "vorn/database.h"

namespace {

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
    for (const char* const column : {"0", "1", "2", "3", "4"}) batch[column] << value;
    const std::string refusal = "error " + own + " scrubbed [VORNLib]typeName is error. ";
    const std::string place = "@BatchInserter:operator<<:" + std::to_string(line);
    EXPECT_EQ(split(scripted::takeEvents() + "; ", refusal + place + "; ").size(), 5U);
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
  EXPECT_EQ(batch["selected only"].toString(),
            "insert into t' (0, 1, 2, 3, 4, a''b) values({0}, {1}, {2}, {3}, {4}, {a''b})");
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
  for (long first = 1;; ++first) {
    BatchInserter target;
    target["a"] << 1;
    try {
      FailingAllocations::arm(first, false);
      target = batch;
      if (!FailingAllocations::disarm()) break;
    } catch (const std::bad_alloc&) {
      target << 2;
      EXPECT_EQ(target.toString(), "insert into  (a) values({a})");
      EXPECT_EQ(columnsOf(target).at("a").m_longVec, (std::vector<long>{1, 2}));
    }
  }
}

TEST_F(BatchTest, PassesItsColumnsReadOnly) {
  scripted::platform.answer = [](const std::string&, const vorn::TypedRef& parameters) {
    EXPECT_EQ(parameters.type.flags, vorn::type_flag::kReadOnly);
    for (const auto& [name, column] : *static_cast<const vorn::ParamRefMap*>(parameters.object))
      EXPECT_EQ(column.type.flags, vorn::type_flag::kReadOnly) << name;
    return vorn::ExecResult();
  };
  EXPECT_EQ(MIRAsqlDB(false).ExecBatchInserter(batch), 0u);
}

TEST(TypeRegistry, AppendsToAVectorThroughItsRecord) {
  std::vector<std::string> texts;
  vorn::TypeDescriptor type;
  vorn::TypeRegistry::registerVectorType<std::vector<std::string>>(type, 61, "std::vector", 0);
  type.record->removeLast(&texts);
  EXPECT_EQ(type.record->first(&texts), nullptr);
  type.record->appendDefault(&texts);
  texts[0] = "its own, while it grows";
  type.record->appendCopy(&texts, &texts[0]);
  EXPECT_EQ(texts, std::vector<std::string>(2, texts[0]));
}

}  // namespace
