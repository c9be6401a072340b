#include <string>
#include <vector>

#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::ElementsAre;
using testing::IsEmpty;

/// A component record of this kind with these texts.
ScriptedReply record(unsigned int kind, const std::vector<std::string>& texts) {
    std::vector<unsigned int> bytes = {0, 0, kind, 0, 0, 0};
    for (const std::string& text : texts) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.push_back(0);
    }
    return ScriptedReply::ofBytes(bytes);
}

const std::vector<std::string> kTexts = {"maker", "name",   "part", "text3", "text4",
                                         "v1",    "serial", "42",   "id8",   "loc9"};

std::vector<std::string> textsWith(std::size_t index, const std::string& text) {
    std::vector<std::string> texts = kTexts;
    texts[index] = text;
    return texts;
}

class ScanCalls : public RecordedCalls {
  protected:
    /// Scripts a scan that returns these records.
    void scanTells(std::vector<ScriptedReply> records) {
        std::vector<ScriptedReply> replies = {
            ScriptedReply::of(7), ScriptedReply::of(static_cast<unsigned int>(records.size()))};
        replies.insert(replies.end(), records.begin(), records.end());
        client.script(replies);
    }
    std::vector<std::string> names() {
        std::vector<std::string> result;
        for (const provider::IdentityInfo& identity : calls->getIdentityInfo(key)) {
            result.emplace_back(identity.name.c_str());
        }
        return result;
    }
    std::string keys(const std::vector<KOLMKey>& list) {
        std::string text;
        for (const KOLMKey& each : list) {
            text += "(" + std::to_string(each.cabinetNr) + " " + std::to_string(each.objectId) +
                    " " + std::to_string(each.opCodeExt) + ")";
        }
        return text;
    }
};

TEST_F(ScanCalls, AnIdentityIsMadeOfItsTexts) {
    scanTells({record(1, kTexts)});
    const auto identities = calls->getIdentityInfo(key);
    ASSERT_EQ(identities.size(), 1u);
    EXPECT_STREQ(identities[0].name.c_str(), "name");
    EXPECT_STREQ(identities[0].version.c_str(), "v1");
    EXPECT_EQ(identities[0].number, 42u);
    EXPECT_STREQ(identities[0].manufacturer.c_str(), "maker");
    EXPECT_STREQ(identities[0].partNumber.c_str(), "part");
    EXPECT_STREQ(identities[0].serialNumber.c_str(), "serial");
    EXPECT_STREQ(identities[0].instanceId.c_str(), "id8");
}

TEST_F(ScanCalls, AnIdentityWithoutANumberHasZero) {
    for (const auto& [text, number] :
         std::vector<std::pair<std::string, unsigned int>>{{"", 0},
                                                           {"x7", 0},
                                                           {"7x", 7},
                                                           {"4294967295", 0xFFFFFFFF},
                                                           {"4294967296", 0},
                                                           {"99999999999999999999999", 0}}) {
        scanTells({record(1, textsWith(7, text))});
        EXPECT_EQ(calls->getIdentityInfo(key).at(0).number, number) << text;
    }
}

TEST_F(ScanCalls, IdentitiesNeedANameAndAVersion) {
    TraceCapture trace;
    scanTells({record(1, textsWith(1, "first")), record(1, textsWith(1, "")),
               record(1, textsWith(5, "")), record(1, textsWith(0, "")),
               record(1, textsWith(1, "last"))});
    EXPECT_THAT(names(), ElementsAre("first", "name", "last"));
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getIdentityInfo()")));
}

TEST_F(ScanCalls, SixKindsHaveNoIdentity) {
    for (unsigned int kind = 0; kind < 256; ++kind) {
        TraceCapture trace(5);
        scanTells({record(kind, kTexts), record(kind, {})});
        const bool has = !((kind >= 0xA0 && kind <= 0xA4) || kind == 0xA9);
        EXPECT_EQ(calls->getIdentityInfo(key).size(), has ? 1u : 0u) << kind;
        EXPECT_EQ(trace.count("getIdentityInfo(): wrong version info returned"), has ? 1u : 0u);
    }
}

TEST_F(ScanCalls, NineTextsAreAnotherVersion) {
    TraceCapture trace;
    std::vector<std::string> nine = kTexts;
    nine.pop_back();
    scanTells({record(1, nine), record(1, kTexts)});
    EXPECT_EQ(calls->getIdentityInfo(key).size(), 1u);
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::getIdentityInfo()"),
                            message("getIdentityInfo(): wrong version info returned")));
}

TEST_F(ScanCalls, ARecordThatIsTooShortForAKindIsAnotherVersion) {
    TraceCapture trace;
    scanTells({ScriptedReply::ofBytes({1, 2}), ScriptedReply::empty()});
    EXPECT_THAT(calls->getIdentityInfo(key), IsEmpty());
    EXPECT_EQ(trace.count("getIdentityInfo(): wrong version info returned"), 2u);
}

TEST_F(ScanCalls, IdentitiesThrowWithoutAScan) {
    client.replyWith(ScriptedReply::failure());
    EXPECT_THAT(failureOf([&] { calls->getIdentityInfo(key); }),
                isFailure("getIdentityInfo(): KolmRequest(CM_VInfoScanOpen) failed"));
    client.replyWith(ScriptedReply::empty());
    EXPECT_THAT(failureOf([&] { calls->getIdentityInfo(key); }),
                isFailure("getIdentityInfo(): session token invalid"));
    EXPECT_EQ(client.takeSent().size(), 2u);
}

TEST_F(ScanCalls, IdentitiesThrowWithoutACount) {
    client.script({ScriptedReply::of(7), ScriptedReply::failure()});
    EXPECT_THAT(failureOf([&] { calls->getIdentityInfo(key); }),
                isFailure("getIdentityInfo(): KolmRequest(CM_VInfoNumberComponents) failed"));
    EXPECT_EQ(client.takeSent().back(), commandText(0x0C83, 7, 0, key.cabinetNr));
}

TEST_F(ScanCalls, ReadsAndCloseOfIdentitiesFailWithATraceOnly) {
    TraceCapture trace;
    client.script({ScriptedReply::of(7), ScriptedReply::of(1), ScriptedReply::failure(),
                   ScriptedReply::failure()});
    EXPECT_THAT(calls->getIdentityInfo(key), IsEmpty());
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::getIdentityInfo()"),
                            message("getIdentityInfo(): KolmRequest(CM_VInfoComponentInfo) failed"),
                            message("getIdentityInfo(): KolmRequest(CM_VInfoScanClose) failed")));
}

TEST_F(ScanCalls, ControllerKeysNameClassAndIndex) {
    scanTells({record(13, kTexts), record(1, kTexts), record(12, std::vector<std::string>(10)),
               record(14, kTexts), record(13, kTexts)});
    EXPECT_EQ(keys(calls->getControllerCardKeys(5)), "(5 3 12)(5 1 13)(5 5 13)(5 4 14)");
    EXPECT_THAT(client.takeSent().front(), commandText(0x0C82, 0, 0, 5));
}

TEST_F(ScanCalls, ControllerKeysDoNotFillTheCaches) {
    scanTells({record(13, kTexts)});
    EXPECT_EQ(calls->getControllerCardKeys(5).size(), 1u);
    EXPECT_THAT(calls->getLANControllers(5), IsEmpty());
}

TEST_F(ScanCalls, ControllersOfAnotherVersionAreLeftOut) {
    TraceCapture trace;
    scanTells({record(13, {"a"}), record(1, {"a"}), ScriptedReply::empty()});
    EXPECT_THAT(calls->getControllerCardKeys(5), IsEmpty());
    const std::string text = message("getControllerCardKeys(): wrong version info returned");
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::getControllerCardKeys()"), text, text));
}

TEST_F(ScanCalls, ControllerCallsReturnAtOnceWithoutAScan) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::failure());
    EXPECT_THAT(calls->getControllerCardKeys(5), IsEmpty());
    calls->openControllerCardSession(5);
    client.replyWith(ScriptedReply::empty());
    EXPECT_THAT(calls->getControllerCardKeys(5), IsEmpty());
    calls->openControllerCardSession(5);
    EXPECT_EQ(client.takeSent().size(), 4u);
    EXPECT_THAT(
        trace.messages(),
        ElementsAre(message("Kolm::getControllerCardKeys()"),
                    message("getControllerCardKeys(): KolmRequest(CM_VInfoScanOpen) failed"),
                    message("Kolm::openControllerCardSession()"),
                    message("openControllerCardSession(): KolmRequest(CM_VInfoScanOpen) failed"),
                    message("Kolm::getControllerCardKeys()"),
                    message("getControllerCardKeys(): session token invalid"),
                    message("Kolm::openControllerCardSession()"),
                    message("openControllerCardSession(): session token invalid")));
}

TEST_F(ScanCalls, ControllerCallsThrowWithoutACount) {
    client.script({ScriptedReply::of(7), ScriptedReply::failure()});
    EXPECT_THAT(failureOf([&] { calls->getControllerCardKeys(5); }),
                isFailure("getControllerCardKeys(): KolmRequest(CM_VInfoNumberComponents) failed"));
    EXPECT_EQ(client.takeSent().back(), commandText(0x0C83, 7, 0, 5));
    client.script({ScriptedReply::of(7), ScriptedReply::failure()});
    EXPECT_THAT(
        failureOf([&] { calls->openControllerCardSession(5); }),
        isFailure("openControllerCardSession(): KolmRequest(CM_VInfoNumberComponents) failed"));
    EXPECT_EQ(client.takeSent().back(), commandText(0x0C83, 7, 0, 5));
}

TEST_F(ScanCalls, OneSessionAddsToAnother) {
    scanTells({record(13, kTexts), record(12, kTexts)});
    calls->openControllerCardSession(1);
    scanTells({record(13, textsWith(1, "new")), record(1, kTexts), record(13, kTexts)});
    calls->openControllerCardSession(1);
    EXPECT_EQ(keys(calls->getLANControllers(9)), "(9 1 13)(9 3 13)");
    EXPECT_EQ(keys(calls->getSCSIControllers(9)), "(9 2 12)");
    EXPECT_STREQ(calls->getElementName(KOLMKey(9, 1, 13)).value.c_str(), "new");
}

}  // namespace
}  // namespace varnock::test
