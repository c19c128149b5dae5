#pragma once

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

#include <vector>

/// What the library counts for each store and statement shape, as Prometheus reads it: a summary of the times, with the
/// number of calls, and counters of the failures and the rows. A shape holds no value, so nothing private leaves with it.
///
/// The figures are added up when Prometheus asks, so that the statements pay for nothing more than their counting.
class StatementMetrics : public prometheus::Collectable {
 public:
  std::vector<prometheus::MetricFamily> Collect() const override;
};
