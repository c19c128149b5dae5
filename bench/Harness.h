#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Options.h"
#include "Reporter.h"

namespace bench {

/// What a round brought.
struct Outcome {
  std::uint64_t checksum = 0;  ///< of the data that went through; the same for every competitor
  double side = 0;             ///< done beside the counted operations, in the workload's side unit
};

/// One way of doing a workload. Failures are exceptions.
class Competitor {
 public:
  explicit Competitor(std::string name) : m_name(std::move(name)) {}
  virtual ~Competitor() = default;
  Competitor(const Competitor&) = delete;
  Competitor& operator=(const Competitor&) = delete;

  const std::string& name() const { return m_name; }

  virtual void prepare() {}                ///< before each round, not timed
  virtual void run() = 0;                  ///< timed
  virtual Outcome finish() { return {}; }  ///< after each round, not timed

 private:
  std::string m_name;
};

struct Workload {
  std::string group;
  std::string name;
  std::string unit;
  double operations = 0;
  std::map<std::string, double> parameters{};
  std::string sideUnit{};  ///< empty where nothing is done beside the operations
  int rounds = 0;          ///< 0: as many as the command line says
  std::vector<std::unique_ptr<Competitor>> competitors{};  ///< the library first

  /// Adds a competitor.
  template <typename Kind, typename... Arguments>
  void add(Arguments&&... arguments) {
    competitors.push_back(std::make_unique<Kind>(std::forward<Arguments>(arguments)...));
  }
};

/// Runs workloads: one round of each competitor at a time, in an order that changes from round to round,
/// after a round that does not count. Throws when the competitors' checksums differ.
class Harness {
 public:
  Harness(const Options& options, Reporter& reporter) : m_options(options), m_reporter(reporter) {}

  void measure(Workload& workload);

  const Options& options() const { return m_options; }
  Reporter& reporter() { return m_reporter; }

 private:
  struct Round {
    double seconds;
    double cpuSeconds;
    Outcome outcome;
  };

  static Round runRound(Competitor& competitor);

  const Options& m_options;
  Reporter& m_reporter;
  std::mt19937 m_random{20240607};
};

}  // namespace bench
