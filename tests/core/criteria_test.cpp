#include "vorn/criteria.h"

#include "scripted/scripted_platform.h"
#include "vorn/selector.h"
#include "vorn/sqlite_util.h"

namespace {

using Item = CVORNCriterionItem;
using scripted::platform;
using CriteriaTest = scripted::PlatformTest;

struct Case {
  std::string expected;
  CVORNCriterion actual;
};

void expectAll(const std::vector<Case>& cases) {
  for (const Case& each : cases) EXPECT_EQ(each.actual.toString(), each.expected);
}

CVORNSelector selectMaxAge() {
  CVORNSelector selector;
  selector.table("person");
  selector.select("max(age)");
  return selector;
}

TEST_F(CriteriaTest, ComparesWithNumbers) {
  expectAll({
      {"(age=-1)", Item("age") == static_cast<short>(-1)},
      {"(age=0)", Item("age") == 0},
      {"(age=4294967295)", Item("age") == 4294967295U},
      {"(age=18446744073709551615)", Item("age") == 18446744073709551615UL},
      {"(age=-9223372036854775807)", Item("age") == -9223372036854775807L},
      {"(age=2.500000)", Item("age") == 2.5F},
      {"(age=-0.100000)", Item("age") == -0.1},
      {"(age=1)", Item("age") == true},
      {"(age!=-3)", Item("age") != static_cast<short>(-3)},
      {"(age!=0)", Item("age") != 0},
      {"(age!=4294967295)", Item("age") != 4294967295U},
      {"(age!=18446744073709551615)", Item("age") != 18446744073709551615UL},
      {"(age!=-3)", Item("age") != -3L},
      {"(age!=1.500000)", Item("age") != 1.5F},
      {"(age!=1.500000)", Item("age") != 1.5},
      {"(age >= -1)", Item("age") >= -1},
      {"(age >= 0)", Item("age") >= 0},
      {"(age <= 65)", Item("age") <= 65},
      {"(=5)", Item() == 5},
  });
  EXPECT_TRUE(platform().logs.empty());
}

TEST_F(CriteriaTest, ComparesWithTexts) {
  expectAll({
      {"(name='bob')", Item("name") == "bob"},
      {"(name='0')", Item("name") == "0"},
      {"(name='')", Item("name") == std::string()},
      {"(name='it''s')", Item("name") == "it's"},
      {"(name='a''b'c')", Item("name") == "a'b'c"},
      {"(name='''')", Item("name") == "''"},
      {"(name!='a''b''c')", Item("name") != "a'b'c"},
      {"(ts <= '2020''''')", Item("ts") <= "2020''"},
      {"(ts >= '''2020''')", Item("ts") >= "'2020'"},
      {"(name='y')", Item("name") == 'y'},
      {"(name=''')", Item("name") == '\''},
      {"(name!=''')", Item("name") != '\''},
      {"name'it''s", Item("name")("it's")},
      {"name LIKE 'a%''b'", Item("name").like("a%'b")},
      {"(name='" + std::string(1, '\0') + "')", Item("name") == '\0'},
  });
}

TEST_F(CriteriaTest, ComparesWithOperandsListsAndSubSelects) {
  const CVORNSelector maxAge = selectMaxAge();
  CVORNSelector quoted;
  quoted.table("t");
  quoted.where(Item("k") == 'x');
  CVORNsqlstr raw;
  raw.assign("values ('a')");
  expectAll({
      {"(age=b.age)", Item("age") == Item("b.age")},
      {"(age=b''c)", Item("age") == Item("b'c")},
      {"(age!=b'c)", Item("age") != Item("b'c")},
      {"id in (1,2,3)", Item("id").in("1,2,3")},
      {" in (1)", Item().in("1")},
      {"id in (''a'',''b'')", Item("id").in("'a','b'")},
      {"id not in ('a','b')", Item("id").notIn("'a','b'")},
      {"id in (select max(age) from person)", Item("id").in(maxAge)},
      {"id in (select  *  from t where (k=''x''))", Item("id").in(quoted)},
      {"(age <= (select max(age) from person))", Item("age") <= maxAge},
      {"(age >= (values ('a')))", Item("age") >= raw},
  });
}

TEST_F(CriteriaTest, OperandKeepsWhatAComparisonMadeOfIt) {
  Item item("age");
  expectAll({{"(age=1)", item == 1}, {"((age=1)=2)", item == 2}, {"((age=1)=2) in (3)", item.in("3")}});
  EXPECT_EQ(item.toString(), "((age=1)=2) in (3)");
  EXPECT_EQ((item["a'ge"] == 5).toString(), "(a''ge=5)");
  EXPECT_EQ(item.toString(), "a''ge");
}

TEST_F(CriteriaTest, TableMakesQualifiedOperands) {
  EXPECT_EQ(CVORNTable("t")["a'b"].toString(), "t.a''b");
  EXPECT_EQ(CVORNTable("t'")["b"].toString(), "t'.b");
  EXPECT_EQ(CVORNTable("")["x"].toString(), "");
}

TEST_F(CriteriaTest, JoinsInPlace) {
  const CVORNCriterion left("(age=5)"), right("(name='x')"), list("id in (1,2)"), blank(" "), empty;
  using C = CVORNCriterion;
  expectAll({
      {"((age=5) and (name='x'))", C(left) && right},
      {"((age=5) or (name='x'))", C(left) || right},
      {"((name='x'))", C(empty) && right},
      {"((name='x'))", C(empty) || right},
      {"((age=5) and )", C(left) && empty},
      {"()", C(empty) || empty},
      {"(  and (name='x'))", C(blank) && right},
      {"(((age=5) and (name='x')) and id in (1,2))", C(left) && right && list},
      {"((age=5) or ((name='x') and id in (1,2)))", C(left) || (C(right) && list)},
  });
  C joined(left);
  EXPECT_EQ(&(joined && right), &joined);
  EXPECT_EQ(joined.toString(), "((age=5) and (name='x'))");
  C twice(left);
  EXPECT_EQ((twice && twice).toString(), "((age=5) and (age=5) and )");
}

TEST_F(CriteriaTest, Aggregates) {
  Item age("age");
  EXPECT_EQ(vornMin(age).toString(), " min(age)");
  EXPECT_EQ(vornMax(vornMin(age)).toString(), " max( min(age))");
  EXPECT_EQ(vornAvg(age).toString(), " avg (age)");
  EXPECT_EQ(vornCount().toString(), " count(*)");
  EXPECT_EQ((vornCount(age) >= 2).toString(), "( count(age) >= 2)");
  EXPECT_EQ(age.toString(), "age");
}

// The ways that the manual names for texts from outside, each closed against a text made to break out.
TEST_F(CriteriaTest, SafeWaysToCompareWithTextFromOutside) {
  const std::string text = "a'b' or ''='";
  const CVORNTable t("t");
  CVORNSelector quoted;
  quoted.table("u");
  quoted.where(Item("k") != text);
  expectAll({
      {"(t.name='a''b'' or ''''=''')",
       CVORNCriterion("(t.name='" + CSQLiteUtil::getInstance()->replaceSpecialChar(text) + "')")},
      {"((t.name >= 'a''b'' or ''''=''') and (t.name <= 'a''b'' or ''''='''))",
       t["name"] >= text && t["name"] <= text},
      {"(t.kind='''')", t["kind"] == std::string(1, '\'')},
      {"t.k in (select  *  from u where (k!='a''b'' or ''''='''))",
       CVORNCriterion("t.k in (" + quoted.toString() + ")")},
  });
}

TEST_F(CriteriaTest, LogsNumbersThatCannotBeFormatted) {
  const std::string cut = "1" + std::string(198, '0');
  const CVORNCriterion large = Item("age") == 1e300;
  EXPECT_EQ(large.toString().size(), std::string("(age=)").size() + 198);
  EXPECT_EQ(platform().logs.size(), 1U);

  platform() = scripted::Platform();
  platform().snprintfFails = true;
  const std::string plain = "CVORNCriterion createCriterionWithInt.snprintf_s failed";
  const std::string tagged = "scrubbed [VORNLib]CVORNCriterionItem::";
  const struct {
    CVORNCriterion condition;
    std::string function, text;
  } cases[] = {
      {Item("age") == 1, "createCriterionWithInt", plain},
      {Item("age") != 1UL, "createCriterionWithInt", plain},
      {Item("age") == 1.0F, "operator==", tagged + "operator==.snprintf_s failed"},
      {Item("age") != 1.0, "operator!=", tagged + "operator!=.snprintf_s failed"},
      {Item("age") >= 1, "operator>=", tagged + "operator>=.snprintf_s failed"},
      {Item("age") <= 1, "operator<=", tagged + "operator<=.snprintf_s failed"},
  };
  ASSERT_EQ(platform().logs.size(), std::size(cases));
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const vorn::LogRecord& log = platform().logs[i];
    EXPECT_EQ(cases[i].condition.toString(), "(age)");
    EXPECT_EQ(log.text, cases[i].text);
    EXPECT_EQ(log.code, 4294967295U);
    EXPECT_STREQ(log.location.sourceUnit, "CVORNCriterionItem");
    EXPECT_EQ(log.location.function, cases[i].function);
  }
}

}  // namespace
