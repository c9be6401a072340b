#include "cli/metrics/MetricTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

/// All metrics of calls.
std::vector<Metric> allMetrics() {
    const MetricTable table = metricTable();
    std::vector<Metric> all = table.system;
    all.insert(all.end(), table.cabinet.begin(), table.cabinet.end());
    for (const ObjectMetrics& kind : table.objects) {
        all.insert(all.end(), kind.readings.begin(), kind.readings.end());
    }
    return all;
}

const Metric* metricOf(std::string_view call) {
    static const std::vector<Metric> all = allMetrics();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const Metric& metric) { return metric.row->name == call; });
    return found != all.end() ? &*found : nullptr;
}

std::string nameOf(std::string_view call) {
    const Metric* metric = metricOf(call);
    return metric != nullptr ? metric->name : "";
}

TEST(MetricTable, NamesMetricsByClassReadingAndBaseUnit) {
    EXPECT_EQ(nameOf("getCurrentFanSpeed"), "varnock_fan_speed_rpm");
    EXPECT_EQ(nameOf("getFanStatus"), "varnock_fan_status");
    EXPECT_EQ(nameOf("getNumberFans"), "varnock_fans");
    EXPECT_EQ(nameOf("getCurrentTemperature"), "varnock_temperature_celsius");
    EXPECT_EQ(nameOf("getConfCriticalTempThresh"),
              "varnock_critical_temperature_threshold_celsius");
    EXPECT_EQ(nameOf("getTempSensorStatus"), "varnock_temperature_sensor_status");
    EXPECT_EQ(nameOf("getCurrentVoltage"), "varnock_voltage_volts");
    EXPECT_EQ(nameOf("getPowerSupplyLoad"), "varnock_power_supply_load_watts");
    EXPECT_EQ(nameOf("getNumberPowerSupplies"), "varnock_power_supplies");
    EXPECT_EQ(nameOf("getPowerConsumptionCurrentValue"), "varnock_power_consumption_watts");
    EXPECT_EQ(nameOf("getMemoryModuleSize"), "varnock_memory_module_size_bytes");
    EXPECT_EQ(nameOf("getCPUCurrentSpeed"), "varnock_processor_speed_hertz");
    EXPECT_EQ(nameOf("getNumberCPUs"), "varnock_processors");
    EXPECT_EQ(nameOf("getBootTime"), "varnock_system_boot_time_seconds");
    EXPECT_EQ(nameOf("getUmServerStatus"), "varnock_update_management_status");
    EXPECT_EQ(nameOf("getPowerSupplyRedundancyThresholdStatus"),
              "varnock_power_supply_redundancy_threshold_status");
}

TEST(MetricTable, ConvertsToBaseUnits) {
    const auto inBase = [](const char* call, double value) {
        return value * metricOf(call)->multiplier / metricOf(call)->divisor;
    };
    EXPECT_EQ(inBase("getCurrentVoltage", 12100), 12.1);
    EXPECT_EQ(inBase("getFanQuality", 90), 0.9);
    EXPECT_EQ(inBase("getMemoryModuleSize", 16384), 17179869184.0);
    EXPECT_EQ(inBase("getCPUCurrentSpeed", 2100), 2.1e9);
    EXPECT_EQ(metricOf("getCurrentVoltage")->unit, "volts");
    EXPECT_EQ(metricOf("getCurrentVoltage")->help, "Reading of a voltage in volts.");
}

TEST(MetricTable, HasEachReadingWithAUnitOfOneObject) {
    const std::set<std::string_view> leftOut{"getCPUCacheSize", "getCpuUsage"};
    for (const CatalogueRow& row : catalogue()) {
        const bool hasUnit = row.unit == "degrees Celsius" || row.unit == "watts" ||
                             row.unit == "millivolts" || row.unit == "revolutions per minute" ||
                             row.unit == "percent" || row.unit == "MHz" || row.unit == "MiB";
        if (hasUnit && !changesState(row)) {
            EXPECT_EQ(metricOf(row.name) != nullptr, !leftOut.contains(row.name)) << row.name;
        }
    }
}

TEST(MetricTable, LeavesOutWhatIsNoReading) {
    for (const char* call :
         {"getCPUStepping", "getConfFanFailBehavior", "getConfFanFailShutdownDelay",
          "setConfRebootRetryCounter", "getStatusTreeNodeCSSStatus", "getFanDesignation",
          "getLogicalCPUsPerPhysical", "getConfTimeZone"}) {
        EXPECT_EQ(metricOf(call), nullptr) << call;
    }
}

TEST(MetricTable, HasValidNamesThatDiffer) {
    std::set<std::string> names;
    for (const Metric& metric : allMetrics()) {
        EXPECT_TRUE(names.insert(metric.name).second) << metric.name;
        EXPECT_EQ(metric.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"),
                  std::string::npos)
            << metric.name;
        EXPECT_TRUE(metric.unit.empty() || metric.name.ends_with("_" + std::string(metric.unit)))
            << metric.name;
        EXPECT_FALSE(metric.help.empty());
    }
}

/// The names are an interface: rules and dashboards use them.
TEST(MetricTable, HasTheMetricsOfTheManual) {
    const std::string manual = varnock::test::readFile(SOURCE_TREE "/docs/monitoring.md");
    for (const Metric& metric : allMetrics()) {
        EXPECT_NE(manual.find("| `" + metric.name + "` | " + metric.help), std::string::npos)
            << "| `" << metric.name << "` | " << metric.help;
    }
}

}  // namespace
}  // namespace varnockctl
