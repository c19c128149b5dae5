#pragma once

#include <string>

namespace bench {

/// What every benchmark program is told on its command line.
struct Options {
  int rounds = 0;
  bool quick = false;      ///< few rounds on small data: shows that all works, measures nothing
  std::string json;        ///< file for the results, one JSON object a line; empty for none
  std::string directory;   ///< where data files are made
  std::string only;        ///< what to run, with commas between: GROUP or GROUP/WORKLOAD; empty for all
  std::string competitor;  ///< run this one alone, under a profiler; empty for all

  /// Reads the command line; prints the usage and ends the process where it does not understand.
  static Options parse(int argc, char** argv);

  /// @return whether the group or some workload of it is to run
  bool wants(const std::string& group) const;
  bool wants(const std::string& group, const std::string& workload) const;

  /// @return `full`, or a number small enough for a quick run
  std::size_t size(std::size_t full) const { return quick ? full / 50 + 1 : full; }
};

}  // namespace bench
