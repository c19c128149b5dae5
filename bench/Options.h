#pragma once

#include <string>

namespace bench {

/// What every benchmark program is told on its command line.
struct Options {
  int rounds = 0;
  bool quick = false;      ///< few rounds on small data: shows that all works, measures nothing
  std::string json;        ///< file for the results, one JSON object a line; empty for none
  std::string directory;   ///< where data files are made
  std::string only;        ///< groups of workloads to run, with commas between them; empty for all
  std::string competitor;  ///< run this one alone, under a profiler; empty for all

  /// Reads the command line; prints the usage and ends the process where it does not understand.
  static Options parse(int argc, char** argv);

  bool wants(const std::string& group) const;

  /// @return `full`, or a number small enough for a quick run
  std::size_t size(std::size_t full) const { return quick ? full / 50 + 1 : full; }
};

}  // namespace bench
