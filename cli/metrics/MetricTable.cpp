#include "cli/metrics/MetricTable.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "cli/calls/MachineReader.h"

namespace varnockctl {
namespace {

struct BaseUnit {
    std::string_view unit;  ///< of the catalogue
    std::string_view name;
    double multiplier;
    double divisor;
    std::string_view phrase;  ///< in place of "in" and the catalogue's unit
};

// Divisors, because 12100 / 1000.0 is the number nearest to 12.1 and 12100 * 0.001 is not.
constexpr BaseUnit kBaseUnits[] = {
    {"degrees Celsius", "celsius", 1, 1, "in degrees Celsius"},
    {"revolutions per minute", "rpm", 1, 1, "in revolutions per minute"},
    {"millivolts", "volts", 1, 1000, "in volts"},
    {"watts", "watts", 1, 1, "in watts"},
    {"percent", "ratio", 1, 100, "from 0 to 1"},
    {"MHz", "hertz", 1e6, 1, "in hertz"},
    {"KiB", "bytes", 1024, 1, "in bytes"},
    {"MiB", "bytes", 1048576, 1, "in bytes"},
    {"seconds since the epoch", "seconds", 1, 1, "in seconds since the epoch"}};

/// Words of call names, and what they become; empty: they are left out.
constexpr std::pair<std::string_view, std::string_view> kWords[] = {
    {"get", ""},
    {"conf", ""},
    {"current", ""},
    {"number", ""},
    {"nr", ""},
    {"of", ""},
    {"info", ""},
    {"value", ""},
    {"um", ""},
    {"server", ""},
    {"diff", "available_update"},
    {"cpu", "processor"},
    {"cpus", "processors"},
    {"psu", "power_supply"},
    {"temp", "temperature"},
    {"thresh", "threshold"},
    {"bmc", "management_controller"},
    {"drv", "driver"},
    {"mon", "monitor"},
    {"counter", "attempts"}};

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

char toLower(char c) {
    return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Whether a word starts at this place of a name: at a capital after a small letter or a digit, and
/// at the last capital of several unless only a plural "s" follows.
bool startsWord(std::string_view name, std::size_t at) {
    if (at == 0 || !isUpper(name[at])) {
        return at == 0;
    }
    if (!isUpper(name[at - 1])) {
        return true;
    }
    const std::string_view rest = name.substr(at + 1);
    const bool isPlural = rest.starts_with('s') && (rest.size() == 1 || isUpper(rest[1]));
    return !rest.empty() && !isUpper(rest[0]) && !isPlural;
}

std::string inMetric(const std::string& word) {
    const auto* const known = std::find_if(std::begin(kWords), std::end(kWords),
                                           [&](const auto& entry) { return entry.first == word; });
    return known != std::end(kWords) ? std::string(known->second) : word;
}

std::string snakeCase(std::string_view name) {
    std::string out;
    for (std::size_t begin = 0; begin < name.size();) {
        std::size_t end = begin + 1;
        while (end < name.size() && !startsWord(name, end)) {
            ++end;
        }
        std::string word(name.substr(begin, end - begin));
        std::transform(word.begin(), word.end(), word.begin(), toLower);
        word = inMetric(word);
        out += (out.empty() || word.empty() ? "" : "_") + word;
        begin = end;
    }
    return out;
}

/// Small letters only, for comparisons of names with and without separators.
std::string squeezed(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c != '_' && c != ' ') {
            out += toLower(c);
        }
    }
    return out;
}

std::string helpOf(const CatalogueRow& row, std::string_view phrase) {
    std::string help(row.description);
    const std::string unit = "in " + std::string(row.unit);
    const std::size_t at = help.find(unit);
    return at == help.npos ? help : help.replace(at, unit.size(), phrase);
}

std::optional<Metric> quantity(const CatalogueRow& row, const std::string& stem) {
    const auto* const base =
        std::find_if(std::begin(kBaseUnits), std::end(kBaseUnits),
                     [&](const BaseUnit& known) { return known.unit == row.unit; });
    if (base == std::end(kBaseUnits)) {
        return std::nullopt;
    }
    return Metric{&row,          stem + "_" + std::string(base->name),
                  base->name,    base->multiplier,
                  base->divisor, helpOf(row, base->phrase)};
}

/// Nothing if the value of the call is not a reading in a known unit, a count or a status.
std::optional<Metric> metricOf(const CatalogueRow& row) {
    const std::string stem = "varnock_" + metricStem(row);
    if (row.value == "quantity" || row.value == "time") {
        return quantity(row, stem);
    }
    const bool isStatus = row.value == "coded" && row.name.ends_with("Status");
    return isStatus || row.value == "count"
               ? std::optional(Metric{&row, stem, "", 1, 1, std::string(row.description)})
               : std::nullopt;
}

void add(std::vector<Metric>& metrics, const CatalogueRow& row) {
    if (auto metric = metricOf(row)) {
        metrics.push_back(std::move(*metric));
    }
}

const CatalogueRow* designationIn(const std::vector<const CatalogueRow*>& rows) {
    const auto found = std::find_if(rows.begin(), rows.end(), [](const CatalogueRow* row) {
        return row->name.ends_with("Designation");
    });
    return found != rows.end() ? *found : nullptr;
}

/// The facts about an object that do not change, such as the number of its cores, are not metrics.
ObjectMetrics metricsOf(const ComponentKind& kind) {
    ObjectMetrics out{kind.count, designationIn(kind.readings), {}};
    for (const CatalogueRow* row : kind.readings) {
        if (row->value != "count") {
            add(out.readings, *row);
        }
    }
    return out;
}

/// Power consumption: its objects are numbered within classes that the agent names.
ObjectMetrics powerConsumption() {
    const CatalogueRow* count = findCall("getPowerConsumptionNumberClassComponents");
    const CatalogueRow* classes = findCall("getPowerConsumptionSupportedComponentClasses");
    ObjectMetrics out{count, findCall("getPowerConsumptionComponentDesignation"), {}, classes};
    for (const CatalogueRow& row : catalogue()) {
        if (row.componentClass == count->componentClass && row.object == "key objectId" &&
            row.ext == "key opCodeExt") {
            add(out.readings, row);
        }
    }
    return out;
}

bool asksOneCommandWithoutKey(const CatalogueRow& row) {
    const bool hasObject = row.object == "key objectId" || row.object == "key cabinetNr";
    return hasCommand(row) && !changesState(row) && !hasObject &&
           row.ext.find("key") == std::string_view::npos && row.options == "-" &&
           row.arguments.find("name") == std::string_view::npos;
}

}  // namespace

std::string metricStem(const CatalogueRow& row) {
    std::string name = snakeCase(memberName(row));
    const std::string component(row.componentClass.substr(0, row.componentClass.find(' ')));
    if (squeezed(name).find(squeezed(component)) != std::string::npos) {
        return name;
    }
    std::string prefix(row.componentClass);
    std::replace(prefix.begin(), prefix.end(), ' ', '_');
    return prefix + '_' + name;
}

MetricTable metricTable() {
    MetricTable table;
    for (const CatalogueRow& row : catalogue()) {
        if (asksOneCommandWithoutKey(row)) {
            add(row.cabinet == "all ones" ? table.system : table.cabinet, row);
        }
    }
    for (const ComponentKind& kind : componentKinds()) {
        table.objects.push_back(metricsOf(kind));
    }
    table.objects.push_back(powerConsumption());
    std::erase_if(table.objects, [](const ObjectMetrics& kind) { return kind.readings.empty(); });
    return table;
}

}  // namespace varnockctl
