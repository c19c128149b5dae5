// Builds of each statement, against the same text written by std::ostringstream and by std::snprintf.
#include <cstdio>
#include <sstream>

#include "Harness.h"
#include "vorn/deleter.h"
#include "vorn/dropper.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace {

using Build = std::string (*)(int);

constexpr const char* kAlarm = "alarm";
constexpr const char* kId = "id";
constexpr const char* kName = "name";
constexpr const char* kLevel = "level";
constexpr const char* kTextColumn = "text";
constexpr const char* kRatio = "ratio";
constexpr const char* kOwner = "owner";
constexpr const char* kAlarmId = "alarm.id";
constexpr const char* kAlarmLevel = "alarm.level";
constexpr const char* kAlarmState = "alarm.state";
constexpr const char* kClosed = "closed";
const std::string kText = "disk C of shelf 12 is nearly full";

const char* tableToDrop(int n) {
  return n % 2 == 0 ? "t_even" : "t_odd";
}

template <typename... Values>
std::string formatted(const char* format, Values... values) {
  char buffer[512];
  const int size = std::snprintf(buffer, sizeof buffer, format, values...);
  return {buffer, static_cast<std::size_t>(size)};
}

std::string selectByBuilder(int n) {
  CVORNSelector selector;
  const CVORNTable alarm = selector.table("alarm");
  selector.select("id");
  selector.select("name");
  selector.where(alarm["level"] == n && alarm["state"] != "closed");
  selector.orderBy("id", false);
  selector.limit(10, 20);
  return selector.toString();
}

std::string selectByStream(int n) {
  std::ostringstream stream;
  stream << "select " << kId << ',' << kName << " from " << kAlarm << " where ((" << kAlarmLevel << '=' << n
         << ") and (" << kAlarmState << "!='" << kClosed << "')) order by " << kId << " DESC LIMIT " << 10U
         << " OFFSET " << 20U;
  return stream.str();
}

std::string selectByPrintf(int n) {
  return formatted("select %s,%s from %s where ((%s=%d) and (%s!='%s')) order by %s DESC LIMIT %u OFFSET %u",
                   kId, kName, kAlarm, kAlarmLevel, n, kAlarmState, kClosed, kId, 10U, 20U);
}

std::string insertByBuilder(int n) {
  CVORNInserter inserter;
  inserter.table("alarm");
  inserter["id"]["text"]["ratio"]["owner"] << n << kText << n * 0.25 << CVORNNull();
  return inserter.toString();
}

std::string insertByStream(int n) {
  std::ostringstream stream;
  stream << std::fixed << "insert into " << kAlarm << " (" << kId << ',' << kTextColumn << ',' << kRatio
         << ',' << kOwner << ") values(" << n << ",'" << kText << "'," << n * 0.25 << ',' << "NULL" << ')';
  return stream.str();
}

std::string insertByPrintf(int n) {
  return formatted("insert into %s (%s,%s,%s,%s) values(%d,'%s',%f,NULL)", kAlarm, kId, kTextColumn, kRatio,
                   kOwner, n, kText.c_str(), n * 0.25);
}

std::string updateByBuilder(int n) {
  CVORNUpdater updater;
  const CVORNTable alarm = updater.table("alarm");
  updater["level"].assign(3);
  updater["text"].assign(kText);
  updater.where(alarm["id"] == n);
  return updater.toString();
}

std::string updateByStream(int n) {
  std::ostringstream stream;
  stream << "update " << kAlarm << " set " << kLevel << '=' << 3 << ',' << kTextColumn << "='" << kText
         << "' where (" << kAlarmId << '=' << n << ')';
  return stream.str();
}

std::string updateByPrintf(int n) {
  return formatted("update %s set %s=%d,%s='%s' where (%s=%d)", kAlarm, kLevel, 3, kTextColumn, kText.c_str(),
                   kAlarmId, n);
}

std::string deleteByBuilder(int n) {
  CVORNDeleter deleter;
  deleter.where(deleter.table("alarm")["level"] == n);
  return deleter.toString();
}

std::string deleteByStream(int n) {
  std::ostringstream stream;
  stream << "delete from " << kAlarm << " where (" << kAlarmLevel << '=' << n << ')';
  return stream.str();
}

std::string deleteByPrintf(int n) {
  return formatted("delete from %s where (%s=%d)", kAlarm, kAlarmLevel, n);
}

std::string dropByBuilder(int n) {
  CVORNDroper dropper;
  dropper.table(tableToDrop(n));
  return dropper.toString();
}

std::string dropByStream(int n) {
  std::ostringstream stream;
  const char* const kind = "table ";
  stream << "drop " << kind << tableToDrop(n);
  return stream.str();
}

std::string dropByPrintf(int n) {
  return formatted("drop table %s", tableToDrop(n));
}

void measureStatement(bench::Harness& harness, const char* name, Build library, Build stream, Build printf) {
  const std::size_t builds = harness.options().size(50'000);
  bench::Workload workload{"rendering", name, "build", builds};
  workload.clock = CLOCK_PROCESS_CPUTIME_ID;
  const auto add = [&](const char* competitor, Build build) {
    const auto run = [build, builds](bench::Checksum& checksum) {
      for (std::size_t n = 0; n < builds; ++n) {
        const std::string text = build(static_cast<int>(n));
        asm volatile("" : : "r"(text.data()) : "memory");
      }
      checksum.addBytes(build(7));
    };
    workload.competitors.push_back({competitor, run});
  };
  add("vorn", library);
  add("std::ostringstream", stream);
  add("std::snprintf", printf);
  harness.measure(workload);
}

void measure(bench::Harness& harness) {
  measureStatement(harness, "select", selectByBuilder, selectByStream, selectByPrintf);
  measureStatement(harness, "insert", insertByBuilder, insertByStream, insertByPrintf);
  measureStatement(harness, "update", updateByBuilder, updateByStream, updateByPrintf);
  measureStatement(harness, "delete", deleteByBuilder, deleteByStream, deleteByPrintf);
  measureStatement(harness, "drop", dropByBuilder, dropByStream, dropByPrintf);
}

}  // namespace

int main(int argc, char** argv) {
  return bench::Harness::runProgram(argc, argv, "rendering", measure);
}
