#include "transport/SipJson.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <climits>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/FailingMalloc.h"
#include "tests/support/Sanitizers.h"
#include "tests/transport/record/SipJsonSupport.h"
#include "transport/DataStream.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- Construction and reset ---------------------------------------------------------------------

TEST(SipJson, FreshRecordHasNoCommands) {
    const SipJson record;
    EXPECT_EQ(record.Export(), kSkeleton);
    expectDefaults(record);
}

TEST(SipJson, IsNotCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<SipJson>);
    EXPECT_FALSE(std::is_copy_assignable_v<SipJson>);
}

TEST(SipJson, FiveNumbersMakeOneCommand) {
    const SipJson record(0x1234, 2, 3, 4, 5);
    EXPECT_EQ(record.Export(),
              R"({"SIP":{"V":1,"CMD":[{"OC":4660,"OE":2,"OI":3,"CA":4,"ST":5}]}})");
}

TEST(SipJson, ClassInitStartsOver) {
    Imported record("1,2");
    record.ClassInit();
    EXPECT_EQ(record.Export(), kSkeleton);
    record.Import("[1]");
    record.ClassInit();
    EXPECT_EQ(record.Export(), kSkeleton);
}

TEST(SipJson, JsonInitLeavesOneSkeletonInTheRoot) {
    SipJson record;
    record.Import(R"({"a":1,"SIP":2})");
    record.JsonInit();
    EXPECT_EQ(record.Export(), R"({"a":1,"SIP":{"V":1,"CMD":[]}})");
    record.JsonInit();
    EXPECT_EQ(record.Export(), R"({"a":1,"SIP":{"V":1,"CMD":[]}})");
    record.Import("5");
    record.JsonInit();
    EXPECT_EQ(record.Export(), "5");
}

TEST(SipJson, ClearDropsTheCommandsAlone) {
    SipJson record;
    record.Import(R"({"SIP":{"V":7,"X":1,"CMD":[{"OC":1},{"OC":2}]}})");
    record.Clear();
    EXPECT_EQ(record.Export(), R"({"SIP":{"V":7,"X":1,"CMD":[]}})");
    record.Import(R"({"SIP":{"CMD":{}}})");
    record.Clear();
    EXPECT_EQ(record.Export(), R"({"SIP":{"CMD":{}}})");
}

TEST(SipJson, ClearDataTellsWhetherThereWasSome) {
    Imported record(R"({"OC":1,"DA":2,"ST":3})");
    EXPECT_TRUE(record.ClearData());
    EXPECT_EQ(commandsOf(record), R"({"OC":1,"ST":3})");
    EXPECT_FALSE(record.ClearData());
    EXPECT_FALSE(SipJson().ClearData());
    EXPECT_FALSE(Imported("5").ClearData());
    record.Import("[]");
    EXPECT_FALSE(record.ClearData());
}

TEST(SipJson, ClearDataMakesNoCommand) {
    SipJson record;
    record.ClearData();
    EXPECT_EQ(record.Export(), kSkeleton);
}

TEST(SipJson, ClearDataUncoversNoDuplicate) {
    Imported record(R"({"DA":1,"OC":2,"DA":3})");
    EXPECT_TRUE(record.ClearData());
    EXPECT_EQ(commandsOf(record), R"({"OC":2})");
}

TEST(SipJson, RemovesManyDuplicatesAtOnce) {
    std::string members = R"("OC":1)";
    for (int i = 0; i < 100000; ++i) {
        members += R"(,"ST":1)";
    }
    Imported record("{" + members + "}");
    EXPECT_TRUE(record.SetRequestDataStream({}));
    EXPECT_EQ(commandsOf(record), R"({"OC":1})");
}

TEST(SipJson, StaysAsItIsWhereThereIsNoMemoryForLargeData) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::string text(5000, 'x');
    const std::vector<unsigned char> bytes(5000, 7);
    for (const bool asText : {true, false}) {
        SipJson record(1, 0, 0, 2, 0);
        record.SetDataDWord(9, 0);
        const std::string before = record.Export();
        const auto set = [&] {
            return asText ? record.SetDataString(text.c_str(), 0)
                          : record.SetRequestDataStream(bytes);
        };
        bool thrown = false;
        {
            const FailingMalloc failure(1);
            try {
                set();
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
        }
        EXPECT_TRUE(thrown);
        EXPECT_EQ(record.Export(), before);
        EXPECT_TRUE(set());
        EXPECT_EQ(record.GetCmdDataSize(0), asText ? 5001u : 5000u);
    }
}

// --- Command selection --------------------------------------------------------------------------

TEST(SipJson, GivesItsCommands) {
    SipJson record;
    ASSERT_NE(record.GetCmds(), nullptr);
    EXPECT_EQ(record.GetCmds()->Size(), 0u);
    record.Import(R"({"SIP":{"CMD":[{"OC":1},2]}})");
    const SipJson& constRecord = record;
    ASSERT_NE(constRecord.GetCmds(), nullptr);
    EXPECT_EQ(constRecord.GetCmds()->Size(), 2u);
}

TEST(SipJson, HasNoCommandsInPlaceOfWhatACallerMadeOfThem) {
    SipJson record(1, 2, 3, 4, 0);
    record.GetCmds()->SetNull();
    EXPECT_EQ(record.GetCmds(), nullptr);
    expectDefaults(record);
    EXPECT_TRUE(record.SetCmd(1, 0, 0, 2, 0));
    EXPECT_EQ(record.Export(), R"({"SIP":{"V":1,"CMD":[{"OC":1,"CA":2,"ST":0}]}})");
}

TEST(SipJson, HasTheCommandsOfANewSkeleton) {
    SipJson record;
    for (const char* text : {R"({"a":0,"SIP":5})", R"({"SIP":{"CMD":[{"OC":1}]},"a":0})", "{}"}) {
        record.Import(text);
        record.JsonInit();
        ASSERT_NE(record.GetCmds(), nullptr) << text;
        EXPECT_TRUE(record.GetCmds()->Empty()) << text;
        EXPECT_TRUE(record.SetCmd(7, 0, 0, 0, 0));
        EXPECT_EQ(record.OpCode(), 7U);
    }
}

TEST(SipJson, MakesTheCurrentCommandWhenItIsMissing) {
    SipJson record;
    SipJson::Value* command = record.GetCmd();
    ASSERT_NE(command, nullptr);
    EXPECT_TRUE(command->IsObject());
    EXPECT_EQ(record.Export(), R"({"SIP":{"V":1,"CMD":[{}]}})");
    EXPECT_EQ(record.GetCmd(), command);
    EXPECT_TRUE(Imported("7").GetCmd()->IsInt());
}

class SipJsonOfWrongShape : public testing::TestWithParam<const char*> {};

TEST_P(SipJsonOfWrongShape, KeepsTheDocumentAndRefusesSetters) {
    SipJson record(1, 2, 3, 4, 0);
    record.Import(GetParam());
    expectDefaults(record);
    EXPECT_EQ(record.GetCmds(), nullptr);
    EXPECT_EQ(record.GetCmd(), nullptr);
    EXPECT_FALSE(record.SetStatus(0));
    EXPECT_FALSE(record.SetDataByte(1, 0));
    EXPECT_FALSE(record.SetDataWord(1, 0));
    EXPECT_FALSE(record.SetDataDWord(1, 0));
    EXPECT_FALSE(record.SetDataString("x", 0));
    EXPECT_FALSE(record.SetRequestDataStream({1}));
    EXPECT_FALSE(record.SetRequestDataStream({}));
    EXPECT_FALSE(record.ClearData());
    record.Clear();
    EXPECT_EQ(record.Export(), GetParam());
}

TEST_P(SipJsonOfWrongShape, IsUsableAgainAfterSetCmd) {
    SipJson record;
    record.Import(GetParam());
    EXPECT_TRUE(record.SetCmd(1, 0, 0, 2, 0));
    EXPECT_EQ(record.Export(), R"({"SIP":{"V":1,"CMD":[{"OC":1,"CA":2,"ST":0}]}})");
}

INSTANTIATE_TEST_SUITE_P(Documents, SipJsonOfWrongShape,
                         testing::Values("5", "[]", "null", "true", R"("SIP")", "{}",
                                         R"({"SIP":5})", R"({"SIP":[]})", R"({"SIP":{}})",
                                         R"({"SIP":{"V":1,"CMD":{"OC":1}}})",
                                         R"({"SIP":{"V":1,"CMD":null}})", R"({"sip":{"CMD":[]}})",
                                         R"([{"SIP":{"CMD":[]}}])"));

TEST(SipJson, RefusesSettersOfACommandThatIsNoObject) {
    for (const char* command : {"5", "null", "[]", R"("OC")"}) {
        Imported record(command);
        expectDefaults(record);
        EXPECT_FALSE(record.SetStatus(0));
        EXPECT_FALSE(record.SetDataDWord(1, 0));
        EXPECT_FALSE(record.SetDataString("x", 0));
        EXPECT_FALSE(record.SetRequestDataStream({1}));
        EXPECT_EQ(commandsOf(record), command);
        EXPECT_TRUE(record.SetCmd(1, 0, 0, 0, 0));
        EXPECT_EQ(commandsOf(record), R"({"OC":1,"CA":0,"ST":0})");
    }
}

// --- Setters ------------------------------------------------------------------------------------

TEST(SipJson, SetCmdWritesZeroExtensionAndObjectNotAtAll) {
    SipJson record;
    EXPECT_TRUE(record.SetCmd(0x1234, 0, 0, 0, 0xFFFFFFFF));
    EXPECT_EQ(commandsOf(record), R"({"OC":4660,"CA":0})");
    EXPECT_TRUE(record.SetCmd(0, 0, 0, 0, 0));
    EXPECT_EQ(commandsOf(record), R"({"OC":0,"CA":0,"ST":0})");
}

TEST(SipJson, SetCmdTakesAll32Bits) {
    const SipJson record(0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD, 0xFFFFFFFC, 0xFFFFFFFE);
    EXPECT_EQ(record.OpCode(), 0xFFFFFFFF);
    EXPECT_EQ(record.OpCodeExt(), 0xFFFFFFFE);
    EXPECT_EQ(record.ObjectId(), 0xFFFFFFFD);
    EXPECT_EQ(record.CabinetNr(), 0xFFFFFFFC);
    EXPECT_EQ(record.Status(), 0xFFFFFFFE);
}

TEST(SipJson, SetCmdDropsOldDataAndStatus) {
    SipJson record(1, 2, 3, 4, 5);
    record.SetDataString("old", 0);
    record.SetCmd(9, 0, 0, 1, SipJson::noStatus);
    EXPECT_EQ(commandsOf(record), R"({"OC":9,"CA":1})");
}

TEST(SipJson, SetCmdLeavesOtherCommands) {
    Imported record(R"({"OC":1},{"OC":2})");
    record.SetCmd(3, 0, 0, 0, 0);
    EXPECT_EQ(commandsOf(record), R"({"OC":3,"CA":0,"ST":0},{"OC":2})");
}

TEST(SipJson, SetStatusMakesTheCommand) {
    SipJson record;
    EXPECT_TRUE(record.SetStatus(0));
    EXPECT_EQ(commandsOf(record), R"({"ST":0})");
    EXPECT_TRUE(record.SetStatus(19));
    EXPECT_EQ(commandsOf(record), R"({"ST":19})");
}

TEST(SipJson, NumbersAreNarrowedToTheirWidth) {
    SipJson record(1, 0, 0, 0, SipJson::noStatus);
    EXPECT_TRUE(record.SetDataWord(static_cast<unsigned short>(0x12345), 0));
    EXPECT_EQ(commandsOf(record), R"({"OC":1,"CA":0,"DA":9029,"ST":0})");
    EXPECT_TRUE(record.SetDataByte(static_cast<unsigned char>(0x1FF), 0));
    EXPECT_EQ(record.DataByte(), 0xFFu);
    EXPECT_TRUE(record.SetDataDWord(0xFFFFFFFF, 0));
    EXPECT_EQ(commandsOf(record), R"({"OC":1,"CA":0,"DA":4294967295,"ST":0})");
}

TEST(SipJson, DataSettersOverwriteInPlaceAndPutTheStatusBehind) {
    SipJson record(1, 0, 0, 0, 7);
    record.SetDataString("x", 3);
    EXPECT_EQ(commandsOf(record), R"({"OC":1,"CA":0,"ST":3,"DA":"x"})");
    record.SetCmd(1, 0, 0, 0, SipJson::noStatus);
    record.SetDataString("x", 0);
    EXPECT_EQ(commandsOf(record), R"({"OC":1,"CA":0,"DA":"x","ST":0})");
    record.SetDataByte(5, 1);
    EXPECT_EQ(commandsOf(record), R"({"OC":1,"CA":0,"DA":5,"ST":1})");
}

TEST(SipJson, TextIsCopiedUnchanged) {
    SipJson record;
    {
        const std::string text = "a \"quoted\" \\ line\n\x01\xC3\xA4";
        EXPECT_TRUE(record.SetDataString(text.c_str(), 0));
    }
    EXPECT_EQ(commandsOf(record),
              "{\"DA\":\"a \\\"quoted\\\" \\\\ line\\n\\u0001\xC3\xA4\",\"ST\":0}");
    std::string out;
    EXPECT_TRUE(record.GetDataString(out));
    EXPECT_EQ(out, "a \"quoted\" \\ line\n\x01\xC3\xA4");
}

TEST(SipJson, NullTextIsAnEmptyOne) {
    SipJson record;
    EXPECT_TRUE(record.SetDataString(nullptr, 0));
    EXPECT_EQ(commandsOf(record), R"({"DA":"","ST":0})");
}

TEST(SipJson, TakesTextOutOfItsOwnDocument) {
    SipJson record;
    record.SetDataString("a text too long to be held in the value itself", 0);
    const char* own = (*record.GetCmd())["DA"].GetString();
    EXPECT_TRUE(record.SetDataString(own, 0));
    std::string out;
    EXPECT_TRUE(record.GetDataString(out));
    EXPECT_EQ(out, "a text too long to be held in the value itself");
    record.SetDataString(R"({"SIP":{"CMD":[{"OC":77,"padding":"0123456789"}]}})", 0);
    record.Import((*record.GetCmd())["DA"].GetString());
    EXPECT_EQ(record.OpCode(), 77u);
}

TEST(SipJson, ByteBlockGoesOutWithoutStatus) {
    SipJson record(0xFFA0, 0x1100, 0, 0, 5);
    EXPECT_TRUE(record.SetRequestDataStream({110, 97, 0, 255}));
    EXPECT_EQ(commandsOf(record), R"({"OC":65440,"OE":4352,"CA":0,"DA":{"RAW":[110,97,0,255]}})");
}

TEST(SipJson, EmptyByteBlockRemovesDataAndStatus) {
    SipJson record(1, 0, 0, 0, 5);
    record.SetDataByte(1, 0);
    EXPECT_TRUE(record.SetRequestDataStream({}));
    EXPECT_EQ(commandsOf(record), R"({"OC":1,"CA":0})");
    EXPECT_TRUE(record.SetRequestDataStream({}));
}

TEST(SipJson, ByteBlockReplacesDataInItsPlace) {
    Imported record(R"({"DA":{"X":1,"RAW":[1,2,3]},"ST":0,"Z":1})");
    EXPECT_TRUE(record.SetRequestDataStream({9}));
    EXPECT_EQ(commandsOf(record), R"({"DA":{"RAW":[9]},"Z":1})");
    Imported text(R"({"OC":1,"DA":"text","CA":2})");
    EXPECT_TRUE(text.SetRequestDataStream({8, 7}));
    EXPECT_EQ(commandsOf(text), R"({"OC":1,"DA":{"RAW":[8,7]},"CA":2})");
}

TEST(SipJson, TakesABlockFromADataStream) {
    CDataStream stream;
    stream[3] = 4;
    SipJson record;
    record.SetRequestDataStream(stream.Data());
    CDataStream reply;
    EXPECT_TRUE(record.GetDataStream(reply.Data()));
    EXPECT_THAT(reply.Data(), ElementsAre(0, 0, 0, 4));
}

TEST(SipJson, RemovesMembersInOrder) {
    Imported record(R"({"ST":1,"A":2,"B":3,"C":4})");
    record.SetRequestDataStream({});
    EXPECT_EQ(commandsOf(record), R"({"A":2,"B":3,"C":4})");
}

}  // namespace
}  // namespace varnock::test
