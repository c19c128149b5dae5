#pragma once

#include <random>

#include "Options.h"
#include "Reporter.h"
#include "Workload.h"

namespace bench {

/// Runs workloads: one round of each competitor at a time, in an order that changes from round to round,
/// after a round that does not count. Throws when the competitors' checksums differ.
class Harness {
 public:
  Harness(const std::string& store, const Options& options)
      : m_options(options), m_reporter(store, options.json) {}

  /// The main function of a benchmark program: runs `work` and prints what it throws.
  /// @param store  what the program measures: "sqlite", "rendering"
  /// @return the exit status
  static int runProgram(int argc, char** argv, const std::string& store, void (*work)(Harness&));

  void measure(Workload& workload);

  const Options& options() const { return m_options; }
  Reporter& reporter() { return m_reporter; }

 private:
  const Options& m_options;
  Reporter m_reporter;
  std::mt19937 m_random{20240607};
};

}  // namespace bench
