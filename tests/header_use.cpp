// Compiled only, under every standard and compiler that callers use: no cast, no warning, no ambiguity.
#include <type_traits>

#include "vorn/vorn.h"

std::string useConditions(CVORNTable t, CVORNCriterionItem a, CVORNCriterionItem b, const CVORNSelector& sub);
void useBuilders(CVORNTable t);

std::string useConditions(CVORNTable t, CVORNCriterionItem a, CVORNCriterionItem b,
                          const CVORNSelector& sub) {
  const CVORNCriterion conditions[] = {
      t["level"] == 3,  t["name"] == "disk", t["on"] == 'y',    t["id"] == 5L,          a == b,
      t["level"] != 0,  t["name"] != "disk", t["on"] != 'y',    t["id"] != 5UL,         a != b,
      t["level"] <= 0,  t["name"] <= "disk", t["x"] == 1.5F,    t["id"] == 5U,          t["x"] != 1.5,
      t["level"] >= 65, t["name"] >= "disk", t["x"] <= sub,     t["name"].like("a%"),   a == t["b"],
      t["id"].in(sub),  t["id"].in("1,2"),   t["id"].notIn(""), t["a"] == std::string()};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wparentheses"
  return (t["x"] == 1 && t["y"] <= 9 || t["z"].in("1,2")).toString() + conditions[0].toString();
#pragma GCC diagnostic pop
}

void useBuilders(CVORNTable t) {
  CVORNSelector sel;
  sel << vornMax(t["age"]) << vornCount();
  sel.select(t.column("id"));
  sel.where(sel.table("alarm")["level"] == 3);
  CVORNInserter ins;
  ins["a"]["b"] << 5 << "text" << std::string() << 'c' << true << 2.5F << CVORNNull() << 0 << 7UL;
  CVORNUpdater upd;
  upd["a"].assign(0);
  upd["a"].assign("text");
  upd["a"].assign(CVORNNull());
}

template <typename Left, typename Right, typename = void>
struct CanCompare : std::false_type {};
template <typename Left, typename Right>
struct CanCompare<Left, Right, std::void_t<decltype(std::declval<Left>() == std::declval<Right>())>>
    : std::true_type {};
template <typename Value, typename = void>
struct CanInsert : std::false_type {};
template <typename Value>
struct CanInsert<Value, std::void_t<decltype(std::declval<CVORNInserter&>() << std::declval<Value>())>>
    : std::true_type {};

static_assert(sizeof(CVORNNull) == 1);
static_assert(CanCompare<CVORNCriterionItem&, const char*>::value);
static_assert(!CanCompare<CVORNCriterionItem&, CVORNNull>::value, "the marker would become a number");
static_assert(!CanCompare<CVORNCriterionItem&, const int*>::value);
static_assert(CanInsert<char*>::value && CanInsert<const char (&)[5]>::value);
static_assert(!CanInsert<const int*>::value, "a pointer would become a bool");
static_assert(!CanInsert<decltype(L"x")>::value);
