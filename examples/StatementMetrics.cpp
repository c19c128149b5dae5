#include "StatementMetrics.h"

#include <cstdint>
#include <utility>

#include "vorn/vorn.h"

namespace {

double seconds(std::uint64_t nanoseconds) {
  return static_cast<double>(nanoseconds) / 1e9;
}

prometheus::MetricFamily family(const char* name, const char* help, prometheus::MetricType type) {
  return {name, help, type, {}};
}

prometheus::ClientMetric labelled(const vorn::ShapeStatistics& shape) {
  prometheus::ClientMetric metric;
  metric.label = {{"store", shape.store}, {"shape", shape.shape}};
  return metric;
}

prometheus::ClientMetric counter(const vorn::ShapeStatistics& shape, std::uint64_t value) {
  prometheus::ClientMetric metric = labelled(shape);
  metric.counter.value = static_cast<double>(value);
  return metric;
}

prometheus::ClientMetric times(const vorn::ShapeStatistics& shape) {
  prometheus::ClientMetric metric = labelled(shape);
  metric.summary.sample_count = shape.calls;
  metric.summary.sample_sum = seconds(shape.totalNanoseconds);
  metric.summary.quantile = {{0.5, seconds(shape.p50Nanoseconds)},
                             {0.9, seconds(shape.p90Nanoseconds)},
                             {0.99, seconds(shape.p99Nanoseconds)}};
  return metric;
}

}  // namespace

std::vector<prometheus::MetricFamily> StatementMetrics::Collect() const {
  using prometheus::MetricType;
  prometheus::MetricFamily time =
      family("vorn_statement_seconds", "Time of the statements of a shape", MetricType::Summary);
  prometheus::MetricFamily failures =
      family("vorn_statement_failures_total", "Statements that failed", MetricType::Counter);
  prometheus::MetricFamily rows =
      family("vorn_statement_rows_total", "Rows fetched or written", MetricType::Counter);
  for (const vorn::ShapeStatistics& shape : vorn::shapeStatistics()) {
    time.metric.push_back(times(shape));
    failures.metric.push_back(counter(shape, shape.failures));
    rows.metric.push_back(counter(shape, shape.rows));
  }
  return {std::move(time), std::move(failures), std::move(rows)};
}
