#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "cli/calls/MachineReader.h"
#include "cli/metrics/MetricTable.h"
#include "cli/metrics/OpenMetrics.h"

namespace varnockctl {

/// Reads all metrics of a machine and hands over each sample as soon as it is known. A value that
/// the machine does not have gives no sample.
class MetricReader {
  public:
    /// Gets a sample of the family with this name, unit and help.
    using Sink = std::function<void(const std::string& name, std::string_view unit,
                                    std::string_view help, Sample sample)>;

    MetricReader(MachineReader& machine, Sink sink) : machine_(machine), sink_(std::move(sink)) {}

    /// Throws as MachineReader::ask().
    void readAll();

    /// The first value that is missing for another reason than that the machine does not have it,
    /// with the reason; empty if there is none.
    std::string problem() const { return excess_.empty() ? machine_.failure() : excess_; }

  private:
    using Key = MachineReader::Key;

    struct TextLabel {
        const char* label;
        const char* call;
    };

    void readTexts(const char* name, std::string_view help, std::initializer_list<TextLabel> texts,
                   const Key& key);
    void readObjects(const ObjectMetrics& kind, unsigned int cabinet, const Labels& labels);
    void readObjectsOfClass(const ObjectMetrics& kind, const Key& first, const Labels& labels);
    void read(const Metric& metric, const Key& key, const Labels& labels);
    void give(const Metric& metric, const Json& value, Labels labels);
    unsigned int limited(std::string_view what, std::size_t count);

    MachineReader& machine_;
    Sink sink_;
    std::string excess_;
};

}  // namespace varnockctl
