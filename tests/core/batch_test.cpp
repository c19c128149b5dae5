#include "vorn/batch_inserter.h"

#include <climits>
#include <memory>
#include <sstream>
#include <thread>
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
      {"T_ALARM", {"name", "id"}, "insert into T_ALARM (id, name) values({id}, {name})"},
      {"T_X", {}, "insert into T_X () values()"},
      {"", {"a"}, "insert into  (a) values({a})"},
      {"t", {"z", "a", "B"}, "insert into t (B, a, z) values({B}, {a}, {z})"},
      {"t'", {"a'b"}, "insert into t' (a''b) values({a''b})"},
      {"t", {"", "b"}, "insert into t (, b) values({}, {b})"},
  };
  for (const auto& [table, columns, text] : cases) {
    BatchInserter batch;
    EXPECT_EQ(batch.table(table).getTableName(), table);
    for (const char* column : columns) batch[column] << 1;
    EXPECT_EQ(batch["selected only"].toString(), text);
  }
}

TEST_F(BatchTest, ColumnIsOfTheTypeOfItsFirstValue) {
  BatchInserter batch;
  batch["0"] << std::string("it's"), batch["1"] << 1, batch["2"] << 2U, batch["3"] << 1.5F, batch["4"] << 2.5;
  const auto append = [&](const auto& value, int own,
                          int line) {  // to a column of each type; only its own may take it
    const std::string code = std::to_string(own),
                      place = " @BatchInserter:operator<<:" + std::to_string(line);
    for (const std::string column : {"0", "1", "2", "3", "4"}) {
      batch[column] << value;
      EXPECT_EQ(takeEvents(),
                column == code ? "" : "error " + code + " scrubbed [VORNLib]typeName is error." + place);
    }
  };
  append(true, 1, 58), append(std::string("text"), 0, 70), append(short{-2}, 1, 82);
  append(static_cast<unsigned short>(65535), 2, 94), append(-3, 1, 106), append(4000000000U, 2, 118);
  append(LONG_MIN, 1, 130), append(ULONG_MAX, 2, 142), append(0.25F, 3, 154), append(0.5, 4, 166);
  Columns columns = columnsOf(batch);
  EXPECT_EQ(columns["0"].m_strVec, (std::vector<std::string>{"it's", "text"}));
  EXPECT_EQ(columns["1"].m_longVec, (std::vector<long>{1, 1, -2, -3, LONG_MIN}));
  EXPECT_EQ(columns["2"].m_ulongVec, (std::vector<unsigned long>{2, 65535, 4000000000U, ULONG_MAX}));
  EXPECT_EQ(columns["3"].m_floatVec, (std::vector<float>{1.5F, 0.25F}));
  EXPECT_EQ(columns["4"].m_doubleVec, (std::vector<double>{2.5, 0.5}));
  EXPECT_EQ(columns.size(), 5u);
}

TEST_F(BatchTest, AppendsToItsOwnColumnsAfterCopyMoveAndClear) {
  BatchInserter first, assigned;
  first.table("t"), first["a"] << 1;
  BatchInserter copy(first);
  copy << 2, first << 3;
  BatchInserter moved(std::move(copy));
  copy << 9;  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  moved << 4, copy.clear(), copy["a"] << 5;

  for (const char* column : {"0", "b", "0"}) assigned[column] << 6;
  assigned = first, assigned << 7;
  first.clear();
  EXPECT_EQ(first.toString(), "insert into t () values()");
  first << 8;
  EXPECT_EQ(columnsOf(first).at("").m_longVec, std::vector<long>{8});
  EXPECT_EQ(columnsOf(copy).at("a").m_longVec, std::vector<long>{5});
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
    target.table("t"), target["a"] << 1;
    try {
      const FailingAllocations failing(first, FailingAllocations::Extent::Once);
      target = source, threw = false;
    } catch (const std::bad_alloc&) {
      target << 2;
      EXPECT_EQ(target.toString(), "insert into t (a) values({a})");
      EXPECT_EQ(columnsOf(target).at("a").m_longVec, (std::vector<long>{1, 2}));
    }
  }
}

TEST_F(BatchTest, PassesItsColumnsAsReadOnlyReferences) {
  BatchInserter batch;
  batch["z's"] << std::string("x") << std::string("y"), batch["l"] << 1 << 2, batch["u"] << 3U << 4U;
  batch["f"] << 1.0F << 2.0F, batch["D"] << 1.0 << 2.0;
  std::ostringstream found;
  scripted::platform().onExecute = [&](const vorn::TypedRef& parameters) {
    found << parameters.type.code << '/' << +parameters.type.flags << '/'
          << (parameters.type.record == nullptr);
    for (const auto& [name, column] : *static_cast<const vorn::ParamRefMap*>(parameters.object)) {
      const vorn::ContainerRecord& record = *column.type.record;
      found << ' ' << name << '/' << column.type.code << '/' << +column.type.flags << '/'
            << record.elementCode << '/' << record.count(column.object);
      EXPECT_TRUE(name != "l" || static_cast<long*>(record.first(column.object))[1] == 2);
    }
  };
  EXPECT_EQ(MIRAsqlDB(false).ExecBatchInserter(batch), 0u);
  EXPECT_EQ(found.str(), "101/32/1 D/61/32/18/2 f/61/32/17/2 l/61/32/15/2 u/61/32/25/2 z''s/61/32/41/2");
  EXPECT_EQ(columnsOf(batch).at("z''s").m_strVec, (std::vector<std::string>{"x", "y"})) << "still there";
}

template <typename Vector>
void expectRecordWorks() {
  using Element = typename Vector::value_type;
  vorn::TypeDescriptor descriptors[2];
  for (auto& each : descriptors) vorn::TypeRegistry::registerVectorType<Vector>(each, 61, "std::vector", 0);
  const vorn::ContainerRecord& record = *descriptors[0].record;
  EXPECT_EQ(descriptors[1].record, &record);
  EXPECT_TRUE(record.basics.objectSize == sizeof(Vector) && (record.flags & 0x30) == 0);

  void* const container = record.basics.create();
  auto& vector = *static_cast<Vector*>(container);
  const auto walk = [&](auto step, vorn::ContainerCursor cursor) {
    Vector elements;
    for (; cursor.element; step(container, cursor))
      elements.push_back(*static_cast<Element*>(cursor.element));
    record.previous(container, cursor), record.next(container, cursor);
    EXPECT_EQ(cursor.element, nullptr) << "the end stays the end";
    return elements;
  };
  record.removeLast(container);
  EXPECT_EQ(record.first(container), nullptr);
  Element zero{}, one{}, two{};
  std::istringstream("1 2") >> one >> two;
  record.appendDefault(container), record.appendCopy(container, &one);
  const void* const appended = record.appendCopy(container, &two);
  EXPECT_EQ(appended, &vector.back());
  for (int i = 0; i < 40; ++i) record.appendCopy(container, &vector[1]);  // its own element, while it grows
  EXPECT_EQ(vector.back(), one);
  while (record.count(container) > 3) record.removeLast(container);
  EXPECT_EQ(walk(record.next, {record.first(container)}), (Vector{zero, one, two}));
  const std::unique_ptr<vorn::ContainerCursor, decltype(record.freeCursor)> last(
      record.makeLastCursor(container), record.freeCursor);
  EXPECT_EQ(walk(record.previous, *last), (Vector{two, one, zero}));
  record.removeAll(container);
  EXPECT_EQ(record.count(container), 0u);
  record.basics.destroy(container);
}

TEST(TypeRegistry, WorksOnContainersThroughTheirRecords) {
  expectRecordWorks<std::vector<std::string>>(), expectRecordWorks<std::vector<long>>();
  expectRecordWorks<std::vector<unsigned long>>(), expectRecordWorks<std::vector<float>>(),
      expectRecordWorks<std::vector<double>>();
  auto lock = vorn::TypeRegistry::registryLock();
  lock.acquire(), lock.acquire(), lock.release(), lock.release();
  std::thread([&] { lock.acquire(), lock.release(); }).join();  // hangs unless it is free again
}

}  // namespace
