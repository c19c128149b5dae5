// Compiled only, under every standard and compiler that callers use: no cast, no warning, no ambiguity.
#include <type_traits>
#include <utility>

#include "vorn/vorn.h"

[[maybe_unused]] static std::string useConditions(CVORNTable t, CVORNCriterionItem a, CVORNCriterionItem b) {
  const CVORNSelector sub;
  const CVORNCriterion conditions[] = {t["level"] == 3,  t["name"] == "disk", t["on"] == 'y',    t["id"] == 5L,          a == b,
                                       t["level"] != 0,  t["name"] != "disk", t["on"] != 'y',    t["id"] != 5UL,         a != b,
                                       t["level"] <= 0,  t["name"] <= "disk", t["x"] == 1.5F,    t["id"] == 5U,          t["x"] != 1.5,
                                       t["level"] >= 65, t["name"] >= "disk", t["x"] <= sub,     t["name"].like("a%"),   a == t["b"],
                                       t["id"].in(sub),  t["id"].in("1,2"),   t["id"].notIn(""), t["a"] == std::string()};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wparentheses"
  return (t["x"] == 1 && t["y"] <= 9 || t["z"].in("1,2")).toString() + conditions[0].toString();
#pragma GCC diagnostic pop
}

[[maybe_unused]] static void useBuilders(CVORNTable t) {
  CVORNSelector sel;
  sel << vornMax(t["age"]) << vornCount();
  CVORNInserter ins;
  ins["a"]["b"] << 5 << "text" << std::string() << 'c' << true << 2.5F << CVORNNull() << 0 << 7UL;
  CVORNUpdater upd;
  upd["a"].assign(0), upd["b"].assign("text"), upd["c"].assign(CVORNNull());
}

template <typename Value, typename = decltype(std::declval<CVORNCriterionItem&>() == std::declval<Value>())>
std::true_type compares(int);
template <typename Value>
std::false_type compares(...);
template <typename Value, typename = decltype(std::declval<CVORNInserter&>() << std::declval<Value>())>
std::true_type inserts(int);
template <typename Value>
std::false_type inserts(...);

static_assert(sizeof(CVORNNull) == 1);
static_assert(decltype(compares<const char*>(0))::value && decltype(inserts<const char (&)[5]>(0))::value);
static_assert(!decltype(compares<CVORNNull>(0))::value, "the marker would become a number");
static_assert(!decltype(inserts<const wchar_t*>(0))::value, "a pointer would become a bool");
