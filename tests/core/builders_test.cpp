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

// The property test covers what the tables leave out.
TEST_F(BuildersTest, Selector) {
  expectAll<S>({
      {"select  *  from ab", [](S& s) { s.table("ab"), s.table("a"), s.table("ab"), s.table(""); }},
      {"select  *  from a,ab", [](S& s) { s.table("a"), s.table("ab"), s.distinct(), s.clear(); }},
      {"select a.i''d, count(*) from ", [](S& s) { s.select(CVORNColumn("a", "i'd")), s << vornCount(); }},
      {"select  *  from  order by a.b'' DESC", [](S& s) { s.orderBy(CVORNColumn("a", "b'"), false); }},
      {"select  *  from  where ", [](S& s) { s.where(kLevel), s.where(kNone); }},
  });
}

TEST_F(BuildersTest, InserterAndUpdater) {
  expectAll<I>({
      {"insert into )", [](I&) {}},
      {"insert into t (id,o''x))", [](I& i) { i.table("a"), i.table("t"), i["id"]["o'x"]; }},
      {"insert into  values(1,0,'''','it''s')", [](I& i) { i << true << false << '\'' << "it's"; }},
      {"insert into  values(-3,65535,-7)", [](I& i) { i << short{-3} << std::uint16_t{65535} << -7; }},
      {"insert into  values(0,-2,-2147483648)", [](I& i) { i << 4294967295U << 4294967294U << 2147483648U; }},
      {"insert into  values(0,4294967294,2.500000)", [](I& i) { i << 4294967295UL << 4294967294UL << 2.5F; }},
  });
  expectAll<U>({
      {"update ", [](U&) {}},
      {"update t=1 where (level=3)", [](U& u) { u.table("x"), u.table("t"), u.assign(1), u.where(kLevel); }},
      {"update  set a,o''b='''' where ", [](U& u) { u["a"]["o'b"].assign('\''), u.where(kNone); }},
      {"update  set a=4294967294,b=0", [](U& u) { u["a"].assign(4294967294U), u["b"].assign(4294967295U); }},
      {"update  set a=4294967294,b=0", [](U& u) { u["a"].assign(4294967294UL), u["b"].assign(4294967295UL); }},
      {"update  set a=-4,b=2.500000", [](U& u) { u["a"].assign(short{-4}), u["b"].assign(2.5F); }},
      {"update t set l=4 where ", [](U& u) { u.table("t"), u["a"].assign(1), u.clear(), u["l"].assign(4); }},
  });
}

TEST_F(BuildersTest, DeleterAndDropper) {
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
  Attached<S> selector;
  Attached<D> deleter;
  EXPECT_EQ(selector.toString() + deleter.toString(), "A;select  *  from ;DA;delete from ;D");
  selector.clear(), deleter.table("t");
  EXPECT_EQ(selector.toString() + deleter.toString(), "select  *  from delete from t");
}

TEST_F(BuildersTest, FailedValuesStayAsFarAsTheyWereWritten) {
  const char* const none = nullptr;
  I inserter, large;
  U updater;
  EXPECT_THROW(inserter << none, std::logic_error);
  EXPECT_THROW(updater["a"].assign(none), std::logic_error);
  EXPECT_EQ(inserter.toString() + updater.toString(), "insert into  values(')update  set a='");
  EXPECT_EQ((large << 1e300).toString().size(), std::string("insert into  values()").size() + 199);
  platform().snprintfFails = true;
  S selector;
  selector.limit(1, 2), updater.assign(short{1}), updater.assign(1), updater.assign(1U), updater.assign(1UL);
  updater.assign(1L), updater.assign(1.0F), updater.assign(1.0);
  EXPECT_EQ(selector.toString() + updater.toString(), "select  *  from  LIMIT  OFFSET update  set a='");

  std::vector<std::string> expected;
  const std::string inserted = "Inserter::operator<< Inserter:SetValue:", limit = "Selector::limit Selector:limit:";
  const std::string assigned = "Updater::assign Updater:assign:";
  for (const std::string& part : {inserted + "33", limit + "158", limit + "164", assigned + "106", assigned + "121", assigned + "141",
                                  assigned + "160", assigned + "175", assigned + "190", assigned + "205"}) {
    const std::size_t blank = part.find(' ');
    expected.push_back("error 4294967295 scrubbed [VORNLib]CVORN" + part.substr(0, blank) + ".snprintf_s failed @CVORN" +
                       part.substr(blank + 1));
  }
  EXPECT_EQ(platform().events, expected);
}

}  // namespace
