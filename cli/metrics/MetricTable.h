#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/calls/Catalogue.h"

/// Which typed calls become metrics. The catalogue decides: by class, kind of value, unit and
/// command of a call.
namespace varnockctl {

/// A typed call as a metric.
struct Metric {
    const CatalogueRow* row;
    std::string name;       ///< with the unit as its last word
    std::string_view unit;  ///< a base unit; empty if the value has none
    double multiplier;      ///< these two turn the value into the base unit
    double divisor;
    std::string help;  ///< the description of the call, in the base unit
};

/// The metrics of the objects of one kind.
struct ObjectMetrics {
    const CatalogueRow* count;        ///< how many objects a cabinet has
    const CatalogueRow* designation;  ///< the label of an object; null if there is no such call
    std::vector<Metric> readings;
    /// The component classes that the objects are numbered in; null: there is only one sequence.
    const CatalogueRow* classes = nullptr;
};

struct MetricTable {
    std::vector<Metric> system;   ///< of the whole system
    std::vector<Metric> cabinet;  ///< of each cabinet
    std::vector<ObjectMetrics> objects;
};

/// The table of all calls; derived from the catalogue each time.
MetricTable metricTable();

/// "getCurrentFanSpeed" of class "fan" as "fan_speed": snake case, abbreviations spelled out,
/// without words that all calls share, and with the class in front unless the name contains it.
std::string metricStem(const CatalogueRow& row);

}  // namespace varnockctl
