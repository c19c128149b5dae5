#include "Reporter.h"

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return result + '"';
}

std::string number(double value) {
  std::ostringstream stream;
  stream << std::setprecision(9) << value;
  return stream.str();
}

std::string list(const std::vector<double>& values) {
  std::string result = "[";
  for (const double value : values) result.append(result.size() > 1 ? "," : "").append(number(value));
  return result + ']';
}

std::string object(const std::map<std::string, double>& values) {
  std::string result = "{";
  for (const auto& [name, value] : values) {
    result.append(result.size() > 1 ? "," : "").append(quoted(name)).append(":").append(number(value));
  }
  return result + '}';
}

double least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

double greatest(const std::vector<double>& values) {
  return *std::max_element(values.begin(), values.end());
}

// Round by round: what slows the whole machine for a while slows both.
std::vector<double> pairRatios(const std::vector<double>& library, const std::vector<double>& peer) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < library.size() && i < peer.size(); ++i) ratios.push_back(library[i] / peer[i]);
  return ratios;
}

std::string ratiosTo(const Series& library, const Series& peer) {
  const std::vector<double> pairs = pairRatios(library.seconds, peer.seconds);
  std::map<std::string, double> values{{"of_medians", median(library.seconds) / median(peer.seconds)},
                                       {"pairs_median", median(pairs)},
                                       {"pairs_min", least(pairs)},
                                       {"pairs_max", greatest(pairs)}};
  if (!peer.cpuSeconds.empty())
    values["cpu_of_medians"] = median(library.cpuSeconds) / median(peer.cpuSeconds);
  return object(values);
}

std::string seriesObject(const Series& series, const Series& library) {
  std::string result = "{\"name\":" + quoted(series.name) + ",\"seconds\":" + list(series.seconds) +
                       ",\"median\":" + number(median(series.seconds)) +
                       ",\"min\":" + number(least(series.seconds)) +
                       ",\"max\":" + number(greatest(series.seconds));
  if (!series.cpuSeconds.empty()) result += ",\"cpu_seconds\":" + list(series.cpuSeconds);
  if (!series.side.empty()) result += ",\"side\":" + list(series.side);
  if (&series != &library) result += ",\"library_to_this\":" + ratiosTo(library, series);
  return result + '}';
}

}  // namespace

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Reporter::Reporter(std::string store, const std::string& jsonFile) : m_store(std::move(store)) {
  if (jsonFile.empty()) return;
  m_json.open(jsonFile);
  if (!m_json) throw std::runtime_error("cannot write " + jsonFile);
}

void Reporter::report(const Measurement& measurement) {
  print(measurement);
  write(measurement);
}

void Reporter::reportFigures(const std::string& group, const std::string& name,
                             const std::map<std::string, double>& figures) {
  std::printf("\n%s / %s\n", group.c_str(), name.c_str());
  for (const auto& [figure, value] : figures) std::printf("  %-28s %14.6g\n", figure.c_str(), value);
  std::fflush(stdout);
  m_json << "{\"type\":\"figures\",\"store\":" << quoted(m_store) << ",\"group\":" << quoted(group)
         << ",\"name\":" << quoted(name) << ",\"figures\":" << object(figures) << "}" << std::endl;
}

void Reporter::reportFacts(const std::map<std::string, std::string>& facts) {
  std::string json;
  for (const auto& [name, value] : facts) {
    std::printf("%-16s %s\n", name.c_str(), value.c_str());
    json.append(json.empty() ? "" : ",").append(quoted(name)).append(":").append(quoted(value));
  }
  m_json << "{\"type\":\"facts\",\"store\":" << quoted(m_store) << ",\"facts\":{" << json << "}}"
         << std::endl;
}

void Reporter::print(const Measurement& measurement) const {
  std::printf("\n%s / %s: %.0f %ss a round, %zu rounds\n", measurement.group.c_str(),
              measurement.name.c_str(), measurement.operations, measurement.unit.c_str(),
              measurement.series.front().seconds.size());
  std::printf("  %-24s %12s %10s %10s   %s\n", "", ("ns/" + measurement.unit).c_str(), "min", "max",
              "library / this: medians, pairs (min-max), processor time");
  const Series& library = measurement.series.front();
  for (const Series& series : measurement.series) {
    const double scale = 1e9 / measurement.operations;
    std::printf("  %-24s %12.1f %10.1f %10.1f", series.name.c_str(), median(series.seconds) * scale,
                least(series.seconds) * scale, greatest(series.seconds) * scale);
    if (&series != &library) {
      const std::vector<double> pairs = pairRatios(library.seconds, series.seconds);
      std::printf("   %6.3f %6.3f (%.3f-%.3f)", median(library.seconds) / median(series.seconds),
                  median(pairs), least(pairs), greatest(pairs));
      if (!series.cpuSeconds.empty())
        std::printf(" %6.3f", median(library.cpuSeconds) / median(series.cpuSeconds));
    }
    if (!series.side.empty()) std::printf("   %.0f %s", median(series.side), measurement.sideUnit.c_str());
    std::printf("\n");
  }
  std::fflush(stdout);
}

void Reporter::write(const Measurement& measurement) {
  m_json << "{\"type\":\"measurement\",\"store\":" << quoted(m_store)
         << ",\"group\":" << quoted(measurement.group) << ",\"name\":" << quoted(measurement.name)
         << ",\"unit\":" << quoted(measurement.unit) << ",\"operations\":" << number(measurement.operations)
         << ",\"parameters\":" << object(measurement.parameters)
         << ",\"side_unit\":" << quoted(measurement.sideUnit) << ",\"series\":[";
  for (const Series& series : measurement.series) {
    if (&series != &measurement.series.front()) m_json << ',';
    m_json << seriesObject(series, measurement.series.front());
  }
  m_json << "]}" << std::endl;
}

}  // namespace bench
