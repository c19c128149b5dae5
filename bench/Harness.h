#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

#include "Options.h"
#include "Workload.h"

namespace bench {

/// Runs workloads: one round of each competitor at a time, in an order that changes from round to round,
/// after a round that does not count. Prints the medians and writes all rounds to a file.
class Harness {
 public:
  /// The main function of a benchmark program: runs `work` and prints what it throws.
  /// @param store  what the program measures: "sqlite", "rendering"
  /// @return the exit status
  static int runProgram(int argc, char** argv, const std::string& store, void (*work)(Harness&));

  const Options& options() const { return m_options; }

  /// Does nothing with a workload that the options do not name. Throws when the competitors' checksums differ.
  void measure(Workload& workload);

  /// Writes a line to the file of results.
  /// @param type  "series" for a competitor's rounds, "figures" for what is no time, "facts" for what holds
  ///              for the whole run
  void record(const std::string& type, const std::string& group, nlohmann::json fields);

 private:
  Harness(std::string store, Options options);

  void runRound(const Workload& workload, Competitor& competitor, bool counts);
  void report(const Workload& workload);

  const std::string m_store;
  const Options m_options;
  std::ofstream m_results;
  std::mt19937 m_random{20240607};
};

}  // namespace bench
