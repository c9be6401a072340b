#include "hardware/PciConfig.h"

#include <cstddef>
#include <iterator>
#include <type_traits>

static_assert(sizeof(_PCI_COMMON_CONFIG_HEADER) == 64);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, vendorId) == 0);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, deviceId) == 2);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, command) == 4);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, status) == 6);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, revisionId) == 8);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, programmingInterface) == 9);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, subClass) == 10);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, baseClass) == 11);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, cacheLineSize) == 12);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, latencyTimer) == 13);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, headerType) == 14);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, bist) == 15);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, layoutPart) == 16);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, interruptLine) == 60);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, interruptPin) == 61);
static_assert(offsetof(_PCI_COMMON_CONFIG_HEADER, layoutTail) == 62);
static_assert(sizeof(CPciCommonConfigHeader) == sizeof(_PCI_COMMON_CONFIG_HEADER));
static_assert(std::is_standard_layout_v<CPciCommonConfigHeader>);
static_assert(std::is_trivially_copyable_v<CPciCommonConfigHeader>);

namespace {

constexpr int kLayoutDevice = 0;
constexpr int kLayoutPciBridge = 1;
constexpr int kLayoutCardBusBridge = 2;
constexpr unsigned char kBaseClassBridge = 0x06;
constexpr unsigned char kBaseClassOther = 0xFF;

// Offsets in the configuration space.
constexpr std::size_t kOffsetPrimaryBus = 24;
constexpr std::size_t kOffsetSecondaryBus = 25;
constexpr std::size_t kOffsetSubVendorId = 44;
constexpr std::size_t kOffsetSubSystemId = 46;

constexpr char kUnknown[] = "Unknown";

/// By base class.
constexpr const char* kBaseClasses[] = {
    kUnknown,
    "Mass storage controller",             // 0x01
    "Network controller",                  // 0x02
    "Display controller",                  // 0x03
    "Multimedia device",                   // 0x04
    "Memory controller",                   // 0x05
    "Bridge device",                       // 0x06
    "Simple communication controller",     // 0x07
    "System peripheral",                   // 0x08
    "Input device",                        // 0x09
    "Docking station",                     // 0x0A
    "Processor",                           // 0x0B
    "Serial bus controller",               // 0x0C
    "Wireless controller",                 // 0x0D
    "Intelligent I/O controller",          // 0x0E
    "Satellite communication controller",  // 0x0F
    "Encryption/decryption controller",    // 0x10
    "Signal processing controller",        // 0x11
};

constexpr int kAnyInterface = -1;

struct SubClass {
    unsigned char baseClass;
    unsigned char subClass;
    int programmingInterface;
    const char* description;
};

/// The first matching row counts, so a row for any interface covers the remaining ones. A function
/// without a row is described by its base class.
constexpr SubClass kSubClasses[] = {
    {0x00, 0x00, kAnyInterface, "Early non-VGA device"},
    {0x00, 0x01, kAnyInterface, "VGA compatible device"},
    {0x01, 0x00, kAnyInterface, "SCSI controller"},
    {0x01, 0x01, kAnyInterface, "IDE controller"},
    {0x01, 0x02, kAnyInterface, "Floppy disk controller"},
    {0x01, 0x03, kAnyInterface, "IPI controller"},
    {0x01, 0x04, kAnyInterface, "RAID controller"},
    {0x01, 0x05, kAnyInterface, "ATA controller"},
    {0x01, 0x06, kAnyInterface, "SATA controller"},
    {0x01, 0x07, kAnyInterface, "SAS controller"},
    {0x02, 0x00, kAnyInterface, "Ethernet controller"},
    {0x02, 0x01, kAnyInterface, "Token ring controller"},
    {0x02, 0x02, kAnyInterface, "FDDI controller"},
    {0x02, 0x03, kAnyInterface, "ATM controller"},
    {0x03, 0x00, 0, "VGA compatible controller"},
    {0x03, 0x00, kAnyInterface, "8514 compatible controller"},
    {0x03, 0x01, kAnyInterface, "XGA controller"},
    {0x03, 0x02, kAnyInterface, "3D controller"},
    {0x04, 0x00, kAnyInterface, "Video device"},
    {0x04, 0x01, kAnyInterface, "Audio device"},
    {0x04, 0x02, kAnyInterface, "Telephony device"},
    {0x05, 0x00, kAnyInterface, "RAM controller"},
    {0x05, 0x01, kAnyInterface, "Flash memory controller"},
    {0x06, 0x00, kAnyInterface, "Host bridge"},
    {0x06, 0x01, kAnyInterface, "ISA bridge"},
    {0x06, 0x02, kAnyInterface, "EISA bridge"},
    {0x06, 0x03, kAnyInterface, "MCA bridge"},
    {0x06, 0x04, kAnyInterface, "PCI-to-PCI bridge"},
    {0x06, 0x05, kAnyInterface, "PCMCIA bridge"},
    {0x06, 0x06, kAnyInterface, "NuBus bridge"},
    {0x06, 0x07, kAnyInterface, "CardBus bridge"},
    {0x06, 0x08, kAnyInterface, "RACEWay bridge"},
    {0x07, 0x00, 0, "Generic XT compatible serial port"},
    {0x07, 0x00, 1, "16450 compatible serial port"},
    {0x07, 0x00, 2, "16550 compatible serial port"},
    {0x07, 0x00, kAnyInterface, "Serial port"},
    {0x07, 0x01, 0, "Generic XT compatible parallel port"},
    {0x07, 0x01, 1, "Bidirectional parallel port"},
    {0x07, 0x01, 2, "ECP 1.X compliant parallel port"},
    {0x07, 0x01, kAnyInterface, "Parallel port"},
    {0x07, 0x02, kAnyInterface, "Multi serial controller"},
    {0x07, 0x03, kAnyInterface, "Modem"},
    {0x08, 0x00, 0, "Generic 8259 PIC"},
    {0x08, 0x00, 1, "ISA PIC"},
    {0x08, 0x00, 2, "EISA PIC"},
    {0x08, 0x00, kAnyInterface, "PIC"},
    {0x08, 0x01, 0, "Generic 8237 DMA"},
    {0x08, 0x01, 1, "ISA DMA"},
    {0x08, 0x01, 2, "EISA DMA"},
    {0x08, 0x01, kAnyInterface, "DMA"},
    {0x08, 0x02, 0, "Generic 8254 system timer"},
    {0x08, 0x02, 1, "ISA system timer"},
    {0x08, 0x02, 2, "EISA system timer"},
    {0x08, 0x02, kAnyInterface, "System timer"},
    {0x08, 0x03, 0, "Generic RTC"},
    {0x08, 0x03, 1, "ISA RTC"},
    {0x08, 0x03, kAnyInterface, "RTC"},
    {0x08, 0x04, kAnyInterface, "PCI hot-plug controller"},
    {0x09, 0x00, kAnyInterface, "Keyboard controller"},
    {0x09, 0x01, kAnyInterface, "Digitizer (pen)"},
    {0x09, 0x02, kAnyInterface, "Mouse controller"},
    {0x09, 0x03, kAnyInterface, "Scanning controller"},
    {0x09, 0x04, kAnyInterface, "Game controller"},
    {0x0B, 0x00, kAnyInterface, "386"},
    {0x0B, 0x01, kAnyInterface, "486"},
    {0x0B, 0x02, kAnyInterface, "Pentium"},
    {0x0B, 0x10, kAnyInterface, "Alpha"},
    {0x0B, 0x20, kAnyInterface, "PowerPC"},
    {0x0B, 0x40, kAnyInterface, "Co-processor"},
    {0x0C, 0x00, kAnyInterface, "Firewire (IEEE 1394)"},
    {0x0C, 0x01, kAnyInterface, "ACCESS.bus"},
    {0x0C, 0x02, kAnyInterface, "SSA"},
    {0x0C, 0x03, kAnyInterface, "Universal Serial Bus (USB)"},
    {0x0C, 0x04, kAnyInterface, "Fibre Channel"},
    {0x0C, 0x05, kAnyInterface, "SM Bus"},
    {0x0D, 0x00, kAnyInterface, "iRDA controller"},
    {0x0D, 0x01, kAnyInterface, "Consumer IR controller"},
    {0x0D, 0x02, kAnyInterface, "RF controller"},
    {0x0E, 0x00, kAnyInterface, "I2O controller"},
    {0x0F, 0x00, kAnyInterface, "Satellite TV controller"},
    {0x0F, 0x01, kAnyInterface, "Satellite audio controller"},
    {0x0F, 0x02, kAnyInterface, "Satellite voice controller"},
    {0x0F, 0x03, kAnyInterface, "Satellite data controller"},
    {0x10, 0x00, kAnyInterface, "Network and computing en/decryption"},
    {0x10, 0x01, kAnyInterface, "Entertainment en/decryption"},
    {0x11, 0x00, kAnyInterface, "DPIO module"},
};

int layoutOf(const CPciCommonConfigHeader& header) {
    return header.headerType & 0x7F;
}

bool hasBusNumbers(const CPciCommonConfigHeader& header) {
    return layoutOf(header) == kLayoutPciBridge || layoutOf(header) == kLayoutCardBusBridge;
}

unsigned char byteAt(const CPciCommonConfigHeader& header, std::size_t offset) {
    return header.layoutPart[offset - offsetof(_PCI_COMMON_CONFIG_HEADER, layoutPart)];
}

unsigned short wordAt(const CPciCommonConfigHeader& header, std::size_t offset) {
    return static_cast<unsigned short>(byteAt(header, offset) | byteAt(header, offset + 1) << 8);
}

bool fits(const SubClass& row, const CPciCommonConfigHeader& header) {
    return row.baseClass == header.baseClass && row.subClass == header.subClass &&
           (row.programmingInterface == kAnyInterface ||
            row.programmingInterface == header.programmingInterface);
}

}  // namespace

CPciAddress::CPciAddress(unsigned char bus, unsigned char device, unsigned char function,
                         unsigned short segment)
    : segment_(segment), bus_(bus), device_(device), function_(function) {}

void CPciAddress::SetAddress(int bus, int device, int function, int segment) {
    segment_ = segment;
    bus_ = bus;
    device_ = device;
    function_ = function;
}

int CPciAddress::GetSegmentNo() const {
    return segment_;
}
int CPciAddress::GetBusNo() const {
    return bus_;
}
int CPciAddress::GetDeviceNo() const {
    return device_;
}
int CPciAddress::GetFunctionNo() const {
    return function_;
}
bool CPciAddress::IsEmpty() const {
    return bus_ == -1;
}

bool CPciCommonConfigHeader::IsValid() const {
    return vendorId != 0 && vendorId != 0xFFFF && deviceId != 0;
}

bool CPciCommonConfigHeader::IsPciBrigdeDevice() const {
    return (headerType & 1) != 0;
}

unsigned short CPciCommonConfigHeader::GetVendorId() const {
    return vendorId;
}
unsigned short CPciCommonConfigHeader::GetDeviceId() const {
    return deviceId;
}
unsigned char CPciCommonConfigHeader::GetRevisionId() const {
    return revisionId;
}

unsigned short CPciCommonConfigHeader::GetSubVendorId() const {
    return layoutOf(*this) == kLayoutDevice ? wordAt(*this, kOffsetSubVendorId) : 0;
}

unsigned short CPciCommonConfigHeader::GetSubSystemId() const {
    return layoutOf(*this) == kLayoutDevice ? wordAt(*this, kOffsetSubSystemId) : 0;
}

unsigned char CPciCommonConfigHeader::GetPrimaryBusNo() const {
    return hasBusNumbers(*this) ? byteAt(*this, kOffsetPrimaryBus) : 0;
}

/// Without bus numbers it is a flag: callers use it to recognise bridges of other layouts.
unsigned char CPciCommonConfigHeader::GetSecondaryBusNo() const {
    if (hasBusNumbers(*this)) {
        return byteAt(*this, kOffsetSecondaryBus);
    }
    return baseClass == kBaseClassBridge ? 1 : 0;
}

unsigned int CPciCommonConfigHeader::GetSecondaryBusType() const {
    if (layoutOf(*this) == kLayoutPciBridge) {
        return 4;
    }
    if (layoutOf(*this) == kLayoutCardBusBridge) {
        return 5;
    }
    return baseClass == kBaseClassBridge ? subClass : 0xFFFFFFFF;
}

unsigned char CPciCommonConfigHeader::GetInterruptLine() const {
    const bool wired = IsValid() && interruptPin != 0 && interruptLine != 0xFF;
    return wired ? interruptLine : 0;
}

const char* CPciCommonConfigHeader::GetBaseClassDescription() const {
    return GetPciBaseClassDescription(baseClass);
}

const char* CPciCommonConfigHeader::GetSubClassDescription() const {
    return GetPciSubClassDescription(*this);
}

const char* CPciCommonConfigHeader::GetPciBaseClassDescription(unsigned char baseClass) {
    if (baseClass == kBaseClassOther) {
        return "Other";
    }
    return baseClass < std::size(kBaseClasses) ? kBaseClasses[baseClass] : kUnknown;
}

const char* CPciCommonConfigHeader::GetPciSubClassDescription(
    const CPciCommonConfigHeader& header) {
    for (const SubClass& row : kSubClasses) {
        if (fits(row, header)) {
            return row.description;
        }
    }
    return GetPciBaseClassDescription(header.baseClass);
}
