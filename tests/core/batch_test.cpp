#include "vorn/batch_inserter.h"

#include <climits>
#include <tuple>

#include "faults/FailingAllocations.h"
#include "scripted/scripted_platform.h"
#include "vorn/database.h"

namespace {

using scripted::takeEvents;
using Columns = std::map<std::string, BaseTypeVector>;
using BatchTest = scripted::PlatformTest;

Columns columnsOf(const BatchInserter& batch) {
  Columns columns{{"old content", {}}};
  batch.GetParam(columns);
  return columns;
}

TEST_F(BatchTest, Renders) {
  const std::tuple<const char*, std::vector<const char*>, const char*> cases[] = {
      {"T_X", {}, "insert into T_X () values()"},
      {"", {"z", "a", "B"}, "insert into  (B, a, z) values({B}, {a}, {z})"},
      {"t'", {"a'b", ""}, "insert into t' (, a''b) values({}, {a''b})"},
  };
  for (const auto& [table, columns, text] : cases) {
    BatchInserter batch;
    EXPECT_EQ(batch.table(table).getTableName(), table);
    for (const char* column : columns) batch[column] << 1;
    EXPECT_EQ(batch["selected only"].toString(), text);
  }
}

/// Appends a value to a column of each type; only its own may take it.
template <typename Value>
void expectOnlyIn(BatchInserter& batch, const std::string& own, const Value& value, int line) {
  for (const std::string column : {"0", "1", "2", "3", "4"}) {
    batch[column] << value;
    const std::string refusal =
        "error " + own + " scrubbed [VORNLib]typeName is error. @BatchInserter:operator<<:";
    EXPECT_EQ(takeEvents(), column == own ? "" : refusal + std::to_string(line));
  }
}

TEST_F(BatchTest, ColumnIsOfTheTypeOfItsFirstValue) {
  BatchInserter batch;
  batch["0"] << std::string("it's");
  batch["1"] << 1;
  batch["2"] << 2U;
  batch["3"] << 1.5F;
  batch["4"] << 2.5;
  expectOnlyIn(batch, "1", true, 58);
  expectOnlyIn(batch, "0", std::string("text"), 70);
  expectOnlyIn(batch, "1", short{-2}, 82);
  expectOnlyIn(batch, "2", static_cast<unsigned short>(65535), 94);
  expectOnlyIn(batch, "1", -3, 106);
  expectOnlyIn(batch, "2", 4000000000U, 118);
  expectOnlyIn(batch, "1", LONG_MIN, 130);
  expectOnlyIn(batch, "2", ULONG_MAX, 142);
  expectOnlyIn(batch, "3", 0.25F, 154);
  expectOnlyIn(batch, "4", 0.5, 166);
  Columns columns = columnsOf(batch);
  EXPECT_EQ(columns["0"].m_strVec, (std::vector<std::string>{"it's", "text"}));
  EXPECT_EQ(columns["1"].m_longVec, (std::vector<long>{1, 1, -2, -3, LONG_MIN}));
  EXPECT_EQ(columns["2"].m_ulongVec, (std::vector<unsigned long>{2, 65535, 4000000000U, ULONG_MAX}));
  EXPECT_EQ(columns["3"].m_floatVec, (std::vector<float>{1.5F, 0.25F}));
  EXPECT_EQ(columns["4"].m_doubleVec, (std::vector<double>{2.5, 0.5}));
  EXPECT_EQ(columns.size(), 5u);
}

TEST_F(BatchTest, AppendsToItsOwnColumnsAfterCopyMoveAndClear) {
  BatchInserter first;
  first.table("t");
  first["a"] << 1;
  BatchInserter copy(first);
  copy << 2;
  first << 3;
  BatchInserter moved(std::move(copy));
  moved << 4;
  BatchInserter assigned;
  assigned["b"] << 6;
  assigned = first;
  assigned << 7;
  first.clear();
  EXPECT_EQ(first.toString(), "insert into t () values()");
  first << 8;
  EXPECT_EQ(columnsOf(first).at("").m_longVec, std::vector<long>{8});
  EXPECT_EQ(columnsOf(moved).at("a").m_longVec, (std::vector<long>{1, 2, 4}));
  EXPECT_EQ(columnsOf(assigned).at("a").m_longVec, (std::vector<long>{1, 3, 7}));
}

TEST_F(BatchTest, KeepsItsColumnsWhenAnAssignmentThrows) {
  BatchInserter source;
  source.table("a table with a long name");
  for (const char* column : {"a", "b", "c"}) source[column] << std::string("a text that needs memory");
  bool threw = true;
  for (long first = 1; threw; ++first) {
    BatchInserter target;
    target.table("t");
    target["a"] << 1;
    try {
      const FailingAllocations failing(first, FailingAllocations::Extent::Once);
      target = source;
      threw = false;
    } catch (const std::bad_alloc&) {
      target << 2;
      EXPECT_EQ(target.toString(), "insert into t (a) values({a})");
      EXPECT_EQ(columnsOf(target).at("a").m_longVec, (std::vector<long>{1, 2}));
    }
  }
}

TEST_F(BatchTest, PassesItsColumnsAsReadOnlyReferences) {
  BatchInserter batch;
  batch["z's"] << std::string("x") << std::string("y");
  batch["l"] << 1 << 2;
  batch["u"] << 3U << 4U;
  batch["f"] << 1.0F << 2.0F;
  batch["D"] << 1.0 << 2.0;
  std::map<std::string, std::uint32_t> elements;
  scripted::platform().onExecute = [&](const vorn::TypedRef& parameters) {
    EXPECT_EQ(parameters.type.code, vorn::type_code::kParameterSet);
    EXPECT_EQ(parameters.type.flags, vorn::type_flag::kReadOnly);
    for (const auto& [name, column] : *static_cast<const vorn::ParamRefMap*>(parameters.object)) {
      elements[name] = column.type.record->elementCode;
      EXPECT_EQ(column.type.code, vorn::type_code::kVector);
      EXPECT_EQ(column.type.flags, vorn::type_flag::kReadOnly);
      EXPECT_EQ(column.type.record->count(column.object), 2u);
      EXPECT_TRUE(name != "l" || static_cast<long*>(column.type.record->first(column.object))[1] == 2);
    }
  };
  EXPECT_EQ(MIRAsqlDB(false).ExecBatchInserter(batch), 0u);
  EXPECT_EQ(elements,
            (std::map<std::string, std::uint32_t>{{"D", 18}, {"f", 17}, {"l", 15}, {"u", 25}, {"z''s", 41}}));
  EXPECT_EQ(columnsOf(batch).at("z''s").m_strVec, (std::vector<std::string>{"x", "y"})) << "still there";
}

TEST(TypeRegistry, WorksOnAVectorThroughItsRecord) {
  using Texts = std::vector<std::string>;
  vorn::TypeDescriptor descriptors[2];
  for (auto& each : descriptors) vorn::TypeRegistry::registerVectorType<Texts>(each, 61, "std::vector", 0);
  const vorn::ContainerRecord& record = *descriptors[0].record;
  EXPECT_EQ(descriptors[1].record, &record);
  void* const container = record.basics.create();
  auto& vector = *static_cast<Texts*>(container);
  record.removeLast(container);
  EXPECT_EQ(record.first(container), nullptr);
  record.appendDefault(container);
  const std::string one = "one";
  record.appendCopy(container, &one);
  for (int i = 0; i < 40; ++i) record.appendCopy(container, &vector[1]);  // its own element, while it grows
  EXPECT_EQ(vector.back(), one);
  while (record.count(container) > 2) record.removeLast(container);
  vorn::ContainerCursor cursor{record.first(container)};
  record.next(container, cursor);
  EXPECT_EQ(cursor.element, &vector[1]);
  record.next(container, cursor);
  EXPECT_EQ(cursor.element, nullptr);
  record.removeAll(container);
  EXPECT_EQ(record.count(container), 0u);
  record.basics.destroy(container);
}

}  // namespace
