#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::ElementsAre;
using testing::IsEmpty;

class ControllerCalls : public RecordedCalls {
  protected:
    /// Component 1 is a SCSI, 2 a LAN and 3 a WAN controller.
    void openSession() {
        client.replyBy([](const SipJson& command) {
            if (command.OpCode() != 0x0C86) {
                return ScriptedReply::of(3);
            }
            const unsigned int kind = 11 + command.ObjectId();
            return ScriptedReply::ofBytes({0,   0, kind, 0, 0,   0, 'a', 0, 'b', 0, 0,   'd', 0,
                                           'e', 0, 'f',  0, 'g', 0, 'h', 0, 'i', 0, 'j', 0});
        });
        calls->openControllerCardSession(1);
        client.takeSent();
    }
};

TEST_F(ControllerCalls, ListsAreTheControllersThatWereRead) {
    EXPECT_THAT(calls->getLANControllers(1), IsEmpty());
    openSession();
    const auto one = [](const std::vector<KOLMKey>& keys, unsigned int object,
                        unsigned int componentClass) {
        return keys.size() == 1 && keys[0].cabinetNr == 8 && keys[0].objectId == object &&
               keys[0].opCodeExt == componentClass;
    };
    EXPECT_TRUE(one(calls->getSCSIControllers(8), 1, 12));
    EXPECT_TRUE(one(calls->getLANControllers(8), 2, 13));
    EXPECT_TRUE(one(calls->getWANControllers(8), 3, 14));
    EXPECT_THAT(client.takeSent(), IsEmpty());
}

TEST_F(ControllerCalls, ComponentIdAndLocationAreTheLastTexts) {
    openSession();
    EXPECT_STREQ(calls->getControllerComponentID(KOLMKey(0, 2, 13)).value.c_str(), "i");
    EXPECT_STREQ(calls->getControllerLocationKey(KOLMKey(0, 2, 13)).value.c_str(), "j");
    EXPECT_THAT(client.takeSent(), IsEmpty());
}

TEST_F(ControllerCalls, AControllerThatWasNotReadIsAFailure) {
    openSession();
    EXPECT_THAT(failureOf([&] { calls->getControllerComponentID(KOLMKey(0, 2, 12)); }),
                isFailure("getControllerComponentID(): KolmRequest() failed"));
    EXPECT_THAT(failureOf([&] { calls->getControllerLocationKey(KOLMKey(0, 9, 13)); }),
                isFailure("getControllerLocationKey(): KolmRequest() failed"));
    EXPECT_THAT(failureOf([&] { calls->getControllerLocationKey(KOLMKey(0, 2, 1)); }),
                isFailure("getControllerLocationKey(): KolmRequest() failed"));
}

TEST_F(ControllerCalls, TheLocationKeyIsUnknown) {
    TraceCapture trace;
    EXPECT_EQ(calls->getLocationKey(key).null, 1);
    EXPECT_THAT(client.takeSent(), IsEmpty());
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getLocationKey()")));
}

}  // namespace
}  // namespace varnock::test
