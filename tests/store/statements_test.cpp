#include "store/store_fixture.h"

namespace {

CVORNSelector selectorOf(const std::string& table, const CVORNCriterionItem& column) {
  CVORNSelector selector;
  selector.table(table);
  selector << column;
  return selector;
}

// Every kind of statement on real rows; what counts is what is read back.
class Statements : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    useStore(GetParam().freshUrl());
    for (const auto& [sql, unused] : casesOf("store/statement_tables.sql")) ASSERT_EQ(run(db, sql), kSuccess);
  }

  const CVORNTable p{"p"}, q{"q"};
};

TEST_P(Statements, ConditionsSelectWhatTheySay) {
  const CVORNSelector oldest = selectorOf("p", vornMax(p["age"])), youngest = selectorOf("p", vornMin(p["age"]));
  const std::pair<CVORNCriterion, const char*> cases[] = {{p["age"] == short{30}, "2;3"},
                                                          {p["price"] == -2.25F, "3"},
                                                          {p["price"] != 0.5, "2;3"},
                                                          {p["kind"] != 'a', "2;4"},
                                                          {p["name"] != "it's", "1;3"},
                                                          {p["name"].like("%o%"), "3"},
                                                          {p["name"].like("it's"), "2"},
                                                          {p["id"].in("1,3,9"), "1;3"},
                                                          {p["age"] >= oldest, "4"},
                                                          {p["age"] <= youngest, "1"},
                                                          {p["age"] == p["id"], ""},
                                                          {p["age"] != p["id"], "1;2;3;4"},
                                                          {p["name"] >= std::string("b"), "2;3"},
                                                          {p["name"] <= std::string("b"), "1"},
                                                          {p["age"] == 30U && p["id"] == 3UL, "3"},
                                                          {p["id"] == 2L || p["id"] == 4L, "2;4"},
                                                          {p["age"] >= 30 && p["age"] <= 64, "2;3"},
                                                          {p["id"].in(selectorOf("q", q["pid"])), "1;3"},
                                                          {p["name"].notIn("'ann','bob'"), "2"},
                                                          {CVORNCriterion("p.name is null"), "4"},
                                                          {(p["kind"] == 'a' && p["age"] >= 20) || p["id"].in("4"), "3;4"},
                                                          {p["name"] >= std::string("it's") && p["name"] <= std::string("it's"), "2"}};
  for (const auto& [condition, ids] : cases) {
    CVORNSelector selector = selectorOf("p", p["id"]);
    selector.where(condition), selector.orderBy("id", true);
    EXPECT_EQ(rowsOf(db, selector, 1), ids) << condition.toString();
  }
}

TEST_P(Statements, SelectorsJoinCompoundOrderLimitAndAggregate) {
  CVORNSelector join = selectorOf("q", p["name"]);
  join.table("p"), join.select(CVORNColumn("q", "note"));
  join.where(p["id"] == q["pid"]), join.orderBy(CVORNColumn("q", "note"), false);
  EXPECT_EQ(rowsOf(db, join, 2), "bob|z;bob|y;ann|x");

  const char* const compounds[] = {"1;2;3;4", "1;2;3;4", "1;1;2;3;3;3;4", "1;3", "2;4"};
  for (const auto op : {COMPOUND_UNION, COMPOUND_UNION_ALL, COMPOUND_INTERSECT, COMPOUND_EXCEPT}) {
    CVORNSelector left = selectorOf("p", p["id"]);
    left.compound(selectorOf("q", q["pid"]), op), left.orderBy("id", true);
    EXPECT_EQ(rowsOf(db, left, 1), compounds[op]) << left.toString();
  }

  CVORNSelector kinds = selectorOf("p", p["kind"]);
  kinds.distinct(), kinds.orderBy("kind", true);
  EXPECT_EQ(rowsOf(db, kinds, 1), "a;b;c");
  const std::tuple<unsigned, unsigned, const char*> limits[] = {
      {2, 0, "a;b"}, {2, 2, "c"}, {0, 0, ""}, {5, 3, ""}, {4294967295U, 1, "b;c"}};
  for (const auto& [number, offset, rows] : limits) {
    kinds.limit(number, offset);
    EXPECT_EQ(rowsOf(db, kinds, 1), rows) << kinds.toString();
  }

  CVORNSelector all = selectorOf("p", vornCount());
  all << vornCount(p["price"]) << vornMin(p["age"]) << vornMax(p["name"]) << vornAvg(p["price"]);
  EXPECT_EQ(rowsOf(db, all, 5).substr(0, 19), "4|3|18|it's|-0.0833");
  all.where(p["id"] == 99);
  EXPECT_EQ(rowsOf(db, all, 5), "0|0|~|~|~");
}

TEST_P(Statements, UpdatesDeletesAndDropsChangeWhatTheySay) {
  const auto after = [this](const CVORNBase& statement, const std::string& query, int columns = 1) {
    EXPECT_EQ(db->execWriteSQL(statement), 0U);
    return rowsOf(db, query, columns);
  };
  CVORNUpdater updater, everywhere;
  updater.table("p"), everywhere.table("p");
  updater["name"].assign("o'x"), updater["kind"].assign('\''), updater["price"].assign(CVORNNull());
  updater["age"].assign(3000000000U % 100), updater.where(p["id"] == 2);
  EXPECT_EQ(after(updater, "select name, kind, price, age from p where id = 2", 4), "o'x|'|~|0");
  everywhere["age"].assign(7L);
  EXPECT_EQ(after(everywhere, "select count(*) from p where age = 7"), "4");

  CVORNDeleter deleter;
  deleter.table("p"), deleter.where(p["kind"] != 'a');
  EXPECT_EQ(after(deleter, "select id from p order by id"), "1;3");
  deleter.clear();
  EXPECT_EQ(after(deleter, "select count(*) from p"), "0");

  ASSERT_EQ(run(db, "create view v as select pid from q"), kSuccess);
  CVORNDroper view, dropper;
  view.view("v"), dropper.table("p");
  EXPECT_NE(after(view, "select count(*) from v"), "3");
  EXPECT_NE(after(dropper, "select count(*) from p"), "0");
}

INSTANTIATE_TEST_SUITE_P(Stores, Statements, testing::ValuesIn(storeKinds()), [](const auto& kind) { return kind.param.name; });

}  // namespace
