// The component scan, which lists the controllers on the PCI bus.

#include "agent/host/Controllers.h"
#include "agent/host/HostRow.h"
#include "agent/host/Text.h"

namespace varnock::agent {
namespace {

constexpr const char* kNoComponent = "the PCI bus has no such controller";
/// All scans are alike: the controllers are read on each request.
constexpr unsigned kToken = 1;
constexpr std::size_t kHead = 6;
constexpr std::size_t kKindOffset = 2;

/// The length as a word, the kind at its offset, and from byte 6 on ten texts: manufacturer, name,
/// part number, description, date, version, serial number, number, component id, location.
Bytes recordOf(const Controller& controller) {
    Bytes bytes(kHead);
    bytes[kKindOffset] = static_cast<unsigned char>(controller.componentClass);
    const Text location = controller.address;
    for (const Text& text :
         {controller.manufacturer, controller.model, controller.partNumber, controller.description,
          Text(), controller.version, Text(), Text(), location, location}) {
        const std::string shown = text.value_or("");
        bytes.insert(bytes.end(), shown.begin(), shown.end());
        bytes.push_back(0);
    }
    bytes[0] = static_cast<unsigned char>(bytes.size() & 0xFF);
    bytes[1] = static_cast<unsigned char>(bytes.size() >> 8 & 0xFF);
    return bytes;
}

/// Components have numbers from 1.
Answer component(Host& host, unsigned number) {
    const auto found = numbered(controllers(host.pci, host.pciNames), number - 1);
    return found ? Answer(recordOf(*found)) : Status::notAvailable;
}

constexpr HostRow kScanRows[] = {
    {0x0C82, 0, Objects::none,
     [](Host& host, const Command&) -> Answer {
         return host.pci.list() ? Number(kToken) : std::nullopt;
     },
     "the machine has no PCI bus"},
    {0x0C83, kToken, Objects::none, [](Host&, const Command&) -> Answer { return Status::success; },
     kNoComponent},
    {0x0C85, kToken, Objects::none,
     [](Host& host, const Command&) -> Answer {
         return static_cast<unsigned>(controllers(host.pci, host.pciNames).size());
     },
     kNoComponent},
    {0x0C86, kToken, Objects::any,
     [](Host& host, const Command& c) { return component(host, c.object); }, kNoComponent},
};

}  // namespace

std::span<const HostRow> scanRows() {
    return kScanRows;
}

}  // namespace varnock::agent
