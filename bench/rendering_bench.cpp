// Builds of each statement, against the same text written by std::ostringstream and by std::snprintf. The
// rounds of all contestants are interleaved at random in one run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>
#include <vector>

#include "Options.h"
#include "Program.h"
#include "Reporter.h"
#include "vorn/deleter.h"
#include "vorn/dropper.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace {

constexpr std::size_t kBuildsPerRound = 50'000;

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

constexpr const char* kContestants[] = {"vorn", "std::ostringstream", "std::snprintf"};
constexpr Statement kStatements[] = {
    {"select", {selectByBuilder, selectByStream, selectByPrintf}},
    {"insert", {insertByBuilder, insertByStream, insertByPrintf}},
    {"update", {updateByBuilder, updateByStream, updateByPrintf}},
    {"delete", {deleteByBuilder, deleteByStream, deleteByPrintf}},
    {"drop", {dropByBuilder, dropByStream, dropByPrintf}},
};

// Collects the nanoseconds of every round.
class RoundCollector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration)
        m_rounds[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
    }
  }

  void reportTo(bench::Reporter& reporter, std::size_t builds) const {
    for (const Statement& statement : kStatements) {
      bench::Measurement measurement;
      measurement.group = "rendering";
      measurement.name = statement.name;
      measurement.unit = "build";
      measurement.operations = static_cast<double>(builds);
      for (const char* contestant : kContestants) {
        bench::Series& series = measurement.series.emplace_back();
        series.name = contestant;
        for (const double nanoseconds : m_rounds.at(std::string(statement.name) + '/' + contestant)) {
          series.seconds.push_back(nanoseconds * 1e-9 * measurement.operations);
        }
      }
      reporter.report(measurement);
    }
  }

 private:
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

void registerAll(std::size_t builds, int rounds) {
  for (const Statement& statement : kStatements) {
    for (int i = 0; i < 3; ++i) {
      const auto build = statement.builders[i];
      const auto run = [build](benchmark::State& state) {
        int n = 0;
        for (auto _ : state) benchmark::DoNotOptimize(build(n++));
      };
      const std::string name = std::string(statement.name) + '/' + kContestants[i];
      benchmark::RegisterBenchmark(name.c_str(), run)
          ->Iterations(static_cast<benchmark::IterationCount>(builds))
          ->Repetitions(rounds);
    }
  }
}

int run(int argc, char** argv) {
  const bench::Options options = bench::Options::parse(argc, argv);
  if (textsDiffer()) return 1;
  const std::size_t builds = options.size(kBuildsPerRound);
  registerAll(builds, options.rounds);
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {argv[0], interleaving.data()};
  int count = 2;
  benchmark::Initialize(&count, arguments);
  RoundCollector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  bench::Reporter reporter("rendering", options.json);
  reporter.reportFacts({{"rounds", std::to_string(options.rounds)}});
  collector.reportTo(reporter, builds);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return bench::runProgram(argc, argv, run);
}
