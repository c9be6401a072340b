#pragma once

#include <cimple/Datetime.h>
#include <cimple/String.h>
#include <cimple/config.h>

/// The records that the typed calls return. All are plain values: copies are independent, and one
/// object may be used by one thread at a time.
namespace provider {

/// The identity of one component of the machine.
struct IdentityInfo {
    cimple::String name;          ///< kind of component
    cimple::String version;       ///< of its hardware or firmware
    cimple::uint32 number = 0;    ///< 0 if the component has none
    cimple::String manufacturer;  ///< company name
    cimple::String partNumber;    ///< the manufacturer's part number
    cimple::String serialNumber;  ///< the manufacturer's serial number
    cimple::String instanceId;    ///< unique within the machine
};

/// One entry of the agent's message log.
struct LogMessage {
    cimple::uint32 sequence = 0;  ///< position in the log
    cimple::uint32 id = 0;        ///< message number
    cimple::uint64 time = 0;      ///< seconds since the epoch, as sent by the agent
    cimple::Datetime datetime;    ///< the time as a CIM timestamp, with the agent's UTC offset
    cimple::uint32 severity = 0;  ///< a code of the agent
    cimple::String text;          ///< in the language of the log
};

/// One sample of the power consumption history, in the agent's units.
struct PowerUsage {
    cimple::uint32 average = 0;  ///< bytes 4 and 5 of the history entry
    cimple::uint32 minimum = 0;  ///< bytes 8 and 9
    cimple::uint32 maximum = 0;  ///< bytes 10 and 11
    cimple::sint64 time = 0;     ///< seconds since the epoch
};

/// A PCI function and the contents of its configuration header.
struct PciDeviceInfo {
    cimple::uint8 bus = 0;           ///< address: bus
    cimple::uint8 device = 0;        ///< address: device on the bus
    cimple::uint8 function = 0;      ///< address: function of the device
    cimple::uint16 subSystemId = 0;  ///< 0 for bridges
    cimple::uint16 subVendorId = 0;  ///< 0 for bridges
    cimple::uint16 deviceId = 0;     ///< assigned by the vendor
    cimple::uint16 vendorId = 0;     ///< manufacturer of the chip
    cimple::uint8 revisionId = 0;    ///< assigned by the vendor
    cimple::String baseClassText;    ///< English description of the base class
    cimple::String subClassText;     ///< English description of the subclass
    cimple::uint8 primaryBus = 0;    ///< of a bridge; 0 otherwise
    /// The secondary bus of a bridge. For other functions a flag: 1 in the bridge class, otherwise
    /// 0.
    cimple::uint8 secondaryBus = 0;
};

}  // namespace provider
