#include "hardware/PciConfig.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <string>

namespace {

// --- Address ------------------------------------------------------------------------------------

TEST(PciAddress, HoldsItsNumbersUnsigned) {
    const CPciAddress address(0xFF, 0xFE, 0xFD, 0xFFFC);
    EXPECT_EQ(address.GetBusNo(), 0xFF);
    EXPECT_EQ(address.GetDeviceNo(), 0xFE);
    EXPECT_EQ(address.GetFunctionNo(), 0xFD);
    EXPECT_EQ(address.GetSegmentNo(), 0xFFFC);
    EXPECT_FALSE(address.IsEmpty());
}

TEST(PciAddress, IsEmptyByDefault) {
    const CPciAddress address;
    EXPECT_TRUE(address.IsEmpty());
    EXPECT_EQ(address.GetBusNo(), -1);
    EXPECT_EQ(address.GetDeviceNo(), 0);
    EXPECT_EQ(address.GetFunctionNo(), 0);
    EXPECT_EQ(address.GetSegmentNo(), 0);
}

TEST(PciAddress, TakesTheSegmentLast) {
    CPciAddress address;
    address.SetAddress(1, 2, 3, 4);
    EXPECT_EQ(address.GetBusNo(), 1);
    EXPECT_EQ(address.GetDeviceNo(), 2);
    EXPECT_EQ(address.GetFunctionNo(), 3);
    EXPECT_EQ(address.GetSegmentNo(), 4);
    EXPECT_FALSE(address.IsEmpty());
}

TEST(PciAddress, IsEmptyWithoutBusAlone) {
    CPciAddress address;
    address.SetAddress(static_cast<int>(0xFFFFFFFF), 2, 3, 4);
    EXPECT_TRUE(address.IsEmpty());
    address.SetAddress(0, -1, -1, -1);
    EXPECT_FALSE(address.IsEmpty());
}

TEST(PciAddress, KeepsSegmentBusDeviceFunctionInThisOrder) {
    std::array<int, 4> fields;
    static_assert(sizeof fields == sizeof(CPciAddress));
    CPciAddress address;
    address.SetAddress(1, 2, 3, 4);
    std::memcpy(fields.data(), &address, sizeof fields);
    EXPECT_EQ(fields, (std::array<int, 4>{4, 1, 2, 3}));
}

// --- Header -------------------------------------------------------------------------------------

/// 64 bytes of configuration space, each with its offset as value, and the header made of them.
struct ConfigSpace {
    std::array<unsigned char, 64> bytes;

    ConfigSpace() {
        for (unsigned int i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<unsigned char>(i);
        }
    }

    CPciCommonConfigHeader header() const {
        CPciCommonConfigHeader result;
        std::memcpy(&result, bytes.data(), bytes.size());
        return result;
    }

    /// With this header type and base class.
    static CPciCommonConfigHeader of(int type, int baseClass) {
        ConfigSpace space;
        space.bytes[14] = static_cast<unsigned char>(type);
        space.bytes[11] = static_cast<unsigned char>(baseClass);
        return space.header();
    }
};

TEST(PciConfigHeader, ReadsEveryFieldAtItsOffset) {
    const CPciCommonConfigHeader header = ConfigSpace().header();
    EXPECT_EQ(header.vendorId, 0x0100);
    EXPECT_EQ(header.deviceId, 0x0302);
    EXPECT_EQ(header.command, 0x0504);
    EXPECT_EQ(header.status, 0x0706);
    EXPECT_EQ(header.revisionId, 8);
    EXPECT_EQ(header.programmingInterface, 9);
    EXPECT_EQ(header.subClass, 10);
    EXPECT_EQ(header.baseClass, 11);
    EXPECT_EQ(header.cacheLineSize, 12);
    EXPECT_EQ(header.latencyTimer, 13);
    EXPECT_EQ(header.headerType, 14);
    EXPECT_EQ(header.bist, 15);
    EXPECT_EQ(header.layoutPart[0], 16);
    EXPECT_EQ(header.interruptLine, 60);
    EXPECT_EQ(header.interruptPin, 61);
    EXPECT_EQ(header.layoutTail[1], 63);
}

TEST(PciConfigHeader, GivesItsIds) {
    const CPciCommonConfigHeader header = ConfigSpace().header();
    EXPECT_EQ(header.GetVendorId(), 0x0100);
    EXPECT_EQ(header.GetDeviceId(), 0x0302);
    EXPECT_EQ(header.GetRevisionId(), 8);
}

TEST(PciConfigHeader, IsValidWithVendorAndDevice) {
    CPciCommonConfigHeader header = ConfigSpace().header();
    EXPECT_TRUE(header.IsValid());
    header.deviceId = 0xFFFF;
    EXPECT_TRUE(header.IsValid());
    header.deviceId = 0;
    EXPECT_FALSE(header.IsValid());
    header.deviceId = 1;
    header.vendorId = 0;
    EXPECT_FALSE(header.IsValid());
    header.vendorId = 0xFFFF;
    EXPECT_FALSE(header.IsValid());
    header.vendorId = 0xFFFE;
    EXPECT_TRUE(header.IsValid());
}

TEST(PciConfigHeader, OfAllOnesIsNotValid) {
    ConfigSpace space;
    space.bytes.fill(0xFF);
    EXPECT_FALSE(space.header().IsValid());
    EXPECT_EQ(space.header().GetInterruptLine(), 0);
}

TEST(PciConfigHeader, IsABridgeByTheLowestBitOfItsType) {
    for (int type = 0; type < 256; ++type) {
        EXPECT_EQ(ConfigSpace::of(type, 6).IsPciBrigdeDevice(), type % 2 == 1);
    }
}

TEST(PciConfigHeader, HasSubsystemIdsInLayout0Alone) {
    for (const int type : {0x00, 0x80}) {
        EXPECT_EQ(ConfigSpace::of(type, 1).GetSubVendorId(), 0x2D2C);
        EXPECT_EQ(ConfigSpace::of(type, 1).GetSubSystemId(), 0x2F2E);
    }
    for (const int type : {0x01, 0x02, 0x03, 0x7F, 0x81, 0x82}) {
        EXPECT_EQ(ConfigSpace::of(type, 1).GetSubVendorId(), 0);
        EXPECT_EQ(ConfigSpace::of(type, 1).GetSubSystemId(), 0);
    }
}

TEST(PciConfigHeader, HasBusNumbersInTheLayoutsOfBridges) {
    for (const int type : {0x01, 0x02, 0x81, 0x82}) {
        EXPECT_EQ(ConfigSpace::of(type, 1).GetPrimaryBusNo(), 24);
        EXPECT_EQ(ConfigSpace::of(type, 1).GetSecondaryBusNo(), 25);
        EXPECT_EQ(ConfigSpace::of(type, 6).GetSecondaryBusNo(), 25);
    }
}

TEST(PciConfigHeader, FlagsBridgesOfOtherLayoutsInTheSecondaryBusNumber) {
    for (const int type : {0x00, 0x03, 0x7F, 0x80}) {
        EXPECT_EQ(ConfigSpace::of(type, 6).GetPrimaryBusNo(), 0);
        EXPECT_EQ(ConfigSpace::of(type, 6).GetSecondaryBusNo(), 1);
        EXPECT_EQ(ConfigSpace::of(type, 5).GetSecondaryBusNo(), 0);
    }
}

TEST(PciConfigHeader, NamesTheSecondaryBusTypeBySubclassNumber) {
    for (const int multiFunction : {0x00, 0x80}) {
        EXPECT_EQ(ConfigSpace::of(multiFunction | 1, 0).GetSecondaryBusType(), 4u);
        EXPECT_EQ(ConfigSpace::of(multiFunction | 2, 0).GetSecondaryBusType(), 5u);
        EXPECT_EQ(ConfigSpace::of(multiFunction, 6).GetSecondaryBusType(), 10u);
        EXPECT_EQ(ConfigSpace::of(multiFunction, 7).GetSecondaryBusType(), 0xFFFFFFFF);
        EXPECT_EQ(ConfigSpace::of(multiFunction | 3, 6).GetSecondaryBusType(), 10u);
    }
}

TEST(PciConfigHeader, TellsCardBusBridgesApart) {
    const CPciCommonConfigHeader header = ConfigSpace::of(2, 6);
    EXPECT_FALSE(header.IsPciBrigdeDevice());
    EXPECT_EQ(header.GetPrimaryBusNo(), 24);
    EXPECT_EQ(header.GetSecondaryBusNo(), 25);
    EXPECT_EQ(header.GetSecondaryBusType(), 5u);
}

TEST(PciConfigHeader, HasAnInterruptLineWhenItIsWired) {
    CPciCommonConfigHeader header = ConfigSpace().header();
    EXPECT_EQ(header.GetInterruptLine(), 60);
    header.interruptLine = 254;
    EXPECT_EQ(header.GetInterruptLine(), 254);
    header.interruptLine = 255;
    EXPECT_EQ(header.GetInterruptLine(), 0);
    header.interruptLine = 7;
    header.interruptPin = 0;
    EXPECT_EQ(header.GetInterruptLine(), 0);
    header.interruptPin = 1;
    EXPECT_EQ(header.GetInterruptLine(), 7);
    header.deviceId = 0;
    EXPECT_EQ(header.GetInterruptLine(), 0);
}

// --- Descriptions -------------------------------------------------------------------------------

TEST(PciConfigHeader, DescribesEveryBaseClass) {
    const std::map<unsigned int, std::string> texts = {{0x01, "Mass storage controller"},
                                                       {0x02, "Network controller"},
                                                       {0x03, "Display controller"},
                                                       {0x04, "Multimedia device"},
                                                       {0x05, "Memory controller"},
                                                       {0x06, "Bridge device"},
                                                       {0x07, "Simple communication controller"},
                                                       {0x08, "System peripheral"},
                                                       {0x09, "Input device"},
                                                       {0x0A, "Docking station"},
                                                       {0x0B, "Processor"},
                                                       {0x0C, "Serial bus controller"},
                                                       {0x0D, "Wireless controller"},
                                                       {0x0E, "Intelligent I/O controller"},
                                                       {0x0F, "Satellite communication controller"},
                                                       {0x10, "Encryption/decryption controller"},
                                                       {0x11, "Signal processing controller"},
                                                       {0xFF, "Other"}};
    for (unsigned int baseClass = 0; baseClass < 256; ++baseClass) {
        const auto found = texts.find(baseClass);
        const std::string expected = found == texts.end() ? "Unknown" : found->second;
        const auto number = static_cast<unsigned char>(baseClass);
        EXPECT_EQ(CPciCommonConfigHeader::GetPciBaseClassDescription(number), expected);
        EXPECT_EQ(ConfigSpace::of(0, number).GetBaseClassDescription(), expected);
    }
}

/// Base class, subclass (** for every other), programming interface (* for every other), text.
constexpr char kSubClassRows[] = R"(
00 00 * Early non-VGA device
00 01 * VGA compatible device
00 ** * Unknown
01 00 * SCSI controller
01 01 * IDE controller
01 02 * Floppy disk controller
01 03 * IPI controller
01 04 * RAID controller
01 05 * ATA controller
01 06 * SATA controller
01 07 * SAS controller
01 ** * Mass storage controller
02 00 * Ethernet controller
02 01 * Token ring controller
02 02 * FDDI controller
02 03 * ATM controller
02 ** * Network controller
03 00 0 VGA compatible controller
03 00 * 8514 compatible controller
03 01 * XGA controller
03 02 * 3D controller
03 ** * Display controller
04 00 * Video device
04 01 * Audio device
04 02 * Telephony device
04 ** * Multimedia device
05 00 * RAM controller
05 01 * Flash memory controller
05 ** * Memory controller
06 00 * Host bridge
06 01 * ISA bridge
06 02 * EISA bridge
06 03 * MCA bridge
06 04 * PCI-to-PCI bridge
06 05 * PCMCIA bridge
06 06 * NuBus bridge
06 07 * CardBus bridge
06 08 * RACEWay bridge
06 ** * Bridge device
07 00 0 Generic XT compatible serial port
07 00 1 16450 compatible serial port
07 00 2 16550 compatible serial port
07 00 * Serial port
07 01 0 Generic XT compatible parallel port
07 01 1 Bidirectional parallel port
07 01 2 ECP 1.X compliant parallel port
07 01 * Parallel port
07 02 * Multi serial controller
07 03 * Modem
07 ** * Simple communication controller
08 00 0 Generic 8259 PIC
08 00 1 ISA PIC
08 00 2 EISA PIC
08 00 * PIC
08 01 0 Generic 8237 DMA
08 01 1 ISA DMA
08 01 2 EISA DMA
08 01 * DMA
08 02 0 Generic 8254 system timer
08 02 1 ISA system timer
08 02 2 EISA system timer
08 02 * System timer
08 03 0 Generic RTC
08 03 1 ISA RTC
08 03 * RTC
08 04 * PCI hot-plug controller
08 ** * System peripheral
09 00 * Keyboard controller
09 01 * Digitizer (pen)
09 02 * Mouse controller
09 03 * Scanning controller
09 04 * Game controller
09 ** * Input device
0A ** * Docking station
0B 00 * 386
0B 01 * 486
0B 02 * Pentium
0B 10 * Alpha
0B 20 * PowerPC
0B 40 * Co-processor
0B ** * Processor
0C 00 * Firewire (IEEE 1394)
0C 01 * ACCESS.bus
0C 02 * SSA
0C 03 * Universal Serial Bus (USB)
0C 04 * Fibre Channel
0C 05 * SM Bus
0C ** * Serial bus controller
0D 00 * iRDA controller
0D 01 * Consumer IR controller
0D 02 * RF controller
0D ** * Wireless controller
0E 00 * I2O controller
0E ** * Intelligent I/O controller
0F 00 * Satellite TV controller
0F 01 * Satellite audio controller
0F 02 * Satellite voice controller
0F 03 * Satellite data controller
0F ** * Satellite communication controller
10 00 * Network and computing en/decryption
10 01 * Entertainment en/decryption
10 ** * Encryption/decryption controller
11 00 * DPIO module
11 ** * Signal processing controller
FF ** * Other
)";

/// The rows by base class, subclass and interface, as they are spelt.
std::map<std::string, std::string> subClassTexts() {
    std::map<std::string, std::string> texts;
    std::istringstream lines(kSubClassRows);
    std::string baseClass, subClass, programmingInterface, text;
    while (lines >> baseClass >> subClass >> programmingInterface &&
           std::getline(lines >> std::ws, text)) {
        texts[baseClass + " " + subClass + " " + programmingInterface] = text;
    }
    return texts;
}

std::string hex(unsigned int number) {
    char text[3];
    std::snprintf(text, sizeof text, "%02X", number & 0xFF);
    return text;
}

std::string expectedSubClass(const std::map<std::string, std::string>& texts,
                             unsigned int baseClass, unsigned int subClass,
                             unsigned int programmingInterface) {
    const std::string row = hex(baseClass) + " " + hex(subClass) + " ";
    for (const std::string& key :
         {row + std::to_string(programmingInterface), row + "*", hex(baseClass) + " ** *"}) {
        const auto found = texts.find(key);
        if (found != texts.end()) {
            return found->second;
        }
    }
    return "Unknown";
}

TEST(PciConfigHeader, DescribesEverySubclass) {
    const auto texts = subClassTexts();
    ASSERT_EQ(texts.size(), 105u);
    CPciCommonConfigHeader header = ConfigSpace().header();
    for (unsigned int baseClass = 0; baseClass < 256; baseClass += baseClass < 0x14 ? 1 : 0x2F) {
        for (unsigned int subClass = 0; subClass < 256; ++subClass) {
            for (const unsigned int programmingInterface : {0u, 1u, 2u, 3u, 128u, 255u}) {
                header.baseClass = static_cast<unsigned char>(baseClass);
                header.subClass = static_cast<unsigned char>(subClass);
                header.programmingInterface = static_cast<unsigned char>(programmingInterface);
                ASSERT_EQ(header.GetSubClassDescription(),
                          expectedSubClass(texts, baseClass, subClass, programmingInterface))
                    << hex(baseClass) << " " << hex(subClass) << " " << programmingInterface;
            }
        }
    }
}

TEST(PciConfigHeader, DescribesTheSubclassOfAnyHeader) {
    CPciCommonConfigHeader header = ConfigSpace::of(0, 0x00);
    header.subClass = 1;
    EXPECT_STREQ(CPciCommonConfigHeader::GetPciSubClassDescription(header),
                 "VGA compatible device");
    EXPECT_STREQ(header.GetBaseClassDescription(), "Unknown");
    header.subClass = 0;
    EXPECT_STREQ(header.GetSubClassDescription(), "Early non-VGA device");
    header.subClass = 2;
    EXPECT_STREQ(header.GetSubClassDescription(), "Unknown");
}

}  // namespace
