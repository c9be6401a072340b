#pragma once

namespace varnock::agent {

/// The numbers of the component classes for which the host has facts.
struct ComponentClass {
    static constexpr unsigned kChassis = 0x01;
    static constexpr unsigned kBoard = 0x02;
    static constexpr unsigned kMemoryModule = 0x03;
    static constexpr unsigned kCabinet = 0x06;
    static constexpr unsigned kPowerSupply = 0x08;
    static constexpr unsigned kProcessor = 0x0A;
    static constexpr unsigned kStorageController = 0x0C;
    static constexpr unsigned kNetworkController = 0x0D;
};

}  // namespace varnock::agent
