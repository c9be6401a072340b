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

constexpr int layoutDevice = 0;
constexpr int layoutPciBridge = 1;
constexpr int layoutCardBusBridge = 2;
constexpr unsigned char baseClassBridge = 0x06;
constexpr unsigned char baseClassOther = 0xFF;

// Offsets in the configuration space.
constexpr std::size_t offsetPrimaryBus = 24;
constexpr std::size_t offsetSecondaryBus = 25;
constexpr std::size_t offsetSubVendorId = 44;
constexpr std::size_t offsetSubSystemId = 46;

constexpr char unknown[] = "Unknown";

/// By base class.
constexpr const char* baseClasses[] = {
    unknown,
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

constexpr int anyInterface = -1;

struct SubClass {
    unsigned char baseClass;
    unsigned char subClass;
    int programmingInterface;
    const char* description;
};

/// The first matching row counts, so a row for any interface covers the remaining ones. A function
/// without a row is described by its base class.
constexpr SubClass subClasses[] = {
    {0x00, 0x00, anyInterface, "Early non-VGA device"},
    {0x00, 0x01, anyInterface, "VGA compatible device"},
    {0x01, 0x00, anyInterface, "SCSI controller"},
    {0x01, 0x01, anyInterface, "IDE controller"},
    {0x01, 0x02, anyInterface, "Floppy disk controller"},
    {0x01, 0x03, anyInterface, "IPI controller"},
    {0x01, 0x04, anyInterface, "RAID controller"},
    {0x01, 0x05, anyInterface, "ATA controller"},
    {0x01, 0x06, anyInterface, "SATA controller"},
    {0x01, 0x07, anyInterface, "SAS controller"},
    {0x02, 0x00, anyInterface, "Ethernet controller"},
    {0x02, 0x01, anyInterface, "Token ring controller"},
    {0x02, 0x02, anyInterface, "FDDI controller"},
    {0x02, 0x03, anyInterface, "ATM controller"},
    {0x03, 0x00, 0, "VGA compatible controller"},
    {0x03, 0x00, anyInterface, "8514 compatible controller"},
    {0x03, 0x01, anyInterface, "XGA controller"},
    {0x03, 0x02, anyInterface, "3D controller"},
    {0x04, 0x00, anyInterface, "Video device"},
    {0x04, 0x01, anyInterface, "Audio device"},
    {0x04, 0x02, anyInterface, "Telephony device"},
    {0x05, 0x00, anyInterface, "RAM controller"},
    {0x05, 0x01, anyInterface, "Flash memory controller"},
    {0x06, 0x00, anyInterface, "Host bridge"},
    {0x06, 0x01, anyInterface, "ISA bridge"},
    {0x06, 0x02, anyInterface, "EISA bridge"},
    {0x06, 0x03, anyInterface, "MCA bridge"},
    {0x06, 0x04, anyInterface, "PCI-to-PCI bridge"},
    {0x06, 0x05, anyInterface, "PCMCIA bridge"},
    {0x06, 0x06, anyInterface, "NuBus bridge"},
    {0x06, 0x07, anyInterface, "CardBus bridge"},
    {0x06, 0x08, anyInterface, "RACEWay bridge"},
    {0x07, 0x00, 0, "Generic XT compatible serial port"},
    {0x07, 0x00, 1, "16450 compatible serial port"},
    {0x07, 0x00, 2, "16550 compatible serial port"},
    {0x07, 0x00, anyInterface, "Serial port"},
    {0x07, 0x01, 0, "Generic XT compatible parallel port"},
    {0x07, 0x01, 1, "Bidirectional parallel port"},
    {0x07, 0x01, 2, "ECP 1.X compliant parallel port"},
    {0x07, 0x01, anyInterface, "Parallel port"},
    {0x07, 0x02, anyInterface, "Multi serial controller"},
    {0x07, 0x03, anyInterface, "Modem"},
    {0x08, 0x00, 0, "Generic 8259 PIC"},
    {0x08, 0x00, 1, "ISA PIC"},
    {0x08, 0x00, 2, "EISA PIC"},
    {0x08, 0x00, anyInterface, "PIC"},
    {0x08, 0x01, 0, "Generic 8237 DMA"},
    {0x08, 0x01, 1, "ISA DMA"},
    {0x08, 0x01, 2, "EISA DMA"},
    {0x08, 0x01, anyInterface, "DMA"},
    {0x08, 0x02, 0, "Generic 8254 system timer"},
    {0x08, 0x02, 1, "ISA system timer"},
    {0x08, 0x02, 2, "EISA system timer"},
    {0x08, 0x02, anyInterface, "System timer"},
    {0x08, 0x03, 0, "Generic RTC"},
    {0x08, 0x03, 1, "ISA RTC"},
    {0x08, 0x03, anyInterface, "RTC"},
    {0x08, 0x04, anyInterface, "PCI hot-plug controller"},
    {0x09, 0x00, anyInterface, "Keyboard controller"},
    {0x09, 0x01, anyInterface, "Digitizer (pen)"},
    {0x09, 0x02, anyInterface, "Mouse controller"},
    {0x09, 0x03, anyInterface, "Scanning controller"},
    {0x09, 0x04, anyInterface, "Game controller"},
    {0x0B, 0x00, anyInterface, "386"},
    {0x0B, 0x01, anyInterface, "486"},
    {0x0B, 0x02, anyInterface, "Pentium"},
    {0x0B, 0x10, anyInterface, "Alpha"},
    {0x0B, 0x20, anyInterface, "PowerPC"},
    {0x0B, 0x40, anyInterface, "Co-processor"},
    {0x0C, 0x00, anyInterface, "Firewire (IEEE 1394)"},
    {0x0C, 0x01, anyInterface, "ACCESS.bus"},
    {0x0C, 0x02, anyInterface, "SSA"},
    {0x0C, 0x03, anyInterface, "Universal Serial Bus (USB)"},
    {0x0C, 0x04, anyInterface, "Fibre Channel"},
    {0x0C, 0x05, anyInterface, "SM Bus"},
    {0x0D, 0x00, anyInterface, "iRDA controller"},
    {0x0D, 0x01, anyInterface, "Consumer IR controller"},
    {0x0D, 0x02, anyInterface, "RF controller"},
    {0x0E, 0x00, anyInterface, "I2O controller"},
    {0x0F, 0x00, anyInterface, "Satellite TV controller"},
    {0x0F, 0x01, anyInterface, "Satellite audio controller"},
    {0x0F, 0x02, anyInterface, "Satellite voice controller"},
    {0x0F, 0x03, anyInterface, "Satellite data controller"},
    {0x10, 0x00, anyInterface, "Network and computing en/decryption"},
    {0x10, 0x01, anyInterface, "Entertainment en/decryption"},
    {0x11, 0x00, anyInterface, "DPIO module"},
};

int layoutOf(const CPciCommonConfigHeader& header) {
    return header.headerType & 0x7F;
}

bool hasBusNumbers(const CPciCommonConfigHeader& header) {
    return layoutOf(header) == layoutPciBridge || layoutOf(header) == layoutCardBusBridge;
}

unsigned char byteAt(const CPciCommonConfigHeader& header, std::size_t offset) {
    return header.layoutPart[offset - offsetof(_PCI_COMMON_CONFIG_HEADER, layoutPart)];
}

unsigned short wordAt(const CPciCommonConfigHeader& header, std::size_t offset) {
    return static_cast<unsigned short>(byteAt(header, offset) | byteAt(header, offset + 1) << 8);
}

bool fits(const SubClass& row, const CPciCommonConfigHeader& header) {
    return row.baseClass == header.baseClass && row.subClass == header.subClass &&
           (row.programmingInterface == anyInterface ||
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
    return layoutOf(*this) == layoutDevice ? wordAt(*this, offsetSubVendorId) : 0;
}

unsigned short CPciCommonConfigHeader::GetSubSystemId() const {
    return layoutOf(*this) == layoutDevice ? wordAt(*this, offsetSubSystemId) : 0;
}

unsigned char CPciCommonConfigHeader::GetPrimaryBusNo() const {
    return hasBusNumbers(*this) ? byteAt(*this, offsetPrimaryBus) : 0;
}

// Without bus numbers it is a flag: callers use it to recognise bridges of other layouts.
unsigned char CPciCommonConfigHeader::GetSecondaryBusNo() const {
    if (hasBusNumbers(*this)) return byteAt(*this, offsetSecondaryBus);
    return baseClass == baseClassBridge ? 1 : 0;
}

unsigned int CPciCommonConfigHeader::GetSecondaryBusType() const {
    if (layoutOf(*this) == layoutPciBridge) return 4;
    if (layoutOf(*this) == layoutCardBusBridge) return 5;
    return baseClass == baseClassBridge ? subClass : 0xFFFFFFFF;
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
    if (baseClass == baseClassOther) return "Other";
    return baseClass < std::size(baseClasses) ? baseClasses[baseClass] : unknown;
}

const char* CPciCommonConfigHeader::GetPciSubClassDescription(
    const CPciCommonConfigHeader& header) {
    for (const SubClass& row : subClasses)
        if (fits(row, header)) return row.description;
    return GetPciBaseClassDescription(header.baseClass);
}
