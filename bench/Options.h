#pragma once

#include <string>
#include <vector>

namespace bench {

/// What every benchmark program is told on its command line.
struct Options {
  int rounds = 15;
  bool quick = false;              ///< few rounds on small data: shows that all works, measures nothing
  std::string json;                ///< file for the results, one JSON object a line; empty for none
  std::string directory = "/tmp";  ///< where data files are made
  std::vector<std::string> only;   ///< groups of workloads to run; empty for all

  std::string competitor;  ///< run this one alone, under a profiler; empty for all

  /// Reads the command line; prints the usage and ends the process where it does not understand.
  static Options parse(int argc, char** argv);

  bool wants(const std::string& group) const;

  /// @return `full`, or a number small enough for a quick run
  std::size_t size(std::size_t full) const { return quick ? full / 50 + 1 : full; }
};

}  // namespace bench
