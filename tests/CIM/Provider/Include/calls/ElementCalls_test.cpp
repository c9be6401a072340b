#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::ElementsAre;
using testing::IsEmpty;

class ElementCalls : public RecordedCalls {
  protected:
    void openSession() {
        client.replyBy([](const SipJson& command) {
            if (command.OpCode() != 0x0C86) {
                return ScriptedReply::of(1);
            }
            return ScriptedReply::ofBytes({0,   0, 12,  0,   0,   0,   'a', 0,   'b', 0,   0,
                                           'd', 0, '2', '0', '2', '0', '0', '1', '3', '1', 0,
                                           'f', 0, 'g', 0,   'h', 0,   'i', 0,   'j', 0});
        });
        calls->openControllerCardSession(1);
        client.takeSent();
    }
    const KOLMKey cached{1, 1, 12};
};

TEST_F(ElementCalls, TheClassStandsAboveTheAttribute) {
    const KOLMKey element(4, 5, 0x0A);
    calls->getElementManufacturer(element);
    calls->getElementSerialNumber(element);
    EXPECT_THAT(client.takeSent(),
                ElementsAre(commandText(0x0C00, 0x0A0A, 5, 4), commandText(0x0C00, 0x0A00, 5, 4)));
}

TEST_F(ElementCalls, AClassThatIsTooLargeLosesItsHighByte) {
    calls->getElementName(KOLMKey(4, 5, 0xFF000102));
    EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0x0C00, 0x00010208, 5, 4)));
}

TEST_F(ElementCalls, CachedClassesSendNothing) {
    openSession();
    EXPECT_STREQ(calls->getElementManufacturer(cached).value.c_str(), "a");
    EXPECT_STREQ(calls->getElementName(cached).value.c_str(), "b");
    EXPECT_STREQ(calls->getElementPartNumber(cached).value.c_str(), "");
    EXPECT_STREQ(calls->getElementDescription(cached).value.c_str(), "d");
    EXPECT_STREQ(calls->getElementManufactureDate(cached).value.ascii().c_str(),
                 "20200131000000.000000+000");
    EXPECT_STREQ(calls->getElementVersion(cached).value.c_str(), "f");
    EXPECT_STREQ(calls->getElementSerialNumber(cached).value.c_str(), "g");
    EXPECT_STREQ(calls->getElementInstanceID(cached).value.c_str(), "i");
    EXPECT_THAT(client.takeSent(), IsEmpty());
}

TEST_F(ElementCalls, AnEmptyCachedTextIsFound) {
    openSession();
    TraceCapture trace;
    EXPECT_EQ(calls->getElementPartNumber(cached).null, 0);
    EXPECT_FALSE(trace.contains("not found"));
}

TEST_F(ElementCalls, EachSaysWhatItDidNotFind) {
    TraceCapture trace;
    const KOLMKey unknown(1, 7, 13);
    EXPECT_EQ(calls->getElementManufacturer(unknown).null, 1);
    EXPECT_EQ(calls->getElementName(unknown).null, 1);
    EXPECT_EQ(calls->getElementPartNumber(unknown).null, 1);
    EXPECT_EQ(calls->getElementDescription(unknown).null, 1);
    EXPECT_EQ(calls->getElementManufactureDate(unknown).null, 1);
    EXPECT_EQ(calls->getElementVersion(unknown).null, 1);
    EXPECT_EQ(calls->getElementSerialNumber(unknown).null, 1);
    EXPECT_EQ(calls->getElementInstanceID(unknown).null, 1);
    EXPECT_THAT(client.takeSent(), IsEmpty());
    for (const char* text :
         {"getElementManufacturer():Manufacturer not found", "getElementName():Name not found",
          "getElementPartNumber():PartNumber not found",
          "getElementDescription():Description not found",
          "getElementManufactureDate():ManufactureDate not found",
          "getElementVersion():Version not found",
          "getElementSerialNumber():SerialNumber not found",
          "getElementInstanceID():InstanceID not found"}) {
        EXPECT_THAT(trace.messages(), testing::Contains(message(text)));
    }
}

TEST_F(ElementCalls, AnInstanceIdOfAnotherClassIsNotAskedFor) {
    TraceCapture trace;
    EXPECT_EQ(calls->getElementInstanceID(KOLMKey(1, 1, 2)).null, 1);
    EXPECT_THAT(client.takeSent(), IsEmpty());
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::getElementInstanceID()"),
                            message("getElementInstanceID():InstanceID not found")));
}

TEST_F(ElementCalls, AFailedRequestIsNotFoundToo) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(calls->getElementName(KOLMKey(1, 1, 2)).null, 1);
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getElementName()"),
                                              message("getElementName(): KolmRequest() failed"),
                                              message("getElementName():Name not found")));
}

TEST_F(ElementCalls, ADateThatCannotBeReadIsNull) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::of("\"spring\""));
    EXPECT_EQ(calls->getElementManufactureDate(KOLMKey(1, 1, 2)).null, 1);
    EXPECT_FALSE(trace.contains("not found"));
}

}  // namespace
}  // namespace varnock::test
