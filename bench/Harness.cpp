#include "Harness.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

double secondsOf(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

int Harness::runProgram(int argc, char** argv, const std::string& store, void (*work)(Harness&)) {
  try {
    Harness harness(store, Options::parse(argc, argv));
    work(harness);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
    return 1;
  }
}

Harness::Harness(std::string store, Options options)
    : m_store(std::move(store)), m_options(std::move(options)) {
  if (m_options.json.empty()) return;
  m_results.open(m_options.json);
  if (!m_results) throw std::runtime_error("cannot write " + m_options.json);
}

void Harness::measure(Workload& workload) {
  if (!m_options.wants(workload.group, workload.name)) return;
  auto& competitors = workload.competitors;
  if (!m_options.competitor.empty()) {
    std::erase_if(competitors, [this](auto& one) { return one.name != m_options.competitor; });
    if (competitors.empty()) return;
  }
  std::vector<std::size_t> order(competitors.size());
  std::iota(order.begin(), order.end(), 0U);
  for (int round = 0; round <= std::min(m_options.rounds, workload.mostRounds); ++round) {
    for (const std::size_t index : order) runRound(workload, competitors[index], round > 0);
    for (const Competitor& competitor : competitors) {
      if (competitor.checksum == competitors.front().checksum) continue;
      throw std::runtime_error(workload.group + '/' + workload.name + ": '" + competitor.name +
                               "' came to other data than the others");
    }
    std::shuffle(order.begin(), order.end(), m_random);
  }
  report(workload);
}

void Harness::runRound(const Workload& workload, Competitor& competitor, bool counts) {
  Checksum checksum;
  competitor.prepare();
  const double before = secondsOf(workload.clock);
  competitor.run(checksum);
  const double seconds = secondsOf(workload.clock) - before;
  const double side = competitor.finish(checksum);
  competitor.checksum = checksum.value();
  if (!counts) return;
  competitor.seconds.push_back(seconds);
  competitor.side.push_back(side);
}

void Harness::report(const Workload& workload) {
  const double library = median(workload.competitors.front().seconds);
  std::printf("%s: %s\n", workload.group.c_str(), workload.name.c_str());
  for (const Competitor& competitor : workload.competitors) {
    const double seconds = median(competitor.seconds);
    std::printf("  %-30s %12.1f ns per %-9s library / this %.3f\n", competitor.name.c_str(),
                seconds * 1e9 / static_cast<double>(workload.operations), workload.unit.c_str(),
                library / seconds);
    record("series", workload.group,
           {{"workload", workload.name},
            {"unit", workload.unit},
            {"operations", workload.operations},
            {"panel", workload.panel},
            {"x", workload.x},
            {"side_unit", workload.sideUnit},
            {"competitor", competitor.name},
            {"seconds", competitor.seconds},
            {"side", competitor.side}});
  }
  std::fflush(stdout);
}

void Harness::record(const std::string& type, const std::string& group, nlohmann::json fields) {
  fields.update({{"type", type}, {"store", m_store}, {"group", group}});
  m_results << fields.dump() << std::endl;
}

}  // namespace bench
