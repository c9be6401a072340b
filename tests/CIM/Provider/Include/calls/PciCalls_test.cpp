#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::ElementsAre;
using testing::IsEmpty;

/// The configuration header of a network controller.
std::vector<unsigned int> header() {
    std::vector<unsigned int> bytes(64, 0);
    bytes[0] = 0x34;
    bytes[1] = 0x12;
    bytes[2] = 0x78;
    bytes[3] = 0x56;
    bytes[8] = 0x9A;
    bytes[11] = 0x02;
    bytes[44] = 0xCD;
    bytes[45] = 0xAB;
    bytes[46] = 0x21;
    bytes[47] = 0x43;
    return bytes;
}

class PciCalls : public RecordedCalls {
  protected:
    provider::PciDeviceInfo info;
    const KOLMKey device{2, 0xFF123456, 0};
};

TEST_F(PciCalls, ADeviceKeyIsMadeOfSegmentBusDeviceAndFunction) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::ofBytes({9, 9, 0x12, 0x00, 0x34, 0x56,  //
                                             9, 9, 0xFF, 0xFF, 0xFF, 0xFF,  //
                                             9, 9, 0, 0, 0}));
    EXPECT_THAT(calls->getPciBusInfoDeviceList(3), ElementsAre(0x05123456u, 0x04FFFFFFu));
    EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0x1490, 0, 0, 3)));
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getPciBusInfoDeviceList()")));
}

TEST_F(PciCalls, AnUnreadableDeviceListIsEmpty) {
    for (const char* data : {"-1", "[]", "5", "{\"RAW\":[1,2,3,4,5]}"}) {
        client.replyWith(ScriptedReply::of(data));
        EXPECT_THAT(calls->getPciBusInfoDeviceList(3), IsEmpty()) << data;
    }
}

TEST_F(PciCalls, AFailedDeviceListThrows) {
    client.replyWith(ScriptedReply::failure(25));
    EXPECT_THAT(failureOf([&] { calls->getPciBusInfoDeviceList(3); }),
                isFailure("getPciBusInfoDeviceList(): KolmRequest() failed"));
}

TEST_F(PciCalls, TheAddressTravelsAsThreeBytes) {
    client.replyWith(ScriptedReply::ofBytes(header()));
    TraceCapture trace;
    EXPECT_TRUE(calls->getDeviceInfoReadBusConfig(device, info));
    EXPECT_THAT(client.takeSent(),
                ElementsAre(commandText(0x1401, 0, 5, 2, ",\"DA\":{\"RAW\":[18,52,86]}")));
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getDeviceInfoReadBusConfig()")));
}

TEST_F(PciCalls, AHeaderFillsTheRecord) {
    client.replyWith(ScriptedReply::ofBytes(header()));
    ASSERT_TRUE(calls->getDeviceInfoReadBusConfig(device, info));
    EXPECT_EQ(info.bus, 0x12);
    EXPECT_EQ(info.device, 0x34);
    EXPECT_EQ(info.function, 0x56);
    EXPECT_EQ(info.vendorId, 0x1234);
    EXPECT_EQ(info.deviceId, 0x5678);
    EXPECT_EQ(info.subVendorId, 0xABCD);
    EXPECT_EQ(info.subSystemId, 0x4321);
    EXPECT_EQ(info.revisionId, 0x9A);
    EXPECT_STREQ(info.baseClassText.c_str(), "Network controller");
    EXPECT_STREQ(info.subClassText.c_str(), "Ethernet controller");
    EXPECT_EQ(info.primaryBus, 0);
    EXPECT_EQ(info.secondaryBus, 0);
}

TEST_F(PciCalls, ABridgeHasTwoBuses) {
    std::vector<unsigned int> bridge = header();
    bridge[11] = 6;
    bridge[14] = 1;
    bridge[24] = 3;
    bridge[25] = 4;
    client.replyWith(ScriptedReply::ofBytes(bridge));
    ASSERT_TRUE(calls->getDeviceInfoReadBusConfig(device, info));
    EXPECT_EQ(info.primaryBus, 3);
    EXPECT_EQ(info.secondaryBus, 4);
    EXPECT_EQ(info.subVendorId, 0);
}

TEST_F(PciCalls, AHeaderMayBeLongerThanItself) {
    std::vector<unsigned int> longer = header();
    longer.resize(256, 1);
    client.replyWith(ScriptedReply::ofBytes(longer));
    EXPECT_TRUE(calls->getDeviceInfoReadBusConfig(device, info));
}

TEST_F(PciCalls, AnInvalidHeaderLeavesTheRecordAlone) {
    std::vector<unsigned int> tooShort = header();
    tooShort.pop_back();
    std::vector<unsigned int> noVendor = header();
    noVendor[0] = noVendor[1] = 0xFF;
    info.vendorId = 7;
    for (const ScriptedReply& reply :
         {ScriptedReply::ofBytes(tooShort), ScriptedReply::ofBytes(noVendor),
          ScriptedReply::of("-1"), ScriptedReply::of(5)}) {
        TraceCapture failures(1);
        client.replyWith(reply);
        EXPECT_FALSE(calls->getDeviceInfoReadBusConfig(device, info));
        EXPECT_EQ(info.vendorId, 7);
        EXPECT_THAT(
            failures.messages(),
            ElementsAre(message("getDeviceInfoReadBusConfig(): Invalid PciConfig data returned")));
    }
}

TEST_F(PciCalls, WithoutDataThereIsNoHeader) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::empty());
    EXPECT_FALSE(calls->getDeviceInfoReadBusConfig(device, info));
    EXPECT_EQ(failures.text(), "");
    client.replyWith(ScriptedReply::failure());
    EXPECT_FALSE(calls->getDeviceInfoReadBusConfig(device, info));
    EXPECT_THAT(failures.messages(),
                ElementsAre(message("getDeviceInfoReadBusConfig(): KolmRequest() failed")));
}

}  // namespace
}  // namespace varnock::test
