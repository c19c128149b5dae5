// A million builds of each statement, against the same text written by std::ostringstream and by
// std::snprintf. The rounds of all contestants are interleaved at random in one run; the table at the end
// holds medians.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>
#include <vector>

#include "vorn/deleter.h"
#include "vorn/dropper.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace {

constexpr int kRounds = 20;
constexpr int kBuildsPerRound = 50'000;

const std::string kText = "disk C of shelf 12 is nearly full";

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
  stream << "select "
         << "id" << ',' << "name"
         << " from "
         << "alarm"
         << " where (("
         << "alarm.level" << '=' << n << ") and ("
         << "alarm.state"
         << "!='"
         << "closed"
         << "')) order by "
         << "id"
         << " DESC LIMIT " << 10U << " OFFSET " << 20U;
  return stream.str();
}

std::string selectByPrintf(int n) {
  return formatted("select %s,%s from %s where ((%s=%d) and (%s!='%s')) order by %s DESC LIMIT %u OFFSET %u",
                   "id", "name", "alarm", "alarm.level", n, "alarm.state", "closed", "id", 10U, 20U);
}

std::string insertByBuilder(int n) {
  CVORNInserter inserter;
  inserter.table("alarm");
  inserter["id"]["text"]["ratio"]["owner"] << n << kText << n * 0.25 << CVORNNull();
  return inserter.toString();
}

std::string insertByStream(int n) {
  std::ostringstream stream;
  stream << std::fixed << "insert into "
         << "alarm"
         << " ("
         << "id" << ',' << "text" << ',' << "ratio" << ',' << "owner"
         << ") values(" << n << ",'" << kText << "'," << n * 0.25 << ',' << "NULL" << ')';
  return stream.str();
}

std::string insertByPrintf(int n) {
  return formatted("insert into %s (%s,%s,%s,%s) values(%d,'%s',%f,NULL)", "alarm", "id", "text", "ratio",
                   "owner", n, kText.c_str(), n * 0.25);
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
  stream << "update "
         << "alarm"
         << " set "
         << "level" << '=' << 3 << ',' << "text"
         << "='" << kText << "' where ("
         << "alarm.id" << '=' << n << ')';
  return stream.str();
}

std::string updateByPrintf(int n) {
  return formatted("update %s set %s=%d,%s='%s' where (%s=%d)", "alarm", "level", 3, "text", kText.c_str(),
                   "alarm.id", n);
}

std::string deleteByBuilder(int n) {
  CVORNDeleter deleter;
  deleter.where(deleter.table("alarm")["level"] == n);
  return deleter.toString();
}

std::string deleteByStream(int n) {
  std::ostringstream stream;
  stream << "delete from "
         << "alarm"
         << " where ("
         << "alarm.level" << '=' << n << ')';
  return stream.str();
}

std::string deleteByPrintf(int n) {
  return formatted("delete from %s where (%s=%d)", "alarm", "alarm.level", n);
}

std::string dropByBuilder(int n) {
  CVORNDroper dropper;
  dropper.table(n % 2 == 0 ? "t_even" : "t_odd");
  return dropper.toString();
}

std::string dropByStream(int n) {
  std::ostringstream stream;
  stream << "drop "
         << "table " << (n % 2 == 0 ? "t_even" : "t_odd");
  return stream.str();
}

std::string dropByPrintf(int n) {
  return formatted("drop table %s", n % 2 == 0 ? "t_even" : "t_odd");
}

struct Statement {
  const char* name;
  std::string (*builders[3])(int);
};

constexpr const char* kContestants[] = {"builder", "stream", "snprintf"};
constexpr Statement kStatements[] = {
    {"select", {selectByBuilder, selectByStream, selectByPrintf}},
    {"insert", {insertByBuilder, insertByStream, insertByPrintf}},
    {"update", {updateByBuilder, updateByStream, updateByPrintf}},
    {"delete", {deleteByBuilder, deleteByStream, deleteByPrintf}},
    {"drop", {dropByBuilder, dropByStream, dropByPrintf}},
};

// Collects the nanoseconds of every round and prints medians and ratios at the end.
class MedianReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override {
    PrintBasicContext(&GetErrorStream(), context);
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration)
        m_rounds[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
    }
  }

  void Finalize() override {
    std::printf("%-8s %10s %10s %10s %14s %16s\n", "ns", "builder", "stream", "snprintf", "builder/stream",
                "builder/snprintf");
    for (const Statement& statement : kStatements) {
      double medians[3];
      for (int i = 0; i < 3; ++i) medians[i] = median(std::string(statement.name) + '/' + kContestants[i]);
      std::printf("%-8s %10.0f %10.0f %10.0f %14.2f %16.2f\n", statement.name, medians[0], medians[1],
                  medians[2], medians[0] / medians[1], medians[0] / medians[2]);
    }
  }

 private:
  double median(const std::string& name) {
    std::vector<double>& rounds = m_rounds[name];
    if (rounds.empty()) return 0;
    std::nth_element(rounds.begin(), rounds.begin() + static_cast<std::ptrdiff_t>(rounds.size() / 2),
                     rounds.end());
    return rounds[rounds.size() / 2];
  }

  std::map<std::string, std::vector<double>> m_rounds;
};

bool textsDiffer() {
  for (const Statement& statement : kStatements) {
    const std::string expected = statement.builders[0](7);
    for (const auto build : statement.builders) {
      if (build(7) == expected) continue;
      std::fprintf(stderr, "texts differ:\n%s\n%s\n", expected.c_str(), build(7).c_str());
      return true;
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (textsDiffer()) return 1;
  for (const Statement& statement : kStatements) {
    for (int i = 0; i < 3; ++i) {
      const auto build = statement.builders[i];
      const auto run = [build](benchmark::State& state) {
        int n = 0;
        for (auto _ : state) benchmark::DoNotOptimize(build(n++));
      };
      const std::string name = std::string(statement.name) + '/' + kContestants[i];
      benchmark::RegisterBenchmark(name.c_str(), run)->Iterations(kBuildsPerRound)->Repetitions(kRounds);
    }
  }
  std::vector<char*> arguments(argv, argv + argc);
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  arguments.insert(arguments.begin() + 1, interleaving.data());
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
