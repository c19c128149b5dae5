#include "Harness.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <numeric>
#include <optional>
#include <stdexcept>

namespace bench {

namespace {

double secondsOf(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

}  // namespace

int Harness::runProgram(int argc, char** argv, const std::string& store, void (*work)(Harness&)) {
  try {
    const Options options = Options::parse(argc, argv);
    Harness harness(store, options);
    work(harness);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
    return 1;
  }
}

void Harness::measure(Workload& workload) {
  auto& competitors = workload.competitors;
  if (!m_options.competitor.empty()) {
    std::erase_if(competitors, [this](auto& one) { return one.name != m_options.competitor; });
    if (competitors.empty()) return;
  }
  std::vector<std::size_t> order(competitors.size());
  std::iota(order.begin(), order.end(), 0U);
  std::optional<std::uint64_t> expected;
  for (int round = 0; round <= std::min(m_options.rounds, workload.mostRounds); ++round) {
    for (const std::size_t index : order) {
      Competitor& competitor = competitors[index];
      Checksum checksum;
      competitor.prepare();
      const double before = secondsOf(workload.clock);
      competitor.run(checksum);
      const double seconds = secondsOf(workload.clock) - before;
      const double side = competitor.finish(checksum);
      if (checksum.value() != expected.value_or(checksum.value())) {
        throw std::runtime_error(workload.group + '/' + workload.name + ": '" + competitor.name +
                                 "' came to other data than the others");
      }
      expected = checksum.value();
      if (round == 0) continue;
      competitor.seconds.push_back(seconds);
      competitor.side.push_back(side);
    }
    std::shuffle(order.begin(), order.end(), m_random);
  }
  m_reporter.report(workload);
}

}  // namespace bench
