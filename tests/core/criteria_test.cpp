#include "vorn/criteria.h"

#include "scripted/scripted_platform.h"
#include "vorn/selector.h"

namespace {

using Item = CVORNCriterionItem;
using CriteriaTest = scripted::PlatformTest;
const CVORNTable t("t'");

void expectAll(const std::vector<std::pair<CVORNCriterion, std::string>>& cases) {
  for (const auto& [condition, expected] : cases) EXPECT_EQ(condition.toString(), expected);
}

template <typename Value>
void expectEquality(Value value, const std::string& rendered) {
  expectAll({{Item("a") == value, "(a=" + rendered + ")"}, {Item("a") != value, "(a!=" + rendered + ")"}});
}

TEST_F(CriteriaTest, Comparisons) {
  expectEquality(short{-1}, "-1");
  expectEquality(4294967295U, "4294967295");
  expectEquality(18446744073709551615UL, "18446744073709551615");
  expectEquality(-9223372036854775807L, "-9223372036854775807");
  expectEquality(2.5F, "2.500000");
  expectEquality(-0.1, "-0.100000");
  expectEquality('\'', "'''");
  CVORNSelector quoting;
  quoting.table("t");
  quoting.where(Item("k") == 'x');
  expectAll({{Item("a") <= -65, "(a <= -65)"},
             {Item("a") == "a'b'c", "(a='a''b'c')"},
             {Item("a") != "a'b'c", "(a!='a''b''c')"},
             {Item("a")("it's"), "a'it''s"},
             {Item("a").like("a%'b"), "a LIKE 'a%''b'"},
             {Item("a") == Item("b'c"), "(a=b''c)"},
             {Item("a") != Item("b'c"), "(a!=b'c)"},
             {t["a'b"] == 1, "(t'.a''b=1)"},
             {CVORNTable("")["b"] == 1, "(=1)"},
             {Item("a").in("'x','y'"), "a in (''x'',''y'')"},
             {Item("a").notIn("'x','y'"), "a not in ('x','y')"},
             {Item("a").in(quoting), "a in (select  *  from t where (k=''x''))"},
             {Item("a") <= quoting, "(a <= (select  *  from t where (k='x')))"},
             {Item("a") >= quoting, "(a >= (select  *  from t where (k='x')))"},
             {vornCount(vornMin(Item("id"))) >= 2, "( count( min(id)) >= 2)"},
             {vornAvg(vornMax(Item("n"))) == vornCount(), "( avg ( max(n))= count(*))"}});
}

TEST_F(CriteriaTest, OperandKeepsWhatAComparisonMadeOfIt) {
  Item item("a");
  expectAll({{item == 1, "(a=1)"}, {item == 2, "((a=1)=2)"}, {item.in("3"), "((a=1)=2) in (3)"}});
  EXPECT_EQ(item.toString(), "((a=1)=2) in (3)");
  expectAll({{item["a'b"] == 5, "(a''b=5)"}, {vornMin(item) == 1, "( min(a''b)=1)"}});
  EXPECT_EQ(item.toString(), "a''b");
}

TEST_F(CriteriaTest, JoinsInPlace) {
  const CVORNCriterion left("(a=5)");
  const CVORNCriterion right("(b='x')");
  CVORNCriterion joined(left);
  CVORNCriterion twice(left);
  expectAll({
      {CVORNCriterion(left) || right, "((a=5) or (b='x'))"},
      {CVORNCriterion() && right, "((b='x'))"},
      {CVORNCriterion(left) && CVORNCriterion(), "((a=5) and )"},
      {joined && right && Item("id").in("1"), "(((a=5) and (b='x')) and id in (1))"},
      {joined, "(((a=5) and (b='x')) and id in (1))"},
      {twice && twice, "((a=5) and (a=5) and )"},
  });
}

}  // namespace
