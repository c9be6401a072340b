#pragma once

#include <cstdint>

#include "util/Export.h"

/// The address of a PCI function: segment, bus, device, function. Copyable; not thread-safe.
class VARNOCK_EXPORT CPciAddress {
  public:
    /// An empty address: bus -1, everything else 0.
    CPciAddress() = default;

    /// An address of four unsigned numbers.
    CPciAddress(unsigned char bus, unsigned char device, unsigned char function,
                unsigned short segment);

    /// Sets all four numbers; the segment is the last argument although it is the first field.
    void SetAddress(int bus, int device, int function, int segment);

    int GetSegmentNo() const;   ///< The segment.
    int GetBusNo() const;       ///< The bus; -1 when empty.
    int GetDeviceNo() const;    ///< The device.
    int GetFunctionNo() const;  ///< The function.

    /// True when the bus is -1 (0xFFFFFFFF).
    bool IsEmpty() const;

  private:
    std::int32_t segment_ = 0;
    std::int32_t bus_ = -1;
    std::int32_t device_ = 0;
    std::int32_t function_ = 0;
};

/// The common configuration header of the PCI Local Bus Specification: the first 64 bytes of a
/// function's configuration space, little-endian.
struct _PCI_COMMON_CONFIG_HEADER {
    std::uint16_t vendorId;             ///< 0xFFFF if there is no function
    std::uint16_t deviceId;             ///< the vendor's number of the device
    std::uint16_t command;              ///< command register
    std::uint16_t status;               ///< status register
    std::uint8_t revisionId;            ///< the vendor's number of the revision
    std::uint8_t programmingInterface;  ///< refines the subclass
    std::uint8_t subClass;              ///< refines the base class
    std::uint8_t baseClass;             ///< the kind of device
    std::uint8_t cacheLineSize;         ///< in words of 32 bits
    std::uint8_t latencyTimer;          ///< in bus clocks
    std::uint8_t headerType;            ///< bit 7: multi-function; bits 0 to 6: the layout
    std::uint8_t bist;                  ///< built-in self test
    std::uint8_t layoutPart[44];        ///< bytes 16 to 59, whose meaning depends on the layout
    std::uint8_t interruptLine;         ///< 255 for none
    std::uint8_t interruptPin;          ///< 0 for none
    std::uint8_t layoutTail[2];         ///< as `layoutPart`
};

/// A typed view of a configuration header, with English descriptions of its class. It adds no
/// fields and no virtual functions, so 64 bytes read from a configuration space can be viewed as
/// one.
///
/// Layouts: 0 a device, 1 a PCI-to-PCI bridge, 2 a CardBus bridge. Returned texts are constants
/// of the library. Thread-safety: read-only; any thread, while no thread writes the bytes.
class VARNOCK_EXPORT CPciCommonConfigHeader : public _PCI_COMMON_CONFIG_HEADER {
  public:
    /// False when the vendor is 0 or 0xFFFF (nothing there) or the device is 0.
    bool IsValid() const;

    /// Bit 0 of the header type: true for layouts 1 and 3, false for a CardBus bridge. Callers
    /// classify functions by it; it does not test the base class.
    bool IsPciBrigdeDevice() const;

    unsigned short GetVendorId() const;     ///< The vendor.
    unsigned short GetDeviceId() const;     ///< The device.
    unsigned char GetRevisionId() const;    ///< The revision.
    unsigned short GetSubVendorId() const;  ///< The subsystem's vendor; 0 unless the layout is 0.
    unsigned short GetSubSystemId() const;  ///< The subsystem; 0 unless the layout is 0.

    /// The primary bus of a bridge of layout 1 or 2, else 0.
    unsigned char GetPrimaryBusNo() const;

    /// The secondary bus of a bridge of layout 1 or 2. For any other layout a flag: 1 if the base
    /// class is bridge, else 0.
    unsigned char GetSecondaryBusNo() const;

    /// The kind of bridge as its subclass number: 4 (PCI-to-PCI) for layout 1, 5 (PCMCIA) for
    /// layout 2, else the subclass of a bridge, else 0xFFFFFFFF.
    unsigned int GetSecondaryBusType() const;

    /// The interrupt line; 0 when the header is not valid, has no interrupt pin or no line (255).
    unsigned char GetInterruptLine() const;

    const char* GetBaseClassDescription() const;  ///< `GetPciBaseClassDescription` of this one.
    const char* GetSubClassDescription() const;   ///< `GetPciSubClassDescription` of this one.

    /// The kind of device in English; "Unknown" for numbers without a meaning.
    static const char* GetPciBaseClassDescription(unsigned char baseClass);

    /// The kind of device in English, as precise as base class, subclass and interface allow.
    static const char* GetPciSubClassDescription(const CPciCommonConfigHeader& header);
};
