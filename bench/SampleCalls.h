#pragma once

#include "Calls.h"
#include "SampleRows.h"
#include "vorn/deleter.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace bench {

/// Keys of a filled table, far from each other, and none of them twice before all have come.
struct ScatteredKeys {
  std::size_t rows;
  std::tuple<long> operator()(std::size_t call) const { return static_cast<long>(call * 7919 % rows) + 1; }
};

/// @return a selector of all columns of the sample table
inline CVORNSelector sampleSelector() {
  CVORNSelector selector;
  selector.table("sample");
  for (const char* column : {"id", "text", "level", "ratio"}) selector.select(column);
  return selector;
}

/// @param keyOf  from the index of a call to a tuple of the key
template <typename KeyOf>
auto makeLookups(std::size_t count, const KeyOf& keyOf) {
  return Calls("select id,text,level,ratio from sample where (sample.id=?)", count, keyOf, [](long key) {
    CVORNSelector selector = sampleSelector();
    selector.where(CVORNTable("sample")["id"] == key);
    return selector;
  });
}

inline auto makeUpdates(std::size_t count, std::size_t rows) {
  const auto valuesOf = [keyOf = ScatteredKeys{rows}](std::size_t call) {
    return std::tuple(static_cast<long>(call % 16), sampleText(call + 5, 32), std::get<0>(keyOf(call)));
  };
  return Calls("update sample set level=?,text=? where (sample.id=?)", count, valuesOf,
               [](long level, const std::string& text, long key) {
                 CVORNUpdater updater;
                 const CVORNTable sample = updater.table("sample");
                 updater["level"].assign(level);
                 updater["text"].assign(text);
                 updater.where(sample["id"] == key);
                 return updater;
               });
}

inline auto makeDeletes(std::size_t count, std::size_t rows) {
  return Calls("delete from sample where (sample.id=?)", count, ScatteredKeys{rows}, [](long key) {
    CVORNDeleter deleter;
    deleter.where(deleter.table("sample")["id"] == key);
    return deleter;
  });
}

/// @param rows  that the table has before
inline auto makeInserts(std::size_t count, std::size_t rows) {
  const auto valuesOf = [rows](std::size_t call) {
    return std::tuple(static_cast<long>(rows + call) + 1, sampleText(call, 32), static_cast<long>(call % 8),
                      static_cast<double>(call % 4096) * 0.25);
  };
  return Calls("insert into sample (id,text,level,ratio) values(?,?,?,?)", count, valuesOf,
               [](long id, const std::string& text, long level, double ratio) {
                 CVORNInserter inserter;
                 inserter.table("sample");
                 inserter["id"]["text"]["level"]["ratio"] << id << text << level << ratio;
                 return inserter;
               });
}

}  // namespace bench
