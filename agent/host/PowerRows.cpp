// Power supplies and the power that components take.

#include "agent/host/HostRow.h"

namespace varnock::agent {
namespace {

constexpr unsigned kLargestDword = 0xFFFFFFFF;
constexpr const char* kNoSupply = "the firmware lists no such power supply";
constexpr const char* kNoMeter = "the kernel shows no energy counter or power meter for it";
constexpr const char* kNoPower =
    "the kernel shows no meter for it, or its energy counter was not read in the last two minutes";

PowerConsumption::Time currentTime() {
    return std::chrono::steady_clock::now();
}

std::optional<PowerSupply> supply(Host& host, const Command& command) {
    auto supplies = host.firmware.powerSupplies();
    return supplies ? numbered(std::move(*supplies), command.object) : std::nullopt;
}

std::optional<PowerMeter> meter(Host& host, const Command& command) {
    return numbered(host.power.meters(command.extension, currentTime()), command.object);
}

std::optional<Bytes> classes(Host& host) {
    const std::vector<unsigned> found = host.power.classes(currentTime());
    return found.empty() ? std::nullopt : std::optional(Bytes(found.begin(), found.end()));
}

constexpr HostRow kPowerRows[] = {
    {0x0500, 0, Objects::none,
     [](Host& host, const Command&) -> Answer {
         const auto supplies = host.firmware.powerSupplies();
         return supplies ? Number(static_cast<unsigned>(supplies->size())) : std::nullopt;
     },
     kNoSupply},
    {0x0504, 0, Objects::any,
     [](Host& host, const Command& c) -> Answer {
         const auto found = supply(host, c);
         return found ? found->designation : std::nullopt;
     },
     kNoSupply},
    {0x0507, 0, Objects::any,
     [](Host& host, const Command& c) -> Answer {
         const auto found = supply(host, c);
         return found ? found->watts : std::nullopt;
     },
     kNoSupply},
    {0x0530, 0, Objects::none, [](Host& host, const Command&) -> Answer { return classes(host); },
     kNoMeter},
    {0x0531, kAnyExtension, Objects::none,
     [](Host& host, const Command& c) -> Answer {
         return countOf(host.power.meters(c.extension, currentTime()).size());
     },
     kNoMeter},
    {0x0532, kAnyExtension, Objects::any,
     [](Host& host, const Command& c) -> Answer {
         const auto found = meter(host, c);
         return found ? std::optional(found->name) : std::nullopt;
     },
     kNoMeter},
    {0x0533, kAnyExtension, Objects::any,
     [](Host& host, const Command& c) -> Answer {
         const auto found = meter(host, c);
         return found ? wholeNumber(found->watts, kLargestDword) : std::nullopt;
     },
     kNoPower},
};

}  // namespace

std::span<const HostRow> powerRows() {
    return kPowerRows;
}

}  // namespace varnock::agent
