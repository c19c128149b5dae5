#pragma once

#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// What one competitor needed in each round.
struct Series {
  std::string name;
  std::vector<double> seconds;     ///< wall clock
  std::vector<double> cpuSeconds;  ///< processor time of the whole process; may be empty
  std::vector<double> side;  ///< what was done beside the operations, in Measurement::sideUnit; may be empty
};

/// One workload as it was measured. The first series is the library's; the others are its peers.
struct Measurement {
  std::string group;
  std::string name;
  std::string unit;       ///< what an operation is: row, call, value
  double operations = 0;  ///< a round
  std::map<std::string, double> parameters;
  std::string sideUnit;
  std::vector<Series> series;
};

/// Prints measurements as tables on standard output and writes them to a file, one JSON object a line.
class Reporter {
 public:
  /// @param store  what the program measures: "sqlite", "rendering"
  Reporter(std::string store, const std::string& jsonFile);

  void report(const Measurement& measurement);

  /// Reports a figure that is no time, in a group of its own.
  void reportFigures(const std::string& group, const std::string& name,
                     const std::map<std::string, double>& figures);

  /// Reports something that holds for the whole run.
  void reportFacts(const std::map<std::string, std::string>& facts);

 private:
  void print(const Measurement& measurement) const;
  void write(const Measurement& measurement);

  std::string m_store;
  std::ofstream m_json;
};

/// The middle value; the mean of the two middle ones where their number is even. 0 without values.
double median(std::vector<double> values);

}  // namespace bench
