#include "Harness.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <numeric>
#include <stdexcept>

namespace bench {

namespace {

double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

}  // namespace

Harness::Round Harness::runRound(Competitor& competitor) {
  competitor.prepare();
  const double cpuBefore = processorSeconds();
  const auto before = std::chrono::steady_clock::now();
  competitor.run();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - before;
  const double cpuSeconds = processorSeconds() - cpuBefore;
  return {seconds.count(), cpuSeconds, competitor.finish()};
}

void Harness::measure(Workload& workload) {
  if (!m_options.competitor.empty()) {
    std::erase_if(workload.competitors,
                  [this](const auto& one) { return one->name() != m_options.competitor; });
    if (workload.competitors.empty()) return;
  }
  std::vector<Series> series;
  for (const auto& competitor : workload.competitors) series.push_back({competitor->name(), {}, {}, {}});
  std::vector<std::size_t> order(workload.competitors.size());
  std::iota(order.begin(), order.end(), 0U);

  std::uint64_t checksum = 0;
  const int rounds = std::min(m_options.rounds, workload.rounds > 0 ? workload.rounds : m_options.rounds);
  for (int round = 0; round <= rounds; ++round) {
    for (const std::size_t index : order) {
      const Round result = runRound(*workload.competitors[index]);
      if (round == 0 && index == order.front()) checksum = result.outcome.checksum;
      if (result.outcome.checksum != checksum) {
        throw std::runtime_error(workload.group + '/' + workload.name + ": '" + series[index].name +
                                 "' came to other data than the others");
      }
      if (round == 0) continue;
      series[index].seconds.push_back(result.seconds);
      series[index].cpuSeconds.push_back(result.cpuSeconds);
      if (!workload.sideUnit.empty()) series[index].side.push_back(result.outcome.side);
    }
    std::shuffle(order.begin(), order.end(), m_random);
  }
  m_reporter.report({workload.group, workload.name, workload.unit, workload.operations, workload.parameters,
                     workload.sideUnit, std::move(series)});
}

}  // namespace bench
