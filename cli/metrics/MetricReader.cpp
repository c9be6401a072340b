#include "cli/metrics/MetricReader.h"

#include <algorithm>
#include <set>
#include <utility>

namespace varnockctl {
namespace {

/// Cabinets, and objects of a kind in one cabinet. A count above this is not believed: each series
/// costs the server memory.
constexpr unsigned int kMost = 1024;

Labels with(Labels labels, std::string name, std::string value) {
    labels.emplace_back(std::move(name), std::move(value));
    return labels;
}

std::string nameOf(const CatalogueRow& row, const MachineReader::Key& key) {
    return std::string(row.name) + " of cabinet " + std::to_string(key.cabinetNr) + ", object " +
           std::to_string(key.objectId);
}

}  // namespace

unsigned int MetricReader::limited(std::string_view what, std::size_t count) {
    if (count > kMost && excess_.empty()) {
        excess_ = std::string(what) + ": the agent reports " + std::to_string(count) +
                  ", of which " + std::to_string(kMost) + " are read";
    }
    return static_cast<unsigned int>(std::min<std::size_t>(count, kMost));
}

/// A sample for each number; those of a list are numbered by a label.
void MetricReader::give(const Metric& metric, const Json& value, Labels labels) {
    const auto sample = [&](const Json& number, Labels ownLabels) {
        if (number.IsNumber()) {
            sink_(metric.name, metric.unit, metric.help,
                  {std::move(ownLabels), number.GetDouble() * metric.multiplier / metric.divisor});
        }
    };
    if (!value.IsArray()) {
        sample(value, std::move(labels));
        return;
    }
    for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
        sample(value[i], with(labels, "index", std::to_string(i)));
    }
}

void MetricReader::read(const Metric& metric, const Key& key, const Labels& labels) {
    give(metric, machine_.ask(nameOf(*metric.row, key), metric.row->name, key), labels);
}

void MetricReader::readTexts(const char* name, std::string_view help,
                             std::initializer_list<TextLabel> texts, const Key& key) {
    Labels labels;
    for (const TextLabel& text : texts) {
        const Json value = machine_.ask(text.call, text.call, key);
        if (value.IsString()) {
            labels.emplace_back(text.label,
                                std::string(value.GetString(), value.GetStringLength()));
        }
    }
    if (!labels.empty()) {
        sink_(name, "", help, {std::move(labels), 1});
    }
}

void MetricReader::readObjectsOfClass(const ObjectMetrics& kind, const Key& first,
                                      const Labels& labels) {
    const std::string count = nameOf(*kind.count, first);
    const unsigned int objects = limited(count, machine_.askNumber(count, kind.count->name, first));
    for (unsigned int object = 0; object < objects; ++object) {
        const Key key(first.cabinetNr, object, first.opCodeExt);
        Labels own = with(labels, "object", std::to_string(object));
        if (kind.designation != nullptr) {
            const Json text =
                machine_.ask(nameOf(*kind.designation, key), kind.designation->name, key);
            if (text.IsString()) {
                own.emplace_back("designation",
                                 std::string(text.GetString(), text.GetStringLength()));
            }
        }
        for (const Metric& metric : kind.readings) {
            read(metric, key, own);
        }
    }
}

void MetricReader::readObjects(const ObjectMetrics& kind, unsigned int cabinet,
                               const Labels& labels) {
    const Key key(cabinet, 0, 0);
    if (kind.classes == nullptr) {
        readObjectsOfClass(kind, key, labels);
        return;
    }
    const Json classes = machine_.ask(nameOf(*kind.classes, key), kind.classes->name, key);
    std::set<unsigned int> seen;
    for (rapidjson::SizeType i = 0; classes.IsArray() && i < classes.Size(); ++i) {
        const unsigned int number = classes[i].GetUint();
        if (seen.insert(number).second) {
            readObjectsOfClass(kind, Key(cabinet, 0, number),
                               with(labels, "component_class", std::to_string(number)));
        }
    }
}

void MetricReader::readAll() {
    const MetricTable table = metricTable();
    const std::vector<unsigned int> cabinets = machine_.cabinets();
    const Key own(cabinets.front(), 0, 0);
    readTexts("varnock_agent_info", "The management agent, in labels.",
              {{"version", "getAgentVersion"}}, own);
    readTexts("varnock_system_info", "The system, in labels.",
              {{"name", "getConfSystemName"},
               {"model", "getCabinetModel"},
               {"serial_number", "getChassisSerialNumber"},
               {"uuid", "getSystemUUID"}},
              own);
    for (const Metric& metric : table.system) {
        read(metric, own, {});
    }
    const unsigned int count = limited("cabinets", cabinets.size());
    for (unsigned int i = 0; i < count; ++i) {
        const Labels labels{{"cabinet", std::to_string(cabinets[i])}};
        for (const Metric& metric : table.cabinet) {
            read(metric, Key(cabinets[i], 0, 0), labels);
        }
        for (const ObjectMetrics& kind : table.objects) {
            readObjects(kind, cabinets[i], labels);
        }
    }
}

}  // namespace varnockctl
