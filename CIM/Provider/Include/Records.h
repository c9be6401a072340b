#pragma once

#include <cimple/Datetime.h>
#include <cimple/String.h>
#include <cimple/config.h>

/// The records that the typed calls return. All are plain values: copies are independent, and one
/// object is to be used by one thread at a time.
namespace provider {

/// What one component of the machine says about itself.
struct IdentityInfo {
    cimple::String name;          ///< what it is
    cimple::String version;       ///< of its hardware or firmware
    cimple::uint32 number = 0;    ///< 0 when the component has none
    cimple::String manufacturer;  ///< who made it
    cimple::String partNumber;    ///< the maker's number of the kind of part
    cimple::String serialNumber;  ///< the maker's number of this part
    cimple::String instanceId;    ///< names this part among all of the machine
};

/// One entry of the agent's message log.
struct LogMessage {
    cimple::uint32 sequence = 0;  ///< position in the log
    cimple::uint32 id = 0;        ///< message number
    cimple::uint64 time = 0;      ///< seconds since the epoch, as the agent sent them
    cimple::Datetime datetime;    ///< the same as a CIM timestamp, with the agent's UTC offset
    cimple::uint32 severity = 0;  ///< coded, the agent's number
    cimple::String text;          ///< in the language of the log
};

/// One sample of the power consumption history, in the numbers the agent keeps.
struct PowerUsage {
    cimple::uint32 average = 0;  ///< bytes 4 and 5 of the history entry
    cimple::uint32 minimum = 0;  ///< bytes 8 and 9
    cimple::uint32 maximum = 0;  ///< bytes 10 and 11
    cimple::sint64 time = 0;     ///< seconds since the epoch
};

/// A PCI function and what its configuration header says.
struct PciDeviceInfo {
    cimple::uint8 bus = 0;           ///< address: bus
    cimple::uint8 device = 0;        ///< address: device on the bus
    cimple::uint8 function = 0;      ///< address: function of the device
    cimple::uint16 subSystemId = 0;  ///< 0 for bridges
    cimple::uint16 subVendorId = 0;  ///< 0 for bridges
    cimple::uint16 deviceId = 0;     ///< given by the vendor
    cimple::uint16 vendorId = 0;     ///< who made the chip
    cimple::uint8 revisionId = 0;    ///< given by the vendor
    cimple::String baseClassText;    ///< English description of the base class
    cimple::String subClassText;     ///< English description of the subclass
    cimple::uint8 primaryBus = 0;    ///< of a bridge; 0 otherwise
    /// Of a bridge to another bus; of other functions 1 in the bridge class and 0 else.
    cimple::uint8 secondaryBus = 0;
};

}  // namespace provider
