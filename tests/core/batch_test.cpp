#include "vorn/batch_inserter.h"

#include <climits>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

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

struct ColumnTypeTest : BatchTest {
  /// Appends the value to one column of each type; only that of type `own` may take it.
  template <typename Value>
  void append(const Value& value, int own, int line) {
    for (int type = 0; type < 5; ++type) {
      batch[std::to_string(type)] << value;
      const std::string rejected = "error " + std::to_string(own) + " scrubbed [VORNLib]typeName is error.";
      const std::string place = " @BatchInserter:operator<<:" + std::to_string(line);
      EXPECT_EQ(takeEvents(), type == own ? "" : rejected + place);
    }
  }

  BatchInserter batch;
};

TEST_F(ColumnTypeTest, IsThatOfTheFirstValue) {
  batch["0"] << std::string("it's");
  batch["1"] << 1;
  batch["2"] << 2U;
  batch["3"] << 1.5F;
  batch["4"] << 2.5;
  append(true, 1, 58);
  append(std::string("text"), 0, 70);
  append(short{-2}, 1, 82);
  append(static_cast<unsigned short>(65535), 2, 94);
  append(-3, 1, 106);
  append(4000000000U, 2, 118);
  append(LONG_MIN, 1, 130);
  append(ULONG_MAX, 2, 142);
  append(0.25F, 3, 154);
  append(0.5, 4, 166);
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
  copy << 9;  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  moved << 4;
  copy.clear();
  copy["a"] << 5;

  BatchInserter assigned;
  for (const char* column : {"0", "b", "0"}) assigned[column] << 6;
  assigned = first;
  assigned << 7;
  first.clear();
  EXPECT_EQ(first.toString(), "insert into t () values()");
  first << 8;
  EXPECT_EQ(columnsOf(first).at("").m_longVec, std::vector<long>{8});
  EXPECT_EQ(columnsOf(copy).at("a").m_longVec, std::vector<long>{5});
  EXPECT_EQ(columnsOf(moved).at("a").m_longVec, (std::vector<long>{1, 2, 4}));
  EXPECT_EQ(columnsOf(assigned).at("a").m_longVec, (std::vector<long>{1, 3, 7}));
}

TEST_F(BatchTest, PassesItsColumnsAsReadOnlyReferences) {
  BatchInserter batch;
  batch["z's"] << std::string("x") << std::string("y");
  batch["l"] << 1 << 2;
  batch["u"] << 3U << 4U;
  batch["f"] << 1.0F << 2.0F;
  batch["D"] << 1.0 << 2.0;
  std::string found;
  scripted::platform().onExecute = [&](const std::string&, const vorn::TypedRef* parameters) {
    EXPECT_EQ(parameters->type.record, nullptr);
    found = std::to_string(parameters->type.code) + '/' + std::to_string(parameters->type.flags);
    for (const auto& [name, column] : *static_cast<const vorn::ParamRefMap*>(parameters->object)) {
      const vorn::ContainerRecord& record = *column.type.record;
      found += ' ' + name;
      for (const std::size_t number :
           {std::size_t{column.type.code}, std::size_t{column.type.flags}, std::size_t{record.elementCode}, record.count(column.object)}) {
        found += '/' + std::to_string(number);
      }
      EXPECT_TRUE(name != "l" || static_cast<long*>(record.first(column.object))[1] == 2);
    }
  };
  EXPECT_EQ(MIRAsqlDB(false).ExecBatchInserter(batch), 0u);
  EXPECT_EQ(found, "101/32 D/61/32/18/2 f/61/32/17/2 l/61/32/15/2 u/61/32/25/2 z''s/61/32/41/2");
  EXPECT_EQ(columnsOf(batch).at("z''s").m_strVec, (std::vector<std::string>{"x", "y"})) << "still there";
}

template <typename Vector>
const vorn::ContainerRecord& recordOf() {
  vorn::TypeDescriptor descriptor;
  vorn::TypeRegistry::registerVectorType<Vector>(descriptor, vorn::type_code::kVector, "std::vector", 0);
  return *descriptor.record;
}

template <typename Vector>
struct RegistryTest : ::testing::Test {};

using VectorTypes =
    ::testing::Types<std::vector<std::string>, std::vector<long>, std::vector<unsigned long>, std::vector<float>, std::vector<double>>;
TYPED_TEST_SUITE(RegistryTest, VectorTypes);

TYPED_TEST(RegistryTest, MakesOneRecordForAllThreads) {
  std::vector<const vorn::ContainerRecord*> records(8);
  std::vector<std::thread> threads(8);
  for (std::size_t i = 0; i < 8; ++i) threads[i] = std::thread([&, i] { records[i] = &recordOf<TypeParam>(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set<const vorn::ContainerRecord*>(records.begin(), records.end()).size(), 1u);
}

TYPED_TEST(RegistryTest, WorksOnTheContainerThroughItsRecord) {
  using Element = typename TypeParam::value_type;
  const vorn::ContainerRecord& record = recordOf<TypeParam>();
  EXPECT_STREQ(record.basics.name, "std::vector");
  EXPECT_EQ(record.basics.objectSize, sizeof(TypeParam));
  EXPECT_EQ(record.flags & 0x30, 0);
  void* const container = record.basics.create();
  auto& vector = *static_cast<TypeParam*>(container);
  const auto walkBack = [&] {
    TypeParam elements;
    vorn::ContainerCursor* const cursor = record.makeLastCursor(container);
    for (; cursor->element; record.previous(container, *cursor)) { elements.push_back(*static_cast<Element*>(cursor->element)); }
    record.previous(container, *cursor);
    record.next(container, *cursor);
    EXPECT_EQ(cursor->element, nullptr);
    record.freeCursor(cursor);
    return elements;
  };
  record.removeLast(container);
  EXPECT_EQ(record.first(container), nullptr);
  EXPECT_TRUE(walkBack().empty());

  Element zero{}, one{}, two{};
  std::istringstream("1 2") >> one >> two;
  EXPECT_EQ(*static_cast<Element*>(record.appendDefault(container)), zero);
  for (const Element& element : {one, two}) {
    const void* const appended = record.appendCopy(container, &element);
    EXPECT_EQ(appended, &vector.back());
  }
  for (int i = 0; i < 40; ++i) record.appendCopy(container, &vector[1]);  // its own element, while it grows
  EXPECT_EQ(vector.back(), one);
  while (record.count(container) > 3) record.removeLast(container);
  TypeParam elements;
  vorn::ContainerCursor cursor{record.first(container)};
  for (; cursor.element; record.next(container, cursor)) { elements.push_back(*static_cast<Element*>(cursor.element)); }
  EXPECT_EQ(elements, (TypeParam{zero, one, two}));
  EXPECT_EQ(walkBack(), (TypeParam{two, one, zero}));
  record.removeAll(container);
  EXPECT_EQ(record.count(container), 0u);
  record.basics.destroy(container);
}

TEST(RegistryLock, MayBeTakenAgainByItsHolder) {
  auto lock = vorn::TypeRegistry::registryLock();
  lock.acquire(), lock.acquire(), lock.release(), lock.release();
  std::thread([&] { lock.acquire(), lock.release(); }).join();  // hangs unless it is free again
}

}  // namespace
