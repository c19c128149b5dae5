#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <thread>

#include "scripted/scripted_platform.h"
#include "vorn/batch_inserter.h"
#include "vorn/database.h"

namespace {

using Events = std::vector<std::string>;
using Columns = std::map<std::string, BaseTypeVector>;
using scripted::platform;

Columns columnsOf(const BatchInserter& batch) {
  Columns columns{{"old content", {}}};
  batch.GetParam(columns);
  return columns;
}

class BatchTest : public scripted::PlatformTest {};

TEST_F(BatchTest, Renders) {
  const struct {
    const char* table;
    std::vector<const char*> columns;
    const char* text;
  } cases[] = {
      {"T_ALARM", {"name", "id"}, "insert into T_ALARM (id, name) values({id}, {name})"},
      {"T_X", {"cnt"}, "insert into T_X (cnt) values({cnt})"},
      {"T_X", {}, "insert into T_X () values()"},
      {"", {"a"}, "insert into  (a) values({a})"},
      {"t", {"z", "a", "B"}, "insert into t (B, a, z) values({B}, {a}, {z})"},
      {"t'", {"a'b"}, "insert into t' (a''b) values({a''b})"},
      {"t", {"", "b"}, "insert into t (, b) values({}, {b})"},
  };
  for (const auto& c : cases) {
    BatchInserter batch;
    EXPECT_EQ(batch.table(c.table).getTableName(), c.table);
    for (const char* column : c.columns) batch[column] << 1;
    const std::string before = batch.toString();
    batch["selected only"];
    EXPECT_EQ(before, c.text);
    EXPECT_EQ(batch.toString(), before);
  }
}

TEST_F(BatchTest, SortsValuesByTypeAndRejectsOthers) {
  const std::string text = "it's";
  const struct {
    const char* name;
    std::function<void(BatchInserter&)> append;
    BaseTypeVector::Type type;
    int line;
  } types[] = {
      {"bool", [](BatchInserter& b) { b << true; }, BaseTypeVector::Signed, 58},
      {"string", [&](BatchInserter& b) { b << text; }, BaseTypeVector::String, 70},
      {"short", [](BatchInserter& b) { b << short{-2}; }, BaseTypeVector::Signed, 82},
      {"ushort", [](BatchInserter& b) { b << static_cast<unsigned short>(65535); }, BaseTypeVector::Unsigned,
       94},
      {"int", [](BatchInserter& b) { b << -3; }, BaseTypeVector::Signed, 106},
      {"uint", [](BatchInserter& b) { b << 4000000000U; }, BaseTypeVector::Unsigned, 118},
      {"long", [](BatchInserter& b) { b << LONG_MIN; }, BaseTypeVector::Signed, 130},
      {"ulong", [](BatchInserter& b) { b << ULONG_MAX; }, BaseTypeVector::Unsigned, 142},
      {"float", [](BatchInserter& b) { b << 1.5F; }, BaseTypeVector::Float, 154},
      {"double", [](BatchInserter& b) { b << 2.5; }, BaseTypeVector::Double, 166},
  };
  BatchInserter typed[5];  // one batch a column type, started by the type that comes first in the table
  for (const auto& type : types) type.append(typed[type.type]["c"]);
  for (const auto& target : typed) {
    for (const auto& type : types) {
      BatchInserter batch = target;
      platform() = scripted::Platform();
      type.append(batch);
      const bool accepted = &target - typed == static_cast<std::ptrdiff_t>(type.type);
      EXPECT_EQ(accepted, platform().events.empty()) << type.name;
      if (accepted) continue;
      EXPECT_EQ(platform().events,
                (Events{"error " + std::to_string(type.type) +
                        " scrubbed [VORNLib]typeName is error. @BatchInserter:operator<<:" +
                        std::to_string(type.line)}));
      EXPECT_EQ(columnsOf(batch).at("c").m_longVec, columnsOf(target).at("c").m_longVec);
    }
  }
  const auto column = [&](int type) { return columnsOf(typed[type]).at("c"); };
  EXPECT_EQ(column(0).m_strVec, std::vector<std::string>{"it's"});
  EXPECT_EQ(column(1).m_longVec, (std::vector<long>{1, -2, -3, LONG_MIN}));
  EXPECT_EQ(column(2).m_ulongVec, (std::vector<unsigned long>{65535, 4000000000U, ULONG_MAX}));
  EXPECT_EQ(column(3).m_floatVec, std::vector<float>{1.5F});
  EXPECT_EQ(column(4).m_doubleVec, std::vector<double>{2.5});
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
  copy.clear();
  copy["a"] << 5;
  BatchInserter assigned;
  assigned["b"] << 6;
  assigned = first;
  assigned << 7;
  first.clear();
  first << 8;
  const struct {
    const BatchInserter& batch;
    const char* column;
    std::vector<long> values;
  } cases[] = {{first, "", {8}}, {copy, "a", {5}}, {moved, "a", {1, 2, 4}}, {assigned, "a", {1, 3, 7}}};
  for (const auto& c : cases) {
    const Columns columns = columnsOf(c.batch);
    ASSERT_EQ(columns.size(), 1u);
    EXPECT_EQ(columns.at(c.column).m_longVec, c.values);
  }
  first.clear();
  EXPECT_EQ(first.toString(), "insert into t () values()");
}

TEST_F(BatchTest, PassesTheColumnsAsReadOnlyReferences) {
  BatchInserter batch;
  batch.table("T");
  batch["z's"] << std::string("x") << std::string("y");
  batch["l"] << 1 << 2;
  batch["u"] << 3U << 4U;
  batch["f"] << 1.0F << 2.0F;
  batch["D"] << 1.0 << 2.0;
  const Columns before = columnsOf(batch);
  const std::vector<std::pair<std::string, std::uint32_t>> expected = {
      {"D", 18}, {"f", 17}, {"l", 15}, {"u", 25}, {"z''s", 41}};
  platform().onExecute = [&](const std::string&, const vorn::TypedRef* parameters) {
    ASSERT_NE(parameters, nullptr);
    EXPECT_EQ(parameters->type.code, 101u);
    EXPECT_EQ(parameters->type.flags, 0x20);
    EXPECT_EQ(parameters->type.record, nullptr);
    std::vector<std::pair<std::string, std::uint32_t>> found;
    for (const auto& [name, column] : *static_cast<vorn::ParamRefMap*>(parameters->object)) {
      EXPECT_EQ(column.type.code, 61u);
      EXPECT_EQ(column.type.flags, 0x20);
      const vorn::ContainerRecord& record = *column.type.record;
      EXPECT_STREQ(record.basics.name, "std::vector");
      EXPECT_EQ(record.count(column.object), 2u);
      found.emplace_back(name, record.elementCode);
      EXPECT_TRUE(name != "l" ||
                  *static_cast<std::vector<long>*>(column.object) == (std::vector<long>{1, 2}));
    }
    EXPECT_EQ(found, expected);
  };
  EXPECT_EQ(MIRAsqlDB(false).ExecBatchInserter(batch), 0u);
  EXPECT_EQ(platform().events,
            (Events{"open default",
                    "execute default MiraDB:ExecBatchInserter:147 1 insert into T (D, f, l, u, z''s) "
                    "values({D}, {f}, {l}, {u}, {z''s})",
                    "close default"}));
  const Columns after = columnsOf(batch);
  EXPECT_EQ(after.at("z''s").m_strVec, before.at("z''s").m_strVec);
  EXPECT_EQ(after.at("l").m_longVec, before.at("l").m_longVec);
}

TEST_F(BatchTest, ReportsEveryOutcome) {
  struct Wordless : BatchInserter {
    std::string toString() const override { return {}; }
  };
  const Wordless wordless;
  BatchInserter batch;
  batch.table("t");
  const BatchInserter empty = batch;
  batch["b"] << 1 << 2;
  batch["a"] << 1 << 2 << 3;
  const BatchInserter uneven = batch;
  batch["b"] << 3;
  const std::string execute =
      "execute default MiraDB:ExecBatchInserter:147 1 insert into t (a, b) values({a}, {b})";
  const std::string place = " @MiraDB:ExecBatchInserter:";
  const std::string refused = "error 1 scrubbed [VORNLib]ExecBatchInserter! ";
  const struct {
    const BatchInserter& batch;
    vorn::ExecResult result;
    unsigned long code;
    Events events;
  } cases[] = {
      {wordless, {}, 1, {refused + "strSQL is empty string!" + place + "97"}},
      {empty, {}, 0, {"info scrubbed [VORNLib]ExecBatchInserter! paramMap is empty!" + place + "105"}},
      {uneven, {}, 1, {refused + "paramMap is error!" + place + "141"}},
      {batch, {}, 0, {"open default", execute, "close default"}},
      {batch, {0, 6, "remark"}, 0, {"open default", execute, "close default"}},
      {batch,
       {1, 8, "no such table"},
       8,
       {"open default", execute, "close default", "info scrubbed [VORNLib]no such table" + place + "149"}},
      {batch,
       {1, 8, std::nullopt},
       8,
       {"open default", execute, "close default", "info scrubbed [VORNLib]" + place + "149"}},
  };
  for (const auto& c : cases) {
    platform() = scripted::Platform();
    platform().results = {c.result};
    EXPECT_EQ(MIRAsqlDB(false).ExecBatchInserter(c.batch), c.code);
    EXPECT_EQ(platform().events, c.events);
  }
}

template <typename Vector>
const vorn::ContainerRecord& recordOf() {
  vorn::TypeDescriptor descriptor;
  vorn::TypeRegistry::registerVectorType<Vector>(descriptor, vorn::type_code::kVector, "std::vector", 0);
  EXPECT_EQ(descriptor.code, 61u);
  EXPECT_EQ(descriptor.flags, 0);
  return *descriptor.record;
}

template <typename Vector>
class RegistryTest : public ::testing::Test {};

using VectorTypes = ::testing::Types<std::vector<std::string>, std::vector<long>, std::vector<unsigned long>,
                                     std::vector<float>, std::vector<double>>;
TYPED_TEST_SUITE(RegistryTest, VectorTypes);

TYPED_TEST(RegistryTest, MakesOneRecordForAllThreads) {
  std::vector<const vorn::ContainerRecord*> records(8);
  std::vector<std::thread> threads;
  for (auto& record : records) threads.emplace_back([&record] { record = &recordOf<TypeParam>(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set<const vorn::ContainerRecord*>(records.begin(), records.end()).size(), 1u);
}

TYPED_TEST(RegistryTest, WorksOnTheContainerThroughItsRecord) {
  using Element = typename TypeParam::value_type;
  const auto element = [](int number) {
    if constexpr (std::is_same_v<Element, std::string>) {
      return "a text that is too long for its own object " + std::to_string(number);
    } else {
      return static_cast<Element>(number);
    }
  };
  const vorn::ContainerRecord& record = recordOf<TypeParam>();
  EXPECT_EQ(record.basics.objectSize, sizeof(TypeParam));
  EXPECT_EQ(record.flags & 0x30, 0);
  void* const container = record.basics.create();
  auto& vector = *static_cast<TypeParam*>(container);

  EXPECT_EQ(record.first(container), nullptr);
  vorn::ContainerCursor* last = record.makeLastCursor(container);
  EXPECT_EQ(last->element, nullptr);
  record.previous(container, *last);
  record.next(container, *last);
  EXPECT_EQ(last->element, nullptr);
  record.freeCursor(last);
  record.removeLast(container);

  *static_cast<Element*>(record.appendDefault(container)) = element(1);
  for (int i = 2; i <= 3; ++i) {
    const Element value = element(i);
    void* const appended = record.appendCopy(container, &value);
    EXPECT_EQ(appended, &vector.back());
  }
  for (int i = 0; i < 40; ++i) record.appendCopy(container, record.first(container));
  EXPECT_EQ(vector.back(), element(1)) << "a copy of an own element outlives the growth";
  while (record.count(container) > 3) record.removeLast(container);
  EXPECT_EQ(vector, (TypeParam{element(1), element(2), element(3)}));

  TypeParam forwards;
  TypeParam backwards;
  vorn::ContainerCursor cursor{record.first(container)};
  for (; cursor.element; record.next(container, cursor))
    forwards.push_back(*static_cast<Element*>(cursor.element));
  last = record.makeLastCursor(container);
  for (; last->element; record.previous(container, *last))
    backwards.push_back(*static_cast<Element*>(last->element));
  record.freeCursor(last);
  EXPECT_EQ(forwards, vector);
  EXPECT_EQ(backwards, TypeParam(vector.rbegin(), vector.rend()));

  EXPECT_EQ(*static_cast<Element*>(record.appendDefault(container)), Element());
  record.removeAll(container);
  EXPECT_EQ(record.count(container), 0u);
  record.basics.destroy(container);
}

TEST(RegistryLock, MayBeTakenAgainByItsHolder) {
  vorn::TypeRegistry::registryLock().acquire();
  vorn::TypeRegistry::registryLock().acquire();
  recordOf<std::vector<long>>();
  vorn::TypeRegistry::registryLock().release();
  vorn::TypeRegistry::registryLock().release();
  std::thread([] {
    vorn::TypeRegistry::registryLock().acquire();  // hangs unless released as often as acquired
    vorn::TypeRegistry::registryLock().release();
  }).join();
}

}  // namespace
