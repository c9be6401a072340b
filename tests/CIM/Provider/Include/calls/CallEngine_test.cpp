#include "CIM/Provider/Include/calls/CallEngine.h"

#include <optional>
#include <set>
#include <tuple>

#include "CIM/Provider/Include/calls/Kolm.h"
#include "tests/CIM/Provider/Include/calls/CallsFixture.h"
#include "tests/CIM/Provider/Include/calls/CatalogueRows.h"
#include "tests/support/EveryAllocation.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Sanitizers.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::ElementsAre;
using testing::IsEmpty;

using EngineCalls = RecordedCalls;

TEST_F(EngineCalls, ACountingCallAsksWithoutStatus) {
    client.replyWith(ScriptedReply::of(7));
    EXPECT_EQ(calls->getNumberFans(3), 7);
    EXPECT_THAT(client.takeSent(),
                ElementsAre("{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":768,\"CA\":3}]}}"));
}

TEST_F(EngineCalls, ACountingCallWithoutDataGivesZero) {
    client.replyWith(ScriptedReply::empty());
    EXPECT_EQ(calls->getNumberFans(3), 0);
}

TEST_F(EngineCalls, EntryAndFailureHaveTheirTexts) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(calls->getNumberFans(0x1F), 0);
    EXPECT_THAT(trace.lines().front(), testing::HasSubstr("KRM_TBL             : Kolm::"));
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getNumberFans(1f)"),
                                              message("getNumberFans(): KolmRequest() failed")));
}

TEST_F(EngineCalls, AComponentTextHasOneEntryTextWhateverItAddresses) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(calls->getFanName(key).null, 1);
    EXPECT_EQ(calls->getAgentVersion(key).null, 1);
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getFanName()"),
                                              message("getFanName(): KolmRequest() failed"),
                                              message("Kolm::AgentVersion()"),
                                              message("AgentVersion(): KolmRequest() failed")));
}

TEST_F(EngineCalls, TwoCallsTraceUnderTheNameOfAnother) {
    TraceCapture trace;
    calls->getCPUName(key);
    calls->getSystemBoardSerialNumber(key);
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getCPUModelName()"),
                                              message("Kolm::getSystemBoardVersion()")));
}

TEST_F(EngineCalls, AModelIsTheTextOfTheName) {
    client.replyWith(ScriptedReply::of("\"X\""));
    calls->getChassisName(key);
    calls->getChassisModel(key);
    const std::vector<std::string> sent = client.takeSent();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0], sent[1]);
}

TEST_F(EngineCalls, AnEmptyTextIsNotNull) {
    client.replyWith(ScriptedReply::of("\"\""));
    const auto text = calls->getFanName(key);
    EXPECT_EQ(text.null, 0);
    EXPECT_STREQ(text.value.c_str(), "");
}

TEST_F(EngineCalls, ATextMayComeAsBytes) {
    client.replyWith(ScriptedReply::ofBytes({'a', 'b', 0, 'c'}));
    EXPECT_STREQ(calls->getFanName(key).value.c_str(), "ab");
}

TEST_F(EngineCalls, AnUnreadableDateIsNullAndNoFailure) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::of("\"week 12\""));
    EXPECT_EQ(calls->getFanManufacturerDate(key).null, 1);
    EXPECT_THAT(failures.messages(), IsEmpty());
}

TEST_F(EngineCalls, ASignedSettingKeepsItsSign) {
    client.replyWith(ScriptedReply::of("-5"));
    EXPECT_EQ(calls->getConfTimeZone().value, -5);
    EXPECT_EQ(calls->getConfBMCHttpPort(key).value, 0xFFFB);
}

TEST_F(EngineCalls, AFlagIsJudgedByItsByte) {
    client.replyWith(ScriptedReply::of(0x100));
    EXPECT_EQ(calls->getConfBMCUseDHCP(key).null, 0);
    EXPECT_FALSE(calls->getConfBMCUseDHCP(key).value);
    client.replyWith(ScriptedReply::of(0x102));
    EXPECT_TRUE(calls->getConfBMCUseDHCP(key).value);
}

TEST_F(EngineCalls, AMacAddressThatIsNoStreamHasATraceOfItsOwn) {
    client.replyWith(ScriptedReply::of("-1"));
    TraceCapture failures(1);
    EXPECT_EQ(calls->getNetworkInfoIfMacAddress(key).null, 1);
    EXPECT_EQ(calls->getIdentificationParentMacAddress(key).null, 1);
    EXPECT_EQ(calls->getConfBMCMACAddr(key).null, 1);
    const std::string text = message("getMacAddress(): Sip.GetDataStream() failed");
    EXPECT_THAT(failures.messages(), ElementsAre(text, text, text));
}

TEST_F(EngineCalls, ASetterThrowsWithASmallK) {
    client.replyWith(ScriptedReply::failure(19));
    EXPECT_THAT(failureOf([&] { calls->setConfServerAssetTag(key, "x"); }),
                isFailure("setConfServerAssetTag(): kolmRequest() failed"));
}

TEST_F(EngineCalls, TheLanguageSetterOnlyTraces) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::failure());
    calls->setConfCIMRecordLogLanguage(key, 9);
    EXPECT_THAT(failures.messages(),
                ElementsAre(message("setConfCIMRecordLogLanguage(): KolmRequest() failed")));
}

TEST_F(EngineCalls, ActionsReportFailureByTraceAlone) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::failure());
    calls->doRequestShutdownAndOff();
    EXPECT_THAT(failures.messages(),
                ElementsAre(message("doRequestShutdownAndOff(): KolmRequest() failed")));
}

TEST_F(EngineCalls, WithoutAClientEveryRequestFails) {
    ShPtr<provider::KOLMCalls> orphan = provider::newKOLMCalls(nullptr);
    SipJson record(1, 0, 0, 0, 0);
    EXPECT_EQ(orphan->getNumberFans(0), 0);
    EXPECT_EQ(orphan->getFanName(key).null, 1);
    EXPECT_THAT(failureOf([&] { orphan->getCabNrs(); }),
                isFailure("getCabNrs(): KolmRequest() failed"));
    EXPECT_NE(orphan->passThroughRequest(record), provider::KOLM_SUCCESS);
}

/// Runs the call repeatedly, each time with the next of its allocations failing. No std::bad_alloc
/// may leave the call: it fails in its failure style. The last round, without a failure, returns
/// its result.
template <class Call>
void exhaust(const Call& call) {
    for (std::size_t n = 1;; ++n) {
        ASSERT_LT(n, 10000u);
        bool happened = false;
        try {
            const FailingAllocation failure(n);
            try {
                call();
            } catch (const provider::BaseException&) {
            }
            happened = failure.happened();
        } catch (const std::exception& exception) {
            FAIL() << "allocation " << n << ": " << exception.what();
        }
        if (!happened) {
            break;
        }
    }
}

/// The same with every call of the C allocator, and without leaving a block behind.
template <class Call>
void exhaustMalloc(RecordingClient& client, const Call& call) {
    const auto tryCall = [&] {
        try {
            call();
        } catch (const provider::BaseException&) {
        }
    };
    tryCall();  // which fills the caches
    client.takeSent();
    forEveryAllocation([&](const FailingCallNumber& number) {
        FailingMalloc failure(number.n, number.times);
        EXPECT_NO_THROW(tryCall());
        failure.end();
        client.takeSent();
        EXPECT_EQ(failure.blocksLeft(), 0u);
        return failure.happened();
    });
}

/// A call of each kind: what it sends, how it decodes its reply and how it fails.
std::vector<const CatalogueRow*> kindsOfCalls() {
    std::vector<const CatalogueRow*> kinds;
    std::set<std::tuple<std::string_view, std::string_view, std::string_view, bool>> seen;
    for (const CatalogueRow& row : rows()) {
        const bool isOther = row.name == "passThroughRequest";
        if (!isOther &&
            seen.emplace(row.reply, row.returnType, row.failure, isSequence(row)).second) {
            kinds.push_back(&row);
        }
    }
    return kinds;
}

TEST_F(EngineCalls, NoFailureOfTheAllocatorLeavesACall) {
    SKIP_IF_MALLOC_IS_REPLACED();
    CallArguments arguments;
    arguments.text = "a text that is too long to be kept within a string";
    EXPECT_GT(kindsOfCalls().size(), 30u);
    for (const char* data : {"2", R"({"RAW":[2,0,1,0,3,4]})",
                             R"(["a text that is too long to be kept inside","b"])"}) {
        client.replyWith(ScriptedReply::of(data));
        for (const CatalogueRow* row : kindsOfCalls()) {
            SCOPED_TRACE(std::string(row->name) + " " + data);
            arguments.key = keyFor(*row);
            exhaustMalloc(client, [&] { findCall(row->name)->run(*calls, arguments); });
        }
    }
}

TEST_F(EngineCalls, NoFailureOfTheAllocatorLeavesAPassedRequest) {
    SKIP_IF_MALLOC_IS_REPLACED();
    client.replyWith(ScriptedReply::of("\"a text that is too long to be kept inside\""));
    const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& number) {
        std::optional<SipJson> record(std::in_place, 1, 0, 0, 0, 0);
        FailingMalloc failure(number.n, number.times);
        const int result = calls->passThroughRequest(*record);
        failure.end();
        EXPECT_EQ(result, failure.happened() ? provider::KOLM_FAILED : provider::KOLM_SUCCESS);
        record.reset();
        client.takeSent();
        EXPECT_EQ(failure.blocksLeft(), 0u);
        return failure.happened();
    });
    EXPECT_GT(failures, 10u);
}

TEST_F(EngineCalls, LackOfMemoryNeverLeavesACall) {
    CallArguments arguments;
    SipJson record(1, 0, 0, 0, 0);
    arguments.record = &record;
    arguments.text = "a text that is too long to be kept within a string";
    client.replyWith(ScriptedReply::of("[\"a text that is too long to be kept inside\",\"b\"]"));
    for (const CallEntry& call : callTable()) {
        SCOPED_TRACE(call.name);
        exhaust([&] { call.run(*calls, arguments); });
    }
}

TEST_F(EngineCalls, LackOfMemoryNeverLeavesACallWithLogEntries) {
    std::string entry = "16,0";
    for (int i = 2; i < 15; ++i) {
        entry += ",1";
    }
    client.replyWith(ScriptedReply::of("{\"RAW\":[" + entry + ",65," + entry + ",66]}"));
    ASSERT_EQ(calls->getLogMessageReadChunk(key).size(), 2u);
    exhaust([&] { calls->getLogMessageReadChunk(key); });
}

}  // namespace
}  // namespace varnock::test
