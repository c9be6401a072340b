#include "catalogue/Units.h"

#include <algorithm>

namespace varnock::catalogue {
namespace {

constexpr Symbol kKib[] = {{"KiB", 1}, {"MiB", 1024}, {"GiB", 1048576}};
constexpr Symbol kMib[] = {{"MiB", 1}, {"GiB", 1024}, {"TiB", 1048576}};
constexpr Symbol kFrequency[] = {{"MHz", 1}, {"GHz", 1000}};
constexpr Symbol kTemperature[] = {{"\u00B0C", 1}};
constexpr Symbol kSpeed[] = {{"rpm", 1}};
constexpr Symbol kPower[] = {{"W", 1}, {"kW", 1000}};
constexpr Symbol kVoltage[] = {{"mV", 1}, {"V", 1000}};
constexpr Symbol kShare[] = {{"%", 1}};
constexpr Symbol kBits[] = {{"bits", 1}};
constexpr Symbol kHours[] = {{"h", 1}};

constexpr Unit kUnits[] = {
    {"KiB", "32 KiB", kKib},
    {"MiB", "16 GiB", kMib},
    {"MHz", "2.1 GHz", kFrequency},
    {"degrees Celsius", "41.5 \u00B0C", kTemperature},
    {"revolutions per minute", "5400 rpm", kSpeed},
    {"watts", "230 W", kPower},
    {"millivolts", "12.1 V", kVoltage},
    {"percent", "90 %", kShare},
    {"bits", "64 bits", kBits},
    {"hours", "2 h", kHours},
};

// What a management agent means by its codes is not published, except for those that it takes from
// the CIM schema and from SMBIOS. The other names are this agent's own: a machine that fails must
// know which of its codes means so. A file can give any other code as a number.
constexpr Code kHealth[] = {
    {"unknown", 0}, {"ok", 1}, {"warning", 2}, {"failed", 3}, {"absent", 4}};
constexpr Code kSeverity[] = {{"information", 1}, {"warning", 2}, {"error", 3}};
constexpr Code kShutdown[] = {{"running", 0}, {"shutdown requested", 1}, {"restart requested", 2}};
// CIM_Processor.CPUStatus
constexpr Code kProcessor[] = {{"unknown", 0},
                               {"enabled", 1},
                               {"disabled by user", 2},
                               {"disabled by firmware", 3},
                               {"idle", 4}};
// SMBIOS, type 17
constexpr Code kMemory[] = {{"unknown", 2}, {"DDR3", 24}, {"DDR4", 26}, {"HBM", 32},
                            {"HBM2", 33},   {"DDR5", 34}, {"HBM3", 36}, {"persistent", 31}};

constexpr Vocabulary kVocabularies[] = {
    {"health", kHealth},      {"severity", kSeverity},
    {"shutdown", kShutdown},  {"processor status", kProcessor},
    {"memory type", kMemory},
};

template <typename Known>
const Known* find(std::span<const Known> all, std::string_view name) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Known& each) { return each.name == name; });
    return found != all.end() ? &*found : nullptr;
}

}  // namespace

const Unit* findUnit(std::string_view name) {
    return find(std::span<const Unit>(kUnits), name);
}

const Vocabulary* findVocabulary(std::string_view name) {
    return find(std::span<const Vocabulary>(kVocabularies), name);
}

std::string_view nameOf(const Vocabulary& vocabulary, unsigned number) {
    for (const Code& code : vocabulary.codes) {
        if (code.number == number) {
            return code.name;
        }
    }
    return {};
}

std::optional<unsigned> numberOf(const Vocabulary& vocabulary, std::string_view name) {
    const Code* const found = find(vocabulary.codes, name);
    return found != nullptr ? std::optional(found->number) : std::nullopt;
}

}  // namespace varnock::catalogue
