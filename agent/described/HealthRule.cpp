#include "agent/described/HealthRule.h"

#include <algorithm>
#include <array>

namespace varnock::agent {
namespace {

using Remarks = std::array<Remark, kHealths>;

constexpr Remarks kFanRemarks = {Remark{2001, "fan state unknown"}, Remark{2001, "fan ok"},
                                 Remark{2001, "fan worn out"}, Remark{2001, "fan failed"},
                                 Remark{2001, "fan removed"}};
constexpr Remarks kSupplyRemarks = {
    Remark{2002, "power supply state unknown"}, Remark{2002, "power supply ok"},
    Remark{2002, "power supply degraded"}, Remark{2002, "power supply failed"},
    Remark{2002, "power supply removed"}};
constexpr Remarks kTemperatureRemarks = {Remark{2003, "temperature unknown"},
                                         Remark{2003, "temperature back to normal"},
                                         Remark{2003, "temperature above the warning threshold"},
                                         Remark{2003, "temperature above the critical threshold"},
                                         Remark{2003, "temperature sensor removed"}};
constexpr Remarks kVoltageRemarks = {
    Remark{2006, "voltage unknown"}, Remark{2006, "voltage back to normal"},
    Remark{2006, "voltage beyond a warning threshold"},
    Remark{2006, "voltage beyond a critical threshold"}, Remark{2006, "voltage sensor removed"}};
constexpr Remarks kMemoryRemarks = {
    Remark{2004, "memory module state unknown"}, Remark{2004, "memory module ok"},
    Remark{2004, "correctable memory errors in excess"}, Remark{2004, "memory module failed"},
    Remark{2005, "memory module removed"}};

constexpr Limit kFanLimits[] = {{nullptr, 0, false, Health::failed}};
constexpr Limit kTemperatureLimits[] = {{"warningThreshold", 0, true, Health::warning},
                                        {"criticalThreshold", 0, true, Health::failed}};
constexpr Limit kVoltageLimits[] = {{"thresholds[0]", 0, false, Health::failed},
                                    {"thresholds[1]", 0, false, Health::warning},
                                    {"thresholds[2]", 0, true, Health::warning},
                                    {"thresholds[3]", 0, true, Health::failed}};

constexpr Residue kFanResidues[] = {{"speed", "0 rpm"}, {"quality", "0 %"}};
constexpr Residue kSupplyResidues[] = {{"load", "0 W"}};

constexpr double kStartingSpeed = 300;
constexpr double kDegreesToCool = 2;
constexpr double kVoltageShare = 0.01;

constexpr HealthRule kRules[] = {
    {"fans", "designation", "Fan", "Fans", "speed", kStartingSpeed, 0, kFanLimits, kFanResidues,
     kFanRemarks},
    {"powerSupplies",
     "designation",
     "PSU",
     "PowerSupplies",
     nullptr,
     0,
     0,
     {},
     kSupplyResidues,
     kSupplyRemarks},
    {"temperatureSensors",
     "designation",
     "Sensor",
     "Temperatures",
     "temperature",
     kDegreesToCool,
     0,
     kTemperatureLimits,
     {},
     kTemperatureRemarks},
    {"voltages",
     "designation",
     "Voltage",
     "Voltages",
     "voltage",
     0,
     kVoltageShare,
     kVoltageLimits,
     {},
     kVoltageRemarks},
    {"memoryModules", "socket", "Module", "Memory", nullptr, 0, 0, {}, {}, kMemoryRemarks},
};

}  // namespace

std::optional<Health> healthOf(const Node* status) {
    if (status == nullptr) {
        return std::nullopt;
    }
    if (status->IsString()) {
        return healthNamed(textOf(*status));
    }
    return status->IsUint() && status->GetUint() < kHealths
               ? std::optional(static_cast<Health>(status->GetUint()))
               : std::nullopt;
}

std::span<const HealthRule> healthRules() {
    return kRules;
}

const HealthRule* findHealthRule(std::string_view list) {
    const auto* const found =
        std::find_if(std::begin(kRules), std::end(kRules),
                     [&](const HealthRule& rule) { return rule.list == list; });
    return found != std::end(kRules) ? found : nullptr;
}

}  // namespace varnock::agent
