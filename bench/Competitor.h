#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Checksum.h"

namespace bench {

/// One way of doing a workload. Failures are exceptions.
struct Competitor {
  std::string name;
  std::function<void(Checksum&)> run;     ///< timed
  std::function<void()> prepare = [] {};  ///< before each round
  /// After each round. Returns what was done beside the operations, in the workload's side unit.
  std::function<double(Checksum&)> finish = [](Checksum&) { return 0.0; };

  std::vector<double> seconds{};  ///< of each round
  std::vector<double> side{};
  std::uint64_t checksum = 0;  ///< of the last round
};

}  // namespace bench
