#include "scripted/scripted_platform.h"
#include "vorn/deleter.h"
#include "vorn/dropper.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace {

using S = CVORNSelector;
using I = CVORNInserter;
using U = CVORNUpdater;
using D = CVORNDeleter;
using X = CVORNDroper;
using Item = CVORNCriterionItem;
using scripted::platform;
using BuildersTest = scripted::PlatformTest;
const CVORNCriterion kLevel("(level=3)"), kNone;

template <typename Builder>
void expectAll(const std::vector<std::pair<std::string, void (*)(Builder&)>>& cases) {
  for (const auto& [expected, fill] : cases) {
    Builder builder;
    fill(builder);
    EXPECT_EQ(builder.toString() + "|" + builder.toString(), expected + "|" + expected);
  }
}

TEST_F(BuildersTest, Render) {
  const std::string operators[] = {"UNION", "UNION", "UNION ALL", "INTERSECT", "EXCEPT", "UNION"};
  for (int op = 0; op < 6; ++op) {
    S s, other;
    other.table("b"), other.orderBy("y"), other.select("z");
    s.limit(9, 9), s.limit(4294967295, 0), s.orderBy("x"), s.compound(S(), COMPOUND_UNION), s.where(kLevel),
        s.table("a");
    s.compound(other, static_cast<ENUM_COMPOUND_OP>(op)), s.distinct(), s.distinct(), s.select("z");
    EXPECT_EQ(s.toString(), "select distinct z from a where (level=3) " + operators[op] +
                                " select z from b order by y order by x LIMIT 4294967295 OFFSET 0");
    s.clear();
    EXPECT_EQ(s.toString(), "select  *  from a");
  }
  expectAll<S>({
      {"select  *  from ab,c",
       [](S& s) { s.table("ab"), s.table("a"), s.table("ab"), s.table(""), s.table("c"); }},
      {"select a.i''d,x'', max(x'') from ",
       [](S& s) { s.select(CVORNColumn("a", "i'd")), s.select("x'"), s << vornMax(Item("x'")); }},
      {"select  count(*) from  where ", [](S& s) { s << vornCount(), s.where(kLevel), s.where(kNone); }},
      {"select  *  from  order by a.b'' DESC,c''",
       [](S& s) { s.orderBy(CVORNColumn("a", "b'"), false), s.orderBy("c'", true); }},
  });
  expectAll<I>({
      {"insert into t (id,o''x))", [](I& i) { i.table("a"), i.table("t"), i["id"]["o'x"]; }},
      {"insert into t (a) values(1)", [](I& i) { i.table("t"), i["b"] << 2, i.clear(), i["a"] << 1; }},
      {"insert into  values('x',NULL,-5,'')",
       [](I& i) { i << std::string("x") << CVORNNull() << -5L << ""; }},
      {std::string("insert into  values('a\0b')", 26), [](I& i) { i << std::string("a\0b", 3); }},
      {"insert into  values(1,0,'''','it''s')", [](I& i) { i << true << false << '\'' << "it's"; }},
      {"insert into  values(-3,65535,-7,2.500000)",
       [](I& i) { i << short{-3} << std::uint16_t{65535} << -7 << 2.5F; }},
      {"insert into  values(0,-2,-2147483648)", [](I& i) { i << 4294967295U << 4294967294U << 2147483648U; }},
      {"insert into  values(0,4294967294)", [](I& i) { i << 4294967295UL << 4294967294UL; }},
  });
  expectAll<U>({
      {"update t set l=4 where ",
       [](U& u) { u.table("t"), u["a"].assign(1), u.where(kLevel), u.clear(), u["l"].assign(4); }},
      {"update  set a='x',b=NULL,c=-5",
       [](U& u) { u["a"].assign(std::string("x")), u["b"].assign(CVORNNull()), u["c"].assign(-5L); }},
      {"update t=1 where (level=3)", [](U& u) { u.table("x"), u.table("t"), u.assign(1), u.where(kLevel); }},
      {"update  set a,o''b='''' where ", [](U& u) { u["a"]["o'b"].assign('\''), u.where(kNone); }},
      {"update  set a=4294967294,b=0", [](U& u) { u["a"].assign(4294967294U), u["b"].assign(4294967295U); }},
      {"update  set a=4294967294,b=0",
       [](U& u) { u["a"].assign(4294967294UL), u["b"].assign(4294967295UL); }},
      {"update  set a=-4,b=2.500000", [](U& u) { u["a"].assign(short{-4}), u["b"].assign(2.5F); }},
  });
  expectAll<D>({
      {"delete from device's", [](D& d) { d.table("alarm"), d.table("device's"); }},
      {"delete from alarm where (level=3)", [](D& d) { d.table("alarm"), d.where(kNone), d.where(kLevel); }},
      {"delete from alarm", [](D& d) { d.table("alarm"), d.where(kLevel), d.clear(); }},
  });
  expectAll<X>({
      {"drop main.", [](X& x) { x.database("main"), x.index("ix_a"); }},
      {"drop main.table t'", [](X& x) { x.table("t'"), x.database("main"); }},
      {"drop ", [](X& x) { x.table("t"), x.database("d"), x.clear(); }},
      {"drop view t", [](X& x) { x.view("v"), x.clear(), x.table("t"); }},
  });
}

TEST_F(BuildersTest, RawStatementTablesAndColumns) {
  S selector;
  D deleter;
  X dropper;
  CVORNsqlstr raw;
  raw.assign(" it's\n"), raw.where(kLevel);
  CVORNBase* const builders[] = {&selector, &deleter, &dropper, &raw};
  for (CVORNBase* builder : builders) EXPECT_EQ(builder->table("t")["c"].toString(), "t.c");
  EXPECT_EQ(raw.toString(), " it's\n");
  raw.clear();
  EXPECT_EQ(raw.toString(), "");
  const CVORNColumn column("t", "x"), bare("", "x");
  EXPECT_EQ(column.getTableName() + '|' + column.getColumnName() + '|' + column.toString(), "t|.x|t.x");
  EXPECT_EQ(bare.getTableName() + bare.getColumnName() + bare.toString(), "");
}

template <typename Builder>
struct Attached : Builder {
  Attached() { this->m_attachSQL = "A;", this->m_detachSQL = ";D"; }
};

TEST_F(BuildersTest, AttachedTextsStandAroundUntilATableIsNamed) {
  using AS = Attached<S>;
  using AD = Attached<D>;
  expectAll<AS>({{"A;select  *  from ;D", [](AS&) {}}, {"select  *  from ", [](AS& s) { s.clear(); }}});
  expectAll<AD>({{"A;delete from ;D", [](AD&) {}}, {"delete from t", [](AD& d) { d.table("t"); }}});
}

TEST_F(BuildersTest, FailedValuesStayAsFarAsTheyWereWritten) {
  const char* const none = nullptr;
  I inserter, large;
  U updater;
  EXPECT_THROW(inserter << none, std::logic_error);
  EXPECT_THROW(updater["a"].assign(none), std::logic_error);
  EXPECT_EQ(inserter.toString() + updater.toString(), "insert into  values(')update  set a='");
  EXPECT_EQ((large << 1e300).toString().size(), std::string("insert into  values()").size() + 199);
  platform().snprintfSucceeds = 1;
  S selector;
  selector.limit(12, 34);
  EXPECT_EQ(selector.toString(), "select  *  from  LIMIT 12 OFFSET 12") << "what the buffer still held";
  updater.assign(1);
  EXPECT_EQ(updater.toString(), "update  set a='");
  const std::string failed = ".snprintf_s failed @CVORN";
  for (const std::string name : {"Inserter::operator<<", "Selector::limit", "Updater::assign"}) {
    const std::string event = platform().events.empty() ? "" : platform().events.front();
    EXPECT_EQ(event.find("error 4294967295 scrubbed [VORNLib]CVORN" + name + failed), 0u) << event;
    platform().events.erase(platform().events.begin());
  }
}

}  // namespace
