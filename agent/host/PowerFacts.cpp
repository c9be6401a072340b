// Power supplies and the power that components take.

#include "agent/host/HostFact.h"

namespace varnock::agent {
namespace {

constexpr const char* kNoSupply = "the firmware lists no such power supply";
constexpr const char* kNoMeter =
    "the kernel shows no energy counter or power meter for it, or its energy counter was not read "
    "in "
    "the last two minutes";

PowerConsumption::Time currentTime() {
    return std::chrono::steady_clock::now();
}

Node supplyNode(const NodeBuilder& builder, const PowerSupply& supply) {
    Node node = componentNode(builder, supply);
    builder.add(node, {{"designation", supply.designation}, {"nominal", supply.watts}});
    return node;
}

Node meterNode(const NodeBuilder& builder, const PowerMeter& meter) {
    return builder.object({{"designation", meter.name}, {"power", wholeNumber(meter.watts)}});
}

Node consumption(Host& host, unsigned, const NodeBuilder& builder) {
    const PowerConsumption::Time now = currentTime();
    return builder.list(host.power.classes(now), [&](const NodeBuilder& element, unsigned number) {
        Node node = element.object({{"class", number}});
        element.add(node, "components",
                    element.member("components").list(host.power.meters(number, now), meterNode));
        return node;
    });
}

constexpr HostFact kPowerFacts[] = {
    {"cabinets[].powerSupplies",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         const auto supplies = host.firmware.powerSupplies();
         return supplies ? builder.list(*supplies, supplyNode) : Node();
     },
     kNoSupply},
    {"cabinets[].powerConsumption",
     [](Host& host, unsigned index, const NodeBuilder& builder) {
         Node list = consumption(host, index, builder);
         return list.Empty() ? Node() : std::move(list);
     },
     kNoMeter},
};

}  // namespace

std::span<const HostFact> powerFacts() {
    return kPowerFacts;
}

}  // namespace varnock::agent
