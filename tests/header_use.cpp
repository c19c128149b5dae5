// Compiled only, under every standard and compiler that callers use: no cast, no warning, no ambiguity.
#include <type_traits>
#if __cplusplus >= 202002L
#include <ranges>
#endif

#include "vorn/columns.h"
#include "vorn/rows.h"
#include "vorn/vorn.h"

[[maybe_unused]] static std::string useConditions(CVORNTable t, CVORNCriterionItem a, CVORNCriterionItem b) {
  const CVORNSelector sub;
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

[[maybe_unused]] static void useBuilders(CVORNTable t) {
  CVORNSelector() << vornMax(t["age"]) << vornCount();
  CVORNInserter ins;
  ins["a"]["b"] << 5 << "text" << std::string() << 'c' << true << 2.5F << CVORNNull() << 0 << 7UL;
  CVORNUpdater upd;
  upd["a"].assign(0);
  upd["b"].assign("text");
  upd["c"].assign(CVORNNull());
}

[[maybe_unused]] static long useRanges(CVORN& db, const CVORNBase& statement, BatchInserter& batch) {
  std::vector<std::tuple<long, std::string>> kept;
  for (auto [id, name] : vorn::rows<long, std::optional<std::string>>(db, statement))
    kept.emplace_back(id, name.value_or(""));
  vorn::appendRows(batch, kept, "id", "name");
  return vorn::value<long>(db, statement).value_or(0);
}
#if __cplusplus >= 202002L
static_assert(std::ranges::input_range<vorn::Rows<long>>);
#endif

[[maybe_unused]] const auto compare = [](auto&& item, const auto& value) -> decltype(item == value) {
  return item == value;
};
[[maybe_unused]] const auto insert = [](auto&& inserter, const auto& value) -> decltype(inserter << value) {
  return inserter << value;
};
template <typename Value>
constexpr bool compares = std::is_invocable_v<decltype(compare), CVORNCriterionItem&, Value>;
template <typename Value>
constexpr bool inserts = std::is_invocable_v<decltype(insert), CVORNInserter&, Value>;

static_assert(sizeof(CVORNNull) == 1);
static_assert(compares<const char*> && inserts<const char (&)[5]>);
static_assert(!compares<CVORNNull>, "the marker would become a number");
static_assert(!inserts<const wchar_t*> && !inserts<int*>, "a pointer would become a bool");
static_assert(ENUM_COMPOUND_OP{7} != COMPOUND_UNION, "a value like the others");

// A caller's own operator for pointers is not ambiguous.
template <typename Target>
CVORNInserter& operator<<(CVORNInserter& inserter, const Target* target) {
  return inserter << *target;
}
[[maybe_unused]] static void useOwnPointers(CVORNInserter& inserter, int* number, const long* other) {
  inserter << number << other << "text";
}
