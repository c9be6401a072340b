#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnockctl {

/// The names and values that tell the samples of a family apart.
using Labels = std::vector<std::pair<std::string, std::string>>;

struct Sample {
    Labels labels;
    double value;
};

/// A gauge with its samples. Every metric is a gauge: the agent counts nothing that only grows.
struct MetricFamily {
    std::string name;
    std::string_view unit;  ///< the last word of the name; empty if the value has none
    std::string help;       ///< one sentence or more
    std::vector<Sample> samples;
};

/// The families in the OpenMetrics text format, with "# EOF" at the end; families without samples
/// are left out. It is also valid in Prometheus' own text format, which the textfile collector of
/// the node exporter and promtool read. Does not depend on the locale.
std::string openMetrics(const std::vector<MetricFamily>& families);

}  // namespace varnockctl
