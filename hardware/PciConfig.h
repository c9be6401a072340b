#pragma once

#include <cstdint>

#include "util/Export.h"

/// Where a PCI function stands: segment, bus, device, function. Copies freely; not thread-safe.
class VARNOCK_EXPORT CPciAddress {
  public:
    /// An empty address: bus -1, everything else 0.
    CPciAddress() = default;

    CPciAddress(unsigned char bus, unsigned char device, unsigned char function,
                unsigned short segment);

    /// Sets all four numbers; the segment is the last argument though the first field.
    void SetAddress(int bus, int device, int function, int segment);

    int GetSegmentNo() const;
    int GetBusNo() const;
    int GetDeviceNo() const;
    int GetFunctionNo() const;

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
    std::uint16_t vendorId;
    std::uint16_t deviceId;
    std::uint16_t command;
    std::uint16_t status;
    std::uint8_t revisionId;
    std::uint8_t programmingInterface;
    std::uint8_t subClass;
    std::uint8_t baseClass;
    std::uint8_t cacheLineSize;
    std::uint8_t latencyTimer;
    std::uint8_t headerType;  ///< bit 7: multi-function; bits 0 to 6: the layout, 0, 1 or 2
    std::uint8_t bist;
    std::uint8_t layoutPart[44];  ///< bytes 16 to 59, whose meaning depends on the layout
    std::uint8_t interruptLine;
    std::uint8_t interruptPin;
    std::uint8_t layoutTail[2];
};

/// A typed view of a configuration header, with English descriptions of its class. It adds no
/// field and nothing virtual: 64 bytes read from a configuration space are one.
///
/// Layouts: 0 a device, 1 a PCI-to-PCI bridge, 2 a CardBus bridge. Returned texts are constants
/// that live as long as the library. Only reads: any thread, as long as nobody writes.
class VARNOCK_EXPORT CPciCommonConfigHeader : public _PCI_COMMON_CONFIG_HEADER {
  public:
    /// False when the vendor is 0 or 0xFFFF (nothing there) or the device is 0.
    bool IsValid() const;

    /// Bit 0 of the header type: true for layouts 1 and 3, false for a CardBus bridge. Callers sort
    /// functions by it; it is not a question for the base class.
    bool IsPciBrigdeDevice() const;

    unsigned short GetVendorId() const;
    unsigned short GetDeviceId() const;
    unsigned char GetRevisionId() const;

    /// @name Ids of the subsystem, 0 unless the layout is 0
    /// @{
    unsigned short GetSubVendorId() const;
    unsigned short GetSubSystemId() const;
    /// @}

    /// The bus on the near side of a bridge of layout 1 or 2, else 0.
    unsigned char GetPrimaryBusNo() const;

    /// The bus on the far side of a bridge of layout 1 or 2. For any other layout a flag and no bus
    /// number: 1 when the base class is bridge, else 0.
    unsigned char GetSecondaryBusNo() const;

    /// The kind of bridge as its subclass number: 4 (PCI-to-PCI) for layout 1, 5 (PCMCIA) for
    /// layout 2, else the subclass of a bridge, else 0xFFFFFFFF.
    unsigned int GetSecondaryBusType() const;

    /// The interrupt line; 0 when the header is not valid, has no interrupt pin or no line (255).
    unsigned char GetInterruptLine() const;

    const char* GetBaseClassDescription() const;
    const char* GetSubClassDescription() const;

    static const char* GetPciBaseClassDescription(unsigned char baseClass);
    static const char* GetPciSubClassDescription(const CPciCommonConfigHeader& header);
};
