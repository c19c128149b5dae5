#include "scripted/scripted_platform.h"
#include "vorn/deleter.h"
#include "vorn/dropper.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace {

using Item = CVORNCriterionItem;
using scripted::platform;
using BuildersTest = scripted::PlatformTest;
const CVORNCriterion kLevel("(level=3)");

template <typename Builder>
struct Case {
  const char* expected;
  void (*fill)(Builder&);
};

template <typename Builder>
void expectAll(const std::vector<Case<Builder>>& cases) {
  for (const Case<Builder>& each : cases) {
    Builder builder;
    each.fill(builder);
    EXPECT_EQ(builder.toString(), each.expected);
    EXPECT_EQ(builder.toString(), each.expected);
  }
}

using S = CVORNSelector;

TEST_F(BuildersTest, Selector) {
  expectAll<S>({
      {"select  *  from ", [](S&) {}},
      {"select  *  from alarm", [](S& s) { s.table("alarm"); }},
      {"select  *  from alarm,device", [](S& s) { s.table("alarm"), s.table("device"), s.table("alarm"); }},
      {"select  *  from ab", [](S& s) { s.table("ab"), s.table("a"), s.table(""); }},
      {"select  *  from a,ab", [](S& s) { s.table("a"), s.table("ab"); }},
      {"select distinct  *  from t", [](S& s) { s.table("t"), s.distinct(), s.distinct(); }},
      {"select o''x,a.i''d from t",
       [](S& s) { s.table("t"), s.select("o'x"), s.select(CVORNTable("a").column("i'd")); }},
      {"select , from t", [](S& s) { s.table("t"), s.select(","), s.select(CVORNColumn("", "x")); }},
      {"select  max(age), count(*) from p",
       [](S& s) { s.table("p"), s << vornMax(Item("age")) << vornCount(); }},
      {"select x''y from t", [](S& s) { s.table("t"), s << Item("x'y"); }},
      {"select  *  from t order by l,t.i''d DESC,e'' DESC",
       [](S& s) {
         s.table("t"), s.orderBy("l"), s.orderBy(CVORNColumn("t", "i'd"), false), s.orderBy("e'", false);
       }},
      {"select  *  from t where x'", [](S& s) { s.where(kLevel), s.table("t"), s.where(std::string("x'")); }},
      {"select  *  from t where ", [](S& s) { s.table("t"), s.where({}); }},
      {"select  *  from t LIMIT 4294967295 OFFSET 0",
       [](S& s) { s.table("t"), s.limit(1, 2), s.limit(4294967295, 0); }},
      {"select id,name from alarm where (level=3) order by id DESC LIMIT 10 OFFSET 20",
       [](S& s) {
         s.limit(10, 20), s.orderBy("id", false), s.where(kLevel), s.select("id"), s.select("name");
         s.table("alarm");
       }},
      {"select  *  from alarm,b",
       [](S& s) {
         s.table("alarm"), s.select("x"), s.distinct(), s.where(kLevel), s.orderBy("x"), s.limit(1, 1);
         s.compound(S(), COMPOUND_EXCEPT), s.clear(), s.table("alarm"), s.table("b");
       }},
  });
}

TEST_F(BuildersTest, SelectorCompounds) {
  CVORNSelector history;
  history.table("history");
  history.orderBy("x");
  const std::pair<int, std::string> operators[] = {{1, " UNION "},  {2, " UNION ALL "}, {3, " INTERSECT "},
                                                   {4, " EXCEPT "}, {0, " UNION "},     {7, " UNION "}};
  for (const auto& [op, fragment] : operators) {
    CVORNSelector alarm;
    alarm.table("alarm");
    alarm.where(kLevel);
    alarm.limit(1, 0);
    alarm.orderBy("id");
    alarm.compound(CVORNSelector(), COMPOUND_UNION);
    alarm.compound(history, static_cast<ENUM_COMPOUND_OP>(op));
    EXPECT_EQ(alarm.toString(), "select  *  from alarm where (level=3)" + fragment +
                                    "select  *  from history order by x order by id LIMIT 1 OFFSET 0");
  }
}

using I = CVORNInserter;

TEST_F(BuildersTest, Inserter) {
  expectAll<I>({
      {"insert into )", [](I&) {}},
      {"insert into alarm (id,o''x))", [](I& i) { i.table("alarm"), i["id"]["o'x"]; }},
      {"insert into alarm (id,text) values(5,'disk ''C'' full')",
       [](I& i) { i.table("a"), i.table("alarm"), i["id"]["text"] << 5 << std::string("disk 'C' full"); }},
      {"insert into t values(1,0,NULL,'y','''','it''s','')",
       [](I& i) {
         i.table("t"), i << true << false << CVORNNull() << 'y' << '\'' << "it's"
                         << "";
       }},
      {"insert into t values(-3,65535,-7,0,9223372036854775807)",
       [](I& i) {
         i.table("t"), i << static_cast<short>(-3) << static_cast<unsigned short>(65535) << -7 << 0
                         << 9223372036854775807L;
       }},
      {"insert into t values(0,-2,-2147483648,2147483647)",
       [](I& i) { i.table("t"), i << 4294967295U << 4294967294U << 2147483648U << 2147483647U; }},
      {"insert into t values(0,4294967294,0)",
       [](I& i) { i.table("t"), i << 4294967295UL << 4294967294UL << 5000000000UL; }},
      {"insert into t values(2.500000,0.100000)", [](I& i) { i.table("t"), i << 2.5F << 0.1; }},
      {"insert into t values(1)", [](I& i) { i.table("t"), i["a"] << 2, i.clear(), i << 1; }},
  });
}

using U = CVORNUpdater;

TEST_F(BuildersTest, Updater) {
  expectAll<U>({
      {"update ", [](U&) {}},
      {"update t=1", [](U& u) { u.table("x"), u.table("t"), u.assign(1); }},
      {"update t set a,o''b=1", [](U& u) { u.table("t"), u["a"]["o'b"].assign(1); }},
      {"update alarm set level=3,text='it''s' where (level=3)",
       [](U& u) {
         u.where({}), u.where(kLevel), u.table("alarm"), u["level"].assign(3);
         u["text"].assign(std::string("it's"));
       }},
      {"update t set a='''',b='it''s',c=NULL",
       [](U& u) { u.table("t"), u["a"].assign('\''), u["b"].assign("it's"), u["c"].assign(CVORNNull()); }},
      {"update t set a=-3,b=0,c=3000000000,d=4294967294",
       [](U& u) {
         u.table("t"), u["a"].assign(static_cast<short>(-3)), u["b"].assign(4294967295U);
         u["c"].assign(3000000000U), u["d"].assign(4294967294U);
       }},
      {"update t set a=0,b=4294967294,c=-5,d=2.500000,e=0.100000",
       [](U& u) {
         u.table("t"), u["a"].assign(4294967295UL), u["b"].assign(4294967294UL), u["c"].assign(-5L);
         u["d"].assign(2.5F), u["e"].assign(0.1);
       }},
      {"update t set level=4 where ",
       [](U& u) { u.table("t"), u["a"].assign(1), u.clear(), u["level"].assign(4); }},
  });
}

using D = CVORNDeleter;
using X = CVORNDroper;

TEST_F(BuildersTest, DeleterAndDropper) {
  expectAll<D>({
      {"delete from ", [](D&) {}},
      {"delete from device's", [](D& d) { d.table("alarm"), d.table("device's"); }},
      {"delete from alarm where (level=3)", [](D& d) { d.table("alarm"), d.where({}), d.where(kLevel); }},
      {"delete from alarm", [](D& d) { d.table("alarm"), d.where(kLevel), d.clear(); }},
  });
  expectAll<X>({
      {"drop ", [](X& x) { x.index("ix_a"); }},
      {"drop main.", [](X& x) { x.database("main"); }},
      {"drop table t'", [](X& x) { x.table("t'"); }},
      {"drop main.table t", [](X& x) { x.database("main"), x.table("t"), x.index("i"); }},
      {"drop view t", [](X& x) { x.view("v"), x.table("t"); }},
      {"drop ", [](X& x) { x.table("t"), x.database("d"), x.clear(); }},
      {"drop view t", [](X& x) { x.view("v"), x.clear(), x.table("t"); }},
  });
}

TEST_F(BuildersTest, TableQualifiesTheNextCondition) {
  CVORNSelector selector;
  CVORNDeleter deleter;
  CVORNDroper dropper;
  CVORNsqlstr raw;
  CVORNBase* const builders[] = {&selector, &deleter, &dropper, &raw};
  for (CVORNBase* builder : builders) EXPECT_EQ(builder->table("t")["c"].toString(), "t.c");
  EXPECT_EQ(dropper.view("v").getTableName(), "v");
}

TEST_F(BuildersTest, RawStatementIsItsTextAlone) {
  CVORNsqlstr raw;
  EXPECT_EQ(raw.toString(), "");
  raw.assign(" it's\n");
  raw.table("t");
  raw.where(kLevel);
  EXPECT_EQ(raw.toString(), " it's\n");
  raw.clear();
  EXPECT_EQ(raw.toString(), "");
}

TEST_F(BuildersTest, ColumnsWithoutATableAreEmpty) {
  const CVORNColumn column("t", "x"), bare("", "x");
  EXPECT_EQ(column.getTableName() + '|' + column.getColumnName() + '|' + column.toString(), "t|.x|t.x");
  EXPECT_EQ(bare.getTableName() + bare.getColumnName() + bare.toString(), "");
}

// The attached texts stand around a statement with a table list, until table() empties them.
template <typename Builder>
struct Attached : Builder {
  Attached() { this->m_attachSQL = "A;", this->m_detachSQL = ";D"; }
};

TEST_F(BuildersTest, RendersAttachedTexts) {
  Attached<CVORNSelector> selector;
  Attached<CVORNDeleter> deleter;
  EXPECT_EQ(selector.toString(), "A;select  *  from ;D");
  EXPECT_EQ(deleter.toString(), "A;delete from ;D");
  selector.clear();
  deleter.table("t");
  EXPECT_EQ(selector.toString() + deleter.toString(), "select  *  from delete from t");
}

TEST_F(BuildersTest, NullTextThrowsAfterItsOpening) {
  const char* const none = nullptr;
  CVORNInserter inserter;
  CVORNUpdater updater;
  EXPECT_THROW(inserter << none, std::logic_error);
  EXPECT_THROW(updater["a"].assign(none), std::logic_error);
  EXPECT_EQ(inserter.toString(), "insert into  values(')");
  EXPECT_EQ(updater.toString(), "update  set a='");
}

TEST_F(BuildersTest, CutsALongRealAndLogsIt) {
  CVORNInserter inserter;
  inserter << 1e300;
  char digits[400];
  std::snprintf(digits, sizeof digits, "%f", 1e300);
  EXPECT_EQ(inserter.toString(), "insert into  values(" + std::string(digits, 199) + ")");
  EXPECT_EQ(platform().logs.size(), 1U);
}

TEST_F(BuildersTest, LogsEveryNumberThatCannotBeFormatted) {
  platform().snprintfFails = true;
  CVORNSelector selector;
  CVORNInserter inserter;
  CVORNUpdater updater;
  selector.limit(1, 2);
  inserter << true << 1 << 1U << 1.0;
  updater.assign(static_cast<short>(1)), updater.assign(1), updater.assign(1U), updater.assign(1UL);
  updater.assign(1L), updater.assign(1.0F), updater.assign(1.0);
  EXPECT_EQ(selector.toString() + inserter.toString() + updater.toString(),
            "select  *  from  LIMIT  OFFSET insert into  values(,,,)update ");

  const std::string tag = "error 4294967295 scrubbed [VORNLib]";
  const std::string insert = tag + "CVORNInserter::operator<<.snprintf_s failed @CVORNInserter:SetValue:33";
  const std::string limit = tag + "CVORNSelector::limit.snprintf_s failed @CVORNSelector:limit:";
  std::vector<std::string> expected = {limit + "158", limit + "164", insert, insert, insert, insert};
  for (const char* line : {"106", "121", "141", "160", "175", "190", "205"}) {
    expected.push_back(tag + "CVORNUpdater::assign.snprintf_s failed @CVORNUpdater:assign:" + line);
  }
  EXPECT_EQ(platform().events, expected);
}

}  // namespace
