#include "Reporter.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace bench {

namespace {

std::string json(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return result + '"';
}

std::string json(double value) {
  std::ostringstream stream;
  stream.precision(9);
  stream << value;
  return stream.str();
}

std::string list(const std::vector<double>& values) {
  std::string result;
  for (const double value : values) result.append(result.empty() ? "" : ",").append(json(value));
  return '[' + result + ']';
}

std::string object(const std::map<std::string, std::string>& fields) {
  std::string result;
  for (const auto& [name, value] : fields)
    result.append(result.empty() ? "" : ",").append(json(name)).append(":").append(value);
  return '{' + result + '}';
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

Reporter::Reporter(std::string store, const std::string& jsonFile) : m_store(std::move(store)) {
  if (jsonFile.empty()) return;
  m_json.open(jsonFile);
  if (!m_json) throw std::runtime_error("cannot write " + jsonFile);
}

void Reporter::report(const Workload& workload) {
  const double library = median(workload.competitors.front().seconds);
  const auto operations = static_cast<double>(workload.operations);
  std::printf("%s: %s\n", workload.group.c_str(), workload.name.c_str());
  for (const Competitor& competitor : workload.competitors) {
    const double seconds = median(competitor.seconds);
    std::printf("  %-30s %12.1f ns per %-9s library / this %.3f\n", competitor.name.c_str(),
                seconds * 1e9 / operations, workload.unit.c_str(), library / seconds);
    write("series", workload.group,
          {{"workload", json(workload.name)},
           {"unit", json(workload.unit)},
           {"operations", json(operations)},
           {"panel", json(workload.panel)},
           {"x", json(static_cast<double>(workload.x))},
           {"side_unit", json(workload.sideUnit)},
           {"competitor", json(competitor.name)},
           {"seconds", list(competitor.seconds)},
           {"side", list(competitor.side)}});
  }
  std::fflush(stdout);
}

void Reporter::reportFigures(const std::string& group, const std::map<std::string, double>& figures) {
  Fields fields;
  for (const auto& [name, value] : figures) fields[name] = json(value);
  const std::string text = object(fields);
  std::printf("%s: %s\n", group.c_str(), text.c_str());
  write("figures", group, {{"figures", text}});
}

void Reporter::reportFacts(const std::map<std::string, std::string>& facts) {
  Fields fields;
  for (const auto& [name, value] : facts) fields[name] = json(value);
  write("facts", "", {{"facts", object(fields)}});
}

void Reporter::write(const std::string& type, const std::string& group, Fields fields) {
  fields.insert({{"type", json(type)}, {"store", json(m_store)}, {"group", json(group)}});
  m_json << object(fields) << std::endl;
}

}  // namespace bench
