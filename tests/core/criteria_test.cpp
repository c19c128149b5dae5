#include "vorn/criteria.h"

#include "scripted/scripted_platform.h"
#include "vorn/selector.h"
#include "vorn/sqlite_util.h"

namespace {

using C = CVORNCriterion;
using Item = CVORNCriterionItem;
using scripted::platform;
using CriteriaTest = scripted::PlatformTest;
const CVORNTable t("t'");

void expectAll(const std::vector<std::pair<C, std::string>>& cases) {
  for (const auto& [condition, expected] : cases) EXPECT_EQ(condition.toString(), expected);
}

template <typename Value>
void expectEquality(Value value, const std::string& rendered) {
  expectAll({{Item("a") == value, "(a=" + rendered + ")"}, {Item("a") != value, "(a!=" + rendered + ")"}});
}

TEST_F(CriteriaTest, Comparisons) {
  expectEquality(short{-1}, "-1");
  expectEquality(0, "0");
  expectEquality(4294967295U, "4294967295");
  expectEquality(18446744073709551615UL, "18446744073709551615");
  expectEquality(-9223372036854775807L, "-9223372036854775807");
  expectEquality(2.5F, "2.500000");
  expectEquality(-0.1, "-0.100000");
  expectEquality('\'', "'''");
  expectEquality("it's", "'it''s'");
  CVORNSelector quoting;
  quoting.where(Item("k") == 'x'), quoting.table("t");
  expectAll({
      {Item("a") >= 0, "(a >= 0)"},
      {Item("a") <= -65, "(a <= -65)"},
      {Item() == "", "(='')"},
      {Item("a") == "a'b'c", "(a='a''b'c')"},
      {Item("a") != "a'b'c", "(a!='a''b''c')"},
      {Item("a") <= "2020''", "(a <= '2020''''')"},
      {Item("a") >= "'2020'", "(a >= '''2020''')"},
      {Item("a")("it's"), "a'it''s"},
      {Item("a").like("a%'b"), "a LIKE 'a%''b'"},
      {Item("a") == Item("b'c"), "(a=b''c)"},
      {Item("a") != Item("b'c"), "(a!=b'c)"},
      {Item().in("1,2"), " in (1,2)"},
      {Item("a").in("'x','y'"), "a in (''x'',''y'')"},
      {Item("a").notIn("'x','y'"), "a not in ('x','y')"},
      {Item("a").in(quoting), "a in (select  *  from t where (k=''x''))"},
      {Item("a") <= quoting, "(a <= (select  *  from t where (k='x')))"},
      {Item("a") >= quoting, "(a >= (select  *  from t where (k='x')))"},
      {vornCount(vornMin(Item("id"))) >= 2, "( count( min(id)) >= 2)"},
      {vornAvg(vornMax(Item("n"))) == vornCount(), "( avg ( max(n))= count(*))"},
      {t["a'b"] == 1, "(t'.a''b=1)"},
      {CVORNTable("")["b"] == 1, "(=1)"},
  });
}

TEST_F(CriteriaTest, OperandKeepsWhatAComparisonMadeOfIt) {
  Item item("a");
  expectAll({{item == 1, "(a=1)"}, {item == 2, "((a=1)=2)"}, {item.in("3"), "((a=1)=2) in (3)"}});
  EXPECT_EQ(item.toString(), "((a=1)=2) in (3)");
  expectAll({{item["a'b"] == 5, "(a''b=5)"}, {vornMin(item) == 1, "( min(a''b)=1)"}});
  EXPECT_EQ(item.toString(), "a''b");
}

TEST_F(CriteriaTest, JoinsInPlace) {
  const C left("(a=5)"), right("(b='x')");
  C joined(left), twice(left);
  expectAll({
      {C(left) || right, "((a=5) or (b='x'))"},
      {C() && right, "((b='x'))"},
      {C(left) && C(), "((a=5) and )"},
      {C() || C(), "()"},
      {C(" ") && right, "(  and (b='x'))"},
      {joined && right && Item("id").in("1"), "(((a=5) and (b='x')) and id in (1))"},
      {joined, "(((a=5) and (b='x')) and id in (1))"},
      {twice && twice, "((a=5) and (a=5) and )"},
  });
}

// The ways that the manual names for texts from outside, each against a text made to break out.
TEST_F(CriteriaTest, SafeWaysToCompareWithTextFromOutside) {
  const std::string text = "a'b' or ''='", literal = "'a''b'' or ''''='''";
  CVORNSelector quoting;
  quoting.where(Item("k") != text), quoting.table("u");
  expectAll({
      {C("(n='" + CSQLiteUtil::getInstance()->replaceSpecialChar(text) + "')"), "(n=" + literal + ")"},
      {Item("n") >= text && Item("n") <= text, "((n >= " + literal + ") and (n <= " + literal + "))"},
      {Item("n") == std::string(1, '\''), "(n='''')"},
      {C("k in (" + quoting.toString() + ")"), "k in (select  *  from u where (k!=" + literal + "))"},
  });
}

TEST_F(CriteriaTest, LogsNumbersThatCannotBeFormatted) {
  platform().snprintfFails = true;
  expectAll({{Item("a") == 1, "(a)"}, {Item("a") != 1UL, "(a)"}, {Item("a") == 1.0F, "(a)"}});
  expectAll({{Item("a") != 1.0, "(a)"}, {Item("a") >= 1, "(a)"}, {Item("a") <= 1, "(a)"}});
  const std::string plain = "CVORNCriterion createCriterionWithInt.snprintf_s failed @createCriterionWithInt";
  std::vector<std::string> expected(2, plain), logged;
  for (const std::string name : {"operator==", "operator!=", "operator>=", "operator<="}) {
    expected.push_back("scrubbed [VORNLib]CVORNCriterionItem::" + name + ".snprintf_s failed @" + name);
  }
  for (const vorn::LogRecord& log : platform().logs) {
    logged.push_back(log.text + " @" + log.location.function);
    EXPECT_EQ(log.location.sourceUnit + std::to_string(log.code), "CVORNCriterionItem4294967295");
  }
  EXPECT_EQ(logged, expected);
}

}  // namespace
