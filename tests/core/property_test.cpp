#include <functional>
#include <random>

#include "scripted/scripted_platform.h"
#include "support.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

// Random calls against small models of the builders. VORN_TEST_SEED repeats a run.
namespace {

class PropertyTest : public scripted::PlatformTest {
 protected:
  std::size_t below(std::size_t limit) { return m_random() % limit; }
  long number() { return static_cast<long>(m_random() >> below(64)) * (below(2) == 0 ? 1 : -1); }
  std::string text() {
    std::string result(below(12), '\0');
    for (char& byte : result) byte = "ab'',\0\\% \""[below(10)];
    return result;
  }
  template <typename... Calls>
  void callOne(const Calls&... calls) {
    const std::function<void()> choices[] = {calls...};
    choices[below(sizeof...(calls))]();
  }

 private:
  std::mt19937_64 m_random{testSeed()};
};

void append(std::string& list, const std::string& opening, const std::string& part) { list += (list.empty() ? opening : ",") + part; }

TEST_F(PropertyTest, Selector) {
  CVORNSelector s;
  std::string tables, columns, keys, where, limit, compound, distinct;
  const auto clear = [&] {
    for (std::string* clause : {&columns, &keys, &where, &limit, &compound, &distinct}) clause->clear();
    s.clear();
  };
  for (int call = 0; call < 4000 && !HasFailure(); ++call) {
    const std::string v = text(), more = tables.find(v) == std::string::npos ? v : "";
    const auto n = static_cast<unsigned>(number());
    const std::string numbers = " LIMIT " + std::to_string(n) + " OFFSET " + std::to_string(~n);
    callOne([&] { s.table(v), more.empty() ? void() : append(tables, "", more); }, [&] { s.select(v), append(columns, "", escaped(v)); },
            [&] { s << vornMax(v), append(columns, "", " max(" + escaped(v) + ")"); },
            [&] { s.orderBy(v, n % 2 != 0), append(keys, " order by ", escaped(v) + (n % 2 != 0 ? "" : " DESC")); },
            [&] { s.where(v), where = " where " + v; }, [&] { s.limit(n, ~n), limit = numbers; },
            [&] { s.distinct(), distinct = "distinct "; }, [&] { n % 4 == 0 ? clear() : void(); },
            [&] { s.compound(CVORNSelector(), COMPOUND_EXCEPT), compound = " EXCEPT select  *  from "; });
    EXPECT_EQ(s.toString(),
              "select " + distinct + (columns.empty() ? " * " : columns) + " from " + tables + where + compound + keys + limit);
  }
}

TEST_F(PropertyTest, InserterAndUpdater) {
  CVORNInserter i;
  CVORNUpdater u;
  std::string table, columns, values, assignments, where;
  const auto add = [&](const std::string& name, const auto& value, const std::string& rendered) {
    i[name] << value, append(columns, " (", escaped(name)), append(values, " values(", rendered);
    u[name].assign(value), append(assignments, " set ", escaped(name) + "=" + rendered);
  };
  const auto clear = [&] { i.clear(), u.clear(), columns.clear(), values.clear(), assignments.clear(), where = " where "; };
  for (int call = 0; call < 4000 && !HasFailure(); ++call) {
    const std::string name = text(), v = text();
    const long n = number();
    callOne([&] { i.table(name), u.table(name), table = name; }, [&] { add(name, v, "'" + escaped(v) + "'"); },
            [&] { add(name, v.c_str(), "'" + escaped(v.c_str()) + "'"); }, [&] { add(name, v[0], "'" + escaped({v[0]}) + "'"); },
            [&] { add(name, n, std::to_string(n)); }, [&] { add(name, CVORNNull(), "NULL"); },
            [&] { add(name, static_cast<unsigned long>(n), std::to_string(n < 0 || n > 4294967294 ? 0 : n)); },
            [&] { add(name, static_cast<double>(n), std::to_string(static_cast<double>(n))); },
            [&] { u.where(name), where = " where " + name; }, [&] { n % 4 == 0 ? clear() : void(); });
    EXPECT_EQ(i.toString(), "insert into " + table + columns + (columns.empty() ? "" : ")") + values + ")");
    EXPECT_EQ(u.toString(), "update " + table + assignments + where);
  }
}

}  // namespace
