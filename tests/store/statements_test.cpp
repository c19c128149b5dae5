#include "store/store_fixture.h"

namespace {

// Every kind of statement on real rows; what counts is what is read back.
class Statements : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    useStore(GetParam().freshUrl());
    ASSERT_EQ(run(db, "create table p (id int, name varchar(40), kind char(1), age int, price double precision)"), kSuccess);
    ASSERT_EQ(run(db,
                  "insert into p values(1,'ann','a',18,0.5),(2,'it''s','b',30,1.5),(3,'bob','a',30,-2.25),"
                  "(4,NULL,'c',65,NULL)"),
              kSuccess);
    ASSERT_EQ(run(db, "create table q (pid int, note varchar(40))"), kSuccess);
    ASSERT_EQ(run(db, "insert into q values(1,'x'),(3,'y'),(3,'z')"), kSuccess);
  }

  /// @return the identifiers that a condition selects
  std::string idsWhere(const CVORNCriterion& condition) {
    CVORNSelector selector;
    selector.table("p");
    selector.select("id");
    selector.where(condition);
    selector.orderBy("id", true);
    return rowsOf(db, selector, 1);
  }

  std::string write(const CVORNBase& statement) { return describe(db->execWriteSQL(statement)); }

  const CVORNTable p{"p"};
};

TEST_P(Statements, ConditionsSelectWhatTheySay) {
  CVORNSelector oldest;
  oldest.table("p");
  oldest << vornMax(p["age"]);
  CVORNSelector noted;
  noted.table("q");
  noted.select("pid");
  CVORNSelector adult;
  adult.table("p");
  adult << vornMin(p["age"]);
  const struct {
    CVORNCriterion condition;
    const char* ids;
  } cases[] = {{p["age"] == short{30}, "2;3"},
               {p["age"] != 30, "1;4"},
               {p["age"] == 30U && p["id"] == 3UL, "3"},
               {p["id"] == 2L || p["id"] == 4L, "2;4"},
               {p["age"] >= 30 && p["age"] <= 64, "2;3"},
               {p["price"] == 1.5, "2"},
               {p["price"] == -2.25F, "3"},
               {p["price"] != 0.5, "2;3"},
               {p["kind"] == 'a', "1;3"},
               {p["kind"] != 'a', "2;4"},
               {p["name"] == "it's", "2"},
               {p["name"] != "it's", "1;3"},
               {p["name"] >= std::string("b"), "2;3"},
               {p["name"] <= std::string("b"), "1"},
               {p["name"].like("%o%"), "3"},
               {p["name"].like("it's"), "2"},
               {p["id"].in("1,3,9"), "1;3"},
               {p["id"].in(noted), "1;3"},
               {p["id"].notIn("1,3"), "2;4"},
               {p["name"].notIn("'ann','bob'"), "2"},
               {p["age"] >= oldest, "4"},
               {p["age"] <= adult, "1"},
               {p["age"] == p["id"], ""},
               {p["age"] != p["id"], "1;2;3;4"},
               {CVORNCriterion("p.name is null"), "4"},
               {(p["kind"] == 'a' && p["age"] >= 20) || p["id"].in("4"), "3;4"},
               {p["name"] >= std::string("it's") && p["name"] <= std::string("it's"), "2"}};
  for (const auto& each : cases) EXPECT_EQ(idsWhere(each.condition), each.ids) << each.condition.toString();
}

TEST_P(Statements, SelectorsJoinCompoundOrderAndLimit) {
  CVORNSelector join;
  const CVORNTable q = join.table("q");
  join.table("p");
  join.select(CVORNColumn("p", "name"));
  join.select(CVORNColumn("q", "note"));
  join.where(p["id"] == q["pid"]);
  join.orderBy(CVORNColumn("q", "note"), false);
  EXPECT_EQ(rowsOf(db, join, 2), "bob|z;bob|y;ann|x");

  const struct {
    ENUM_COMPOUND_OP op;
    const char* rows;
  } compounds[] = {
      {COMPOUND_UNION, "1;2;3;4"}, {COMPOUND_UNION_ALL, "1;1;2;3;3;3;4"}, {COMPOUND_INTERSECT, "1;3"}, {COMPOUND_EXCEPT, "2;4"}};
  for (const auto& each : compounds) {
    CVORNSelector left;
    left.table("p");
    left.select("id");
    CVORNSelector right;
    right.table("q");
    right.select("pid");
    left.compound(right, each.op);
    left.orderBy("id", true);
    EXPECT_EQ(rowsOf(db, left, 1), each.rows) << left.toString();
  }

  CVORNSelector kinds;
  kinds.table("p");
  kinds.distinct();
  kinds.select("kind");
  kinds.orderBy("kind", true);
  EXPECT_EQ(rowsOf(db, kinds, 1), "a;b;c");
  const struct {
    unsigned count;
    unsigned offset;
    const char* rows;
  } limits[] = {{2, 0, "a;b"}, {2, 2, "c"}, {0, 0, ""}, {5, 3, ""}, {4294967295U, 1, "b;c"}};
  for (const auto& each : limits) {
    kinds.limit(each.count, each.offset);
    EXPECT_EQ(rowsOf(db, kinds, 1), each.rows) << kinds.toString();
  }
}

TEST_P(Statements, AggregatesOfRowsAndOfNothing) {
  CVORNSelector all;
  all.table("p");
  all << vornCount() << vornCount(p["price"]) << vornMin(p["age"]) << vornMax(p["name"]);
  EXPECT_EQ(rowsOf(db, all, 4), "4|3|18|it's");
  all.where(p["id"] == 99);
  EXPECT_EQ(rowsOf(db, all, 4), "0|0|~|~");
  CVORNSelector average;
  average.table("p");
  average << vornAvg(p["price"]);
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(average, reader), 0U);
  double value = 0;
  reader >> value;
  EXPECT_DOUBLE_EQ(value, -0.25 / 3);
}

TEST_P(Statements, UpdatesDeletesAndDropsChangeWhatTheySay) {
  CVORNUpdater updater;
  const CVORNTable table = updater.table("p");
  updater["name"].assign("o'x");
  updater["kind"].assign('\'');
  updater["price"].assign(CVORNNull());
  updater["age"].assign(3000000000U % 100);
  updater.where(CVORNTable("p")["id"] == 2);
  EXPECT_EQ(write(updater), kSuccess);
  EXPECT_EQ(rowsOf(db, "select name, kind, price, age from p where id = 2", 4), "o'x|'|~|0");
  CVORNUpdater everywhere;
  everywhere.table("p");
  everywhere["age"].assign(7L);
  EXPECT_EQ(write(everywhere), kSuccess);
  EXPECT_EQ(rowsOf(db, "select count(*) from p where age = 7"), "4");

  CVORNDeleter deleter;
  deleter.table("p");
  deleter.where(p["kind"] != 'a');
  EXPECT_EQ(write(deleter), kSuccess);
  EXPECT_EQ(rowsOf(db, "select id from p order by id"), "1;3");
  deleter.clear();
  EXPECT_EQ(write(deleter), kSuccess);
  EXPECT_EQ(rowsOf(db, "select count(*) from p"), "0");

  ASSERT_EQ(run(db, "create view v as select id from p"), kSuccess);
  CVORNDroper view;
  view.view("v");
  EXPECT_EQ(write(view), kSuccess);
  EXPECT_NE(write(view), kSuccess);
  CVORNDroper dropper;
  dropper.table("p");
  EXPECT_EQ(write(dropper), kSuccess);
  EXPECT_NE(write(deleter), kSuccess);
}

INSTANTIATE_TEST_SUITE_P(Stores, Statements, testing::ValuesIn(storeKinds()),
                         [](const testing::TestParamInfo<StoreKind>& kind) { return kind.param.name; });

}  // namespace
