#pragma once

#include <fstream>
#include <map>

#include "Workload.h"

namespace bench {

/// Prints measurements on standard output and writes them to a file, one JSON object a line.
class Reporter {
 public:
  Reporter(std::string store, const std::string& jsonFile);

  void report(const Workload& workload);

  /// Reports figures that are no times.
  void reportFigures(const std::string& group, const std::map<std::string, double>& figures);

  /// Reports something that holds for the whole run.
  void reportFacts(const std::map<std::string, std::string>& facts);

 private:
  using Fields = std::map<std::string, std::string>;  // the values in JSON

  void write(const std::string& type, const std::string& group, Fields fields);

  std::string m_store;
  std::ofstream m_json;
};

}  // namespace bench
