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
  other.select("z");
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
                  " select z from b order by y order by a.b'' DESC,c'' LIMIT 4294967295 OFFSET 0");
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
  updater["a"].assign(std::string("x"));
  updater["b"].assign(CVORNNull());
  updater["c"].assign(-5L);
  updater["d"].assign(4294967294U);
  updater["e"].assign(4294967295U);
  updater["f"].assign(4294967294UL);
  updater["g"].assign(4294967295UL);
  updater["h"].assign(short{-4});
  updater["i"].assign(2.5F);
  updater["j"]["o'b"].assign('\'');
  updater["k"].assign("it's");
  updater["l"].assign(0.1);
  EXPECT_EQ(updater.toString(),
            "update t set a='x',b=NULL,c=-5,d=4294967294,e=0,f=4294967294,g=0,h=-4,i=2.500000,j,o''b='''',"
            "k='it''s',l=0.100000 where ");
}

TEST_F(BuildersTest, OthersRender) {
  CVORNDeleter deleter;
  deleter.table("alarm");
  deleter.table("device's");
  EXPECT_EQ(deleter.toString(), "delete from device's");
  deleter.where(kLevel);
  EXPECT_EQ(deleter.toString(), "delete from device's where (level=3)");
  deleter.clear();
  EXPECT_EQ(deleter.toString(), "delete from device's");
  CVORNDroper dropper;
  dropper.database("main");
  dropper.index("ix_a");
  EXPECT_EQ(dropper.toString(), "drop main.");
  dropper.table("t'");
  EXPECT_EQ(dropper.toString(), "drop main.table t'");
  dropper.clear();
  EXPECT_EQ(dropper.toString(), "drop ");
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
  EXPECT_EQ((CVORNInserter() << 1e300).toString().size(), std::string("insert into  values()").size() + 199);
  scripted::platform().snprintfSucceeds = 1;
  CVORNSelector selector;
  selector.limit(12, 34);
  EXPECT_EQ(selector.toString(), "select  *  from  LIMIT 12 OFFSET 12") << "what the buffer still held";
  updater.assign(1);
  EXPECT_EQ(updater.toString(), "update  set a='");
  using Item = CVORNCriterionItem;
  for (const CVORNCriterion& one : {Item("a") == 1, Item("a") != 1.0, Item("a") >= 1, Item("a") <= 1})
    EXPECT_EQ(one.toString(), "(a)");
  const std::string events = scripted::takeEvents();
  for (const std::string logged :
       {"scrubbed [VORNLib]CVORNInserter::operator<<", "scrubbed [VORNLib]CVORNSelector::limit",
        "scrubbed [VORNLib]CVORNUpdater::assign", "scrubbed [VORNLib]CVORNCriterionItem::operator!=",
        "scrubbed [VORNLib]CVORNCriterionItem::operator>=",
        "scrubbed [VORNLib]CVORNCriterionItem::operator<=", "CVORNCriterion createCriterionWithInt"}) {
    EXPECT_NE(events.find("error 4294967295 " + logged + ".snprintf_s failed @CVORN"), std::string::npos)
        << events;
  }
}

}  // namespace
