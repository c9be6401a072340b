#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "fuzz/Fuzzing.h"
#include "hardware/PciConfig.h"

// Reads any 64 bytes as a configuration header, missing ones as zeros, and compares every getter
// with the layout of the PCI Local Bus Specification.

namespace {

using varnock::fuzz::require;
using Header = std::array<std::uint8_t, 64>;

unsigned int wordAt(const Header& bytes, std::size_t offset) {
    return bytes[offset] | static_cast<unsigned int>(bytes[offset + 1]) << 8;
}

void checkNumbers(const CPciCommonConfigHeader& header, const Header& bytes) {
    const unsigned int layout = bytes[0x0E] & 0x7FU;
    const bool isDevice = layout == 0;
    const bool hasBuses = layout == 1 || layout == 2;
    const bool isBridge = bytes[0x0B] == 6;
    const unsigned int vendor = wordAt(bytes, 0);
    const unsigned int device = wordAt(bytes, 2);
    const bool isValid = vendor != 0 && vendor != 0xFFFF && device != 0;
    require(header.IsValid() == isValid, "IsValid");
    require(header.IsPciBrigdeDevice() == (bytes[0x0E] % 2 == 1), "IsPciBrigdeDevice");
    require(header.GetVendorId() == vendor, "GetVendorId");
    require(header.GetDeviceId() == device, "GetDeviceId");
    require(header.GetRevisionId() == bytes[8], "GetRevisionId");
    require(header.GetSubVendorId() == (isDevice ? wordAt(bytes, 0x2C) : 0), "GetSubVendorId");
    require(header.GetSubSystemId() == (isDevice ? wordAt(bytes, 0x2E) : 0), "GetSubSystemId");
    require(header.GetPrimaryBusNo() == (hasBuses ? bytes[0x18] : 0), "GetPrimaryBusNo");
    require(header.GetSecondaryBusNo() == (hasBuses   ? bytes[0x19]
                                           : isBridge ? 1
                                                      : 0),
            "GetSecondaryBusNo");
    const unsigned int kind = layout == 1   ? 4
                              : layout == 2 ? 5
                              : isBridge    ? bytes[0x0A]
                                            : 0xFFFFFFFF;
    require(header.GetSecondaryBusType() == kind, "GetSecondaryBusType");
    const bool isWired = isValid && bytes[0x3D] != 0 && bytes[0x3C] != 0xFF;
    require(header.GetInterruptLine() == (isWired ? bytes[0x3C] : 0), "GetInterruptLine");
}

void checkTexts(const CPciCommonConfigHeader& header, const Header& bytes) {
    const std::string kind = header.GetBaseClassDescription();
    const std::string precise = header.GetSubClassDescription();
    require(!kind.empty() && !precise.empty(), "an empty description");
    require(kind == CPciCommonConfigHeader::GetPciBaseClassDescription(bytes[0x0B]),
            "GetPciBaseClassDescription");
    require(precise == CPciCommonConfigHeader::GetPciSubClassDescription(header),
            "GetPciSubClassDescription");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Header bytes{};
    std::copy_n(data, std::min(size, bytes.size()), bytes.begin());
    CPciCommonConfigHeader header;
    static_assert(sizeof header == sizeof bytes);
    std::memcpy(static_cast<void*>(&header), bytes.data(), bytes.size());
    checkNumbers(header, bytes);
    checkTexts(header, bytes);
    return 0;
}
