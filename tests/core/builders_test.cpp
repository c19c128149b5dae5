#include "scripted/scripted_platform.h"
#include "vorn/deleter.h"
#include "vorn/dropper.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/sqlite_util.h"
#include "vorn/updater.h"

namespace {

using BuildersTest = scripted::PlatformTest;
const CVORNCriterion kLevel("(level=3)");

TEST_F(BuildersTest, SelectorRenders) {
  CVORNSelector other;
  other.table("b");
  other.orderBy("y");
  const std::string operators[] = {"UNION", "UNION", "UNION ALL", "INTERSECT", "EXCEPT", "UNION"};
  for (int op = 0; op < 6; ++op) {
    CVORNSelector selector;
    for (const char* table : {"ab", "a", "ab", "", "c"}) selector.table(table);
    selector.select(CVORNColumn("a", "i'd"));
    selector.select("x'");
    selector << vornMax(CVORNCriterionItem("x'"));
    selector.distinct();
    selector.where(kLevel);
    selector.orderBy(CVORNColumn("a", "b'"), false);
    selector.orderBy("c'", true);
    selector.limit(9, 9);
    selector.limit(4294967295, 0);
    selector.compound(CVORNSelector(), COMPOUND_UNION);
    selector.compound(other, static_cast<ENUM_COMPOUND_OP>(op));
    EXPECT_EQ(selector.toString(),
              "select distinct a.i''d,x'', max(x'') from ab,c where (level=3) " + operators[op] +
                  " select  *  from b order by y order by a.b'' DESC,c'' LIMIT 4294967295 OFFSET 0");
    selector.clear();
    EXPECT_EQ(selector.toString(), "select  *  from ab,c");
    selector << vornCount();
    selector.where(CVORNCriterion());
    EXPECT_EQ(selector.toString(), "select  count(*) from ab,c where ");
  }
}

TEST_F(BuildersTest, InserterRenders) {
  CVORNInserter inserter;
  inserter.table("a");
  inserter.table("t");
  inserter["id"]["o'x"];
  EXPECT_EQ(inserter.toString(), "insert into t (id,o''x))");
  inserter << 1;
  inserter.clear();
  inserter["a"] << std::string("x'y'") << CVORNNull() << -5L << "" << std::string("a\0b", 3) << true << 'c';
  inserter << '\'' << "it's" << short{-3} << std::uint16_t{65535} << -7 << 2.5F << 4294967295U << 4294967294U;
  inserter << 2147483648U << 4294967295UL << 4294967294UL << 0.1;
  const std::string zero(1, '\0');
  EXPECT_EQ(inserter.toString(),
            "insert into t (a) values('x''y''',NULL,-5,'','a" + zero +
                "b',1,'c','''','it''s',-3,65535,-7,2.500000,0,-2,-2147483648,0,4294967294,0.100000)");
}

TEST_F(BuildersTest, UpdaterRenders) {
  CVORNUpdater updater;
  updater.table("x");
  updater.table("t");
  updater.assign(1);
  updater.where(kLevel);
  EXPECT_EQ(updater.toString(), "update t=1 where (level=3)");
  updater.clear();
  const auto assign = [&updater](const auto&... values) { (updater["a"].assign(values), ...); };
  assign(std::string("x"), CVORNNull(), -5L, 4294967294U, 4294967295U, 4294967294UL, 4294967295UL, 0.1);
  assign(short{-4}, 2.5F, '\'', "it's");
  EXPECT_EQ(updater["j"]["o'b"].toString(),
            "update t set a='x',a=NULL,a=-5,a=4294967294,a=0,a=4294967294,a=0,a=0.100000,a=-4,a=2.500000,"
            "a='''',a='it''s',j,o''b where ");
}

TEST_F(BuildersTest, OthersRender) {
  CVORNDeleter deleter;
  deleter.table("alarm");
  deleter.table("device's");
  deleter.where(kLevel);
  EXPECT_EQ(deleter.toString(), "delete from device's where (level=3)");
  deleter.clear();
  EXPECT_EQ(deleter.toString(), "delete from device's");
  CVORNDroper dropper;
  dropper.database("main");
  dropper.index("ix_a");
  dropper.table("t'");
  EXPECT_EQ(dropper.toString(), "drop main.table t'");
  dropper.clear();
  dropper.view("v");
  EXPECT_EQ(dropper.toString(), "drop view v");
  CVORNsqlstr raw;
  raw.assign(" it's\n");
  raw.where(kLevel);
  EXPECT_EQ(raw.toString(), " it's\n");
  raw.clear();
  EXPECT_EQ(raw.toString(), "");
  CVORNSelector selector;
  CVORNBase* const builders[] = {&selector, &deleter, &dropper, &raw};
  for (CVORNBase* builder : builders) EXPECT_EQ(builder->table("t")["c"].toString(), "t.c");
  EXPECT_EQ(CVORNColumn("", "c").getColumnName() + "|" + CVORNColumn("t", "c").getColumnName(), "|.c");
  EXPECT_EQ(CSQLiteUtil::getInstance(), CSQLiteUtil::getInstance());
}

TEST_F(BuildersTest, FailedValuesStayAsFarAsTheyWereWritten) {
  const char* const none = nullptr;
  CVORNInserter inserter;
  CVORNUpdater updater;
  EXPECT_THROW(inserter << none, std::logic_error);
  EXPECT_EQ(inserter.toString(), "insert into  values(')");
  EXPECT_THROW(updater["a"].assign(none), std::logic_error);
  EXPECT_EQ(updater.toString(), "update  set a='");
  const std::string cut = "=" + std::to_string(1e300).substr(0, 198);
  updater.assign(1e300);
  EXPECT_EQ(updater.toString(), "update  set a='" + cut);
  EXPECT_EQ((CVORNCriterionItem("a") == 1e300).toString(), "(a" + cut + ")");
  EXPECT_EQ((CVORNCriterionItem("a") != 1e300).toString().size(), 202U);
  EXPECT_EQ((CVORNInserter() << 1e300).toString().size(), 220U);
  const std::string events = scripted::takeEvents();
  for (const std::string name :
       {"Updater::assign", "CriterionItem::operator==", "CriterionItem::operator!=", "Inserter::operator<<"})
    EXPECT_NE(events.find("error 4294967295 scrubbed [VORNLib]CVORN" + name + ".snprintf_s failed @CVORN"),
              std::string::npos)
        << events;
  EXPECT_EQ((CVORNInserter() << 1e40).toString(),
            "insert into  values(10000000000000000303786028427003666890752.000000)");
}

}  // namespace
