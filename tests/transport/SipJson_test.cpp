#include "transport/SipJson.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <climits>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/FailingAllocation.h"
#include "transport/DataStream.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using varnock::test::FailingAllocation;
using Bytes = std::vector<unsigned char>;

constexpr char skeleton[] = R"({"SIP":{"V":1,"CMD":[]}})";

/// A record imported from a document with these commands.
struct Imported : SipJson {
    explicit Imported(const std::string& commands) {
        Import((R"({"SIP":{"V":1,"CMD":[)" + commands + "]}}").c_str());
    }
};

/// A record whose one command has this data.
struct WithData : Imported {
    explicit WithData(const std::string& data) : Imported(R"({"ST":0,"DA":)" + data + "}") {}
};

std::string commandsOf(const SipJson& record) {
    const std::string text = record.Export();
    const std::string head = R"({"SIP":{"V":1,"CMD":[)";
    const std::string tail = "]}}";
    EXPECT_EQ(text.substr(0, head.size()), head);
    return text.substr(head.size(), text.size() - head.size() - tail.size());
}

Bytes streamOf(const SipJson& record) {
    Bytes out = {0xEE};
    EXPECT_TRUE(record.GetDataStream(out));
    return out;
}

bool hasNoStream(const SipJson& record) {
    Bytes out = {0xEE};
    const bool read = record.GetDataStream(out);
    EXPECT_THAT(out, ElementsAre(0xEE)) << "the output is left alone";
    return !read;
}

void expectDefaults(const SipJson& record) {
    EXPECT_EQ(record.OpCode(), 0u);
    EXPECT_EQ(record.OpCodeExt(), 0u);
    EXPECT_EQ(record.ObjectId(), 0u);
    EXPECT_EQ(record.CabinetNr(), 0u);
    EXPECT_EQ(record.Status(), 22u);
    EXPECT_FALSE(record.Success());
    EXPECT_EQ(record.UIntValue(), 0u);
    std::string text = "kept";
    EXPECT_FALSE(record.GetDataString(text));
    EXPECT_EQ(text, "kept");
    EXPECT_TRUE(hasNoStream(record));
    EXPECT_EQ(record.GetCmdDataSize(0), 0u);
    EXPECT_FALSE(record.HasCmdDataSize(0, 0, 0));
    EXPECT_FALSE(record.HasReplyData());
}

// --- Construction and reset ---------------------------------------------------------------------

TEST(SipJson, FreshRecordHasNoCommands) {
    const SipJson record;
    EXPECT_EQ(record.Export(), skeleton);
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
    EXPECT_EQ(record.Export(), skeleton);
    record.Import("[1]");
    record.ClassInit();
    EXPECT_EQ(record.Export(), skeleton);
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
    EXPECT_EQ(record.Export(), skeleton);
}

TEST(SipJson, ClearDataUncoversNoDuplicate) {
    Imported record(R"({"DA":1,"OC":2,"DA":3})");
    EXPECT_TRUE(record.ClearData());
    EXPECT_EQ(commandsOf(record), R"({"OC":2})");
}

TEST(SipJson, RemovesManyDuplicatesAtOnce) {
    std::string members = R"("OC":1)";
    for (int i = 0; i < 100000; ++i) members += R"(,"ST":1)";
    Imported record("{" + members + "}");
    EXPECT_TRUE(record.SetRequestDataStream({}));
    EXPECT_EQ(commandsOf(record), R"({"OC":1})");
}

TEST(SipJson, StaysAsItIsWhereThereIsNoMemoryForLargeData) {
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
            const FailingAllocation failure(1);
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

// --- Getters ------------------------------------------------------------------------------------

TEST(SipJson, FourStatusesAreSuccess) {
    for (unsigned int status = 0; status < 300; ++status)
        EXPECT_EQ(SipJson::CmdStatusSuccess(status),
                  status == 0 || status == 12 || status == 21 || status == 255)
            << status;
    EXPECT_FALSE(SipJson::CmdStatusSuccess(0xFFFFFFFF));
    EXPECT_TRUE(SipJson(1, 0, 0, 0, 21).Success());
    EXPECT_FALSE(SipJson(1, 0, 0, 0, 19).Success());
}

TEST(SipJson, MissingStatusIsAFailure) {
    const SipJson record(1, 2, 3, 4, SipJson::noStatus);
    EXPECT_EQ(record.Status(), 22u);
    EXPECT_FALSE(record.Success());
}

TEST(SipJson, ValuesThatAreNoUnsigned32BitNumberReadAsTheDefault) {
    for (const char* value : {R"("0")", "-1", "1.0", "0.5", "4294967296", "true", "null", "[]",
                              "{}", "-2147483649", "1e2"}) {
        const Imported record(std::string(R"({"ST":)") + value + R"(,"OC":)" + value + "}");
        EXPECT_EQ(record.Status(), 22u) << value;
        EXPECT_EQ(record.OpCode(), 0u) << value;
        EXPECT_EQ(record.GetCmdValue(0, "ST", 77), 77u) << value;
    }
    EXPECT_EQ(Imported(R"({"ST":4294967295})").Status(), 4294967295u);
    EXPECT_EQ(Imported(R"({"ST":2147483648})").Status(), 2147483648u);
}

TEST(SipJson, ReadsAnyCommandByIndex) {
    const Imported record(R"({"OC":1,"X":5},null,{"OC":2,"DA":3})");
    EXPECT_EQ(record.GetCmdValue(0, "X", 9), 5u);
    EXPECT_EQ(record.GetCmdValue(1, "OC", 9), 9u);
    EXPECT_EQ(record.GetCmdValue(2, "OC", 9), 2u);
    EXPECT_EQ(record.GetCmdDataSize(2), 8u);
    unsigned int number = 0;
    EXPECT_TRUE(record.GetCmdUIntData(2, number));
    EXPECT_EQ(number, 3u);
}

TEST(SipJson, IndexesOutOfRangeReadAsMissing) {
    const Imported record(R"({"OC":1,"DA":3})");
    for (const int index : {-1, 1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(record.GetCmdValue(index, "OC", 9), 9u);
        unsigned int number = 4;
        std::string text;
        Bytes bytes;
        EXPECT_FALSE(record.GetCmdUIntData(index, number));
        EXPECT_EQ(number, 4u);
        EXPECT_FALSE(record.GetCmdDataString(index, text, 0));
        EXPECT_FALSE(record.GetCmdDataStream(index, bytes));
        EXPECT_EQ(record.GetCmdDataSize(index), 0u);
        EXPECT_FALSE(record.HasCmdDataSize(index, 0, 1));
    }
    EXPECT_EQ(record.GetCmdValue(0, nullptr, 9), 9u);
    EXPECT_EQ(record.GetCmdValue(0, "", 9), 9u);
}

TEST(SipJson, FirstOfDuplicateKeysWins) {
    SipJson record;
    record.Import(
        R"({"SIP":{"CMD":[{"OC":1,"OC":2,"DA":{"RAW":[1],"RAW":[2]},"DA":"x"}],"CMD":[]},"SIP":5})");
    EXPECT_EQ(record.OpCode(), 1u);
    EXPECT_EQ(record.UIntValue(), 1u);
    record.SetStatus(3);
    EXPECT_EQ(record.Status(), 3u);
}

TEST(SipJson, KeysMustMatchWholly) {
    EXPECT_EQ(Imported(R"({"O":1,"OCX":2,"oc":3,"OC\u0000":4})").OpCode(), 0u);
}

struct NumberCase {
    const char* data;
    bool read;
    unsigned int value;
};

class SipJsonNumber : public testing::TestWithParam<NumberCase> {};

TEST_P(SipJsonNumber, IsReadOrLeftAlone) {
    const WithData record(GetParam().data);
    unsigned int out = 0xABCD;
    EXPECT_EQ(record.GetCmdUIntData(0, out), GetParam().read);
    EXPECT_EQ(out, GetParam().read ? GetParam().value : 0xABCD);
    EXPECT_EQ(record.UIntValue(), GetParam().value);
    EXPECT_EQ(record.DataByte(), GetParam().value) << "no masking";
    EXPECT_EQ(record.DataWord(), GetParam().value) << "no masking";
    EXPECT_EQ(record.DataDWord(), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Data, SipJsonNumber,
    testing::Values(
        NumberCase{"0", true, 0}, NumberCase{"305419896", true, 0x12345678},
        NumberCase{"4294967295", true, 0xFFFFFFFF}, NumberCase{"-1", true, 0xFFFFFFFF},
        NumberCase{"-2147483648", true, 0x80000000}, NumberCase{"4294967296", false, 0},
        NumberCase{"-2147483649", false, 0}, NumberCase{"18446744073709551615", false, 0},
        NumberCase{"1.0", false, 0}, NumberCase{"1e3", false, 0}, NumberCase{"null", false, 0},
        NumberCase{"true", false, 0}, NumberCase{R"("5")", false, 0}, NumberCase{"[5]", false, 0},
        NumberCase{"{}", false, 0}, NumberCase{R"({"RAW":5})", false, 0},
        NumberCase{R"({"RAW":[]})", false, 0}, NumberCase{R"({"RAW":[52]})", true, 0x34},
        NumberCase{R"({"RAW":[74565]})", true, 74565},
        NumberCase{R"({"RAW":[-1]})", true, 0xFFFFFFFF}, NumberCase{R"({"RAW":["x"]})", true, 0},
        NumberCase{R"({"RAW":[52,18]})", true, 0x1234},
        NumberCase{R"({"RAW":[308,-238]})", true, 0x1234},
        NumberCase{R"({"RAW":[1,2,3]})", true, 0x00030201},
        NumberCase{R"({"RAW":[1,2,3,4]})", true, 0x04030201},
        NumberCase{R"({"RAW":[256,0,0,0]})", true, 256},
        NumberCase{R"({"RAW":[-1,1,0,0]})", true, 0xFF},
        NumberCase{R"({"RAW":[1,null,"2",1.5]})", true, 1},
        NumberCase{R"({"RAW":[1,2,3,4,5,6]})", true, 0x04030201}));

struct TextCase {
    const char* data;
    unsigned long offset;
    bool read;
    const char* text;  ///< "kept" where the output is left alone
};

class SipJsonText : public testing::TestWithParam<TextCase> {};

TEST_P(SipJsonText, IsReadOrLeftAlone) {
    const WithData record(GetParam().data);
    std::string out = "kept";
    EXPECT_EQ(record.GetCmdDataString(0, out, GetParam().offset), GetParam().read);
    EXPECT_EQ(out, GetParam().text);
    if (GetParam().offset != 0) return;
    out = "kept";
    EXPECT_EQ(record.GetDataString(out), GetParam().read);
    EXPECT_EQ(out, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Data, SipJsonText,
    testing::Values(TextCase{R"("abc")", 0, true, "abc"}, TextCase{R"("")", 0, true, ""},
                    TextCase{R"("abc")", 1, false, "kept"}, TextCase{R"("a\u0000b")", 0, true, "a"},
                    TextCase{"null", 0, true, ""}, TextCase{"null", 3, true, ""},
                    TextCase{"5", 0, false, "kept"}, TextCase{"true", 0, false, "kept"},
                    TextCase{R"(["a"])", 0, false, "kept"}, TextCase{"{}", 0, false, ""},
                    TextCase{R"({"RAW":5})", 0, false, ""}, TextCase{R"({"RAW":[]})", 0, false, ""},
                    TextCase{R"({"RAW":["a",98]})", 0, false, ""},
                    TextCase{R"({"RAW":[-1,98]})", 0, false, ""},
                    TextCase{R"({"RAW":[97,98,99]})", 0, true, "abc"},
                    TextCase{R"({"RAW":[97,98,99]})", 2, true, "c"},
                    TextCase{R"({"RAW":[97,98,99]})", 3, false, ""},
                    TextCase{R"({"RAW":[97,98,99]})", ULONG_MAX, false, ""},
                    TextCase{R"({"RAW":[97,98,99]})", 4294967296, false, ""},
                    TextCase{R"({"RAW":[97,0,99]})", 0, true, "a"},
                    TextCase{R"({"RAW":[97,0,99]})", 2, true, "c"},
                    TextCase{R"({"RAW":[0,97]})", 0, true, ""},
                    TextCase{R"({"RAW":[353,-158]})", 0, true, "ab"},
                    TextCase{R"({"RAW":[97,"x",98]})", 0, true, "a"}));

struct StreamCase {
    const char* data;
    Bytes bytes;
};

class SipJsonStream : public testing::TestWithParam<StreamCase> {};

TEST_P(SipJsonStream, IsRead) {
    EXPECT_EQ(streamOf(WithData(GetParam().data)), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Data, SipJsonStream,
    testing::Values(
        StreamCase{"{}", {}}, StreamCase{R"({"RAW":5})", {}}, StreamCase{R"({"RAW":[]})", {}},
        StreamCase{R"({"RAW":["a",1]})", {}}, StreamCase{R"({"RAW":[-1,1]})", {}},
        StreamCase{R"({"RAW":[4294967296,1]})", {}},
        StreamCase{R"({"RAW":[1,2,255]})", {1, 2, 255}},
        StreamCase{R"({"RAW":[257,-2,"x",null,1.5,4294967296]})", {1, 0xFE, 0, 0, 0, 0}},
        StreamCase{"[]", {}}, StreamCase{"[1,2]", {}}, StreamCase{R"([null,"a"])", {}},
        StreamCase{R"(["ab","c"])", {'a', 'b', 0, 'c', 0, 0}},
        StreamCase{R"(["ab",5,null,"c"])", {'a', 'b', 0, 'c', 0, 0}},
        StreamCase{R"(["a\u0000b",""])", {'a', 0, 0, 0}}, StreamCase{"0", {0}},
        StreamCase{"255", {255}}, StreamCase{"256", {0, 1}}, StreamCase{"300", {0x2C, 1}},
        StreamCase{"65535", {255, 255}}, StreamCase{"65536", {0, 0, 1, 0}},
        StreamCase{"4294967295", {255, 255, 255, 255}},
        StreamCase{"4294967296", {0, 0, 0, 0, 1, 0, 0, 0}},
        StreamCase{"18446744073709551615", Bytes(8, 255)}, StreamCase{R"("")", {0}},
        StreamCase{R"("ab")", {'a', 'b', 0}}, StreamCase{R"("a\u0000b")", {'a', 0}},
        StreamCase{"\"\xFF\xC3\"", {0xFF, 0xC3, 0}}));

TEST(SipJson, HasNoStreamInOtherData) {
    for (const char* data : {"-1", "1.5", "-5000000000", "null", "true", "false"})
        EXPECT_TRUE(hasNoStream(WithData(data))) << data;
    EXPECT_TRUE(hasNoStream(SipJson(1, 0, 0, 0, 0)));
}

struct SizeCase {
    const char* data;
    unsigned long size;
};

class SipJsonSize : public testing::TestWithParam<SizeCase> {};

TEST_P(SipJsonSize, IsCounted) {
    const WithData record(GetParam().data);
    EXPECT_EQ(record.GetCmdDataSize(0), GetParam().size);
    EXPECT_TRUE(record.HasCmdDataSize(0, 0, 0));
    EXPECT_TRUE(record.HasReplyData());
}

INSTANTIATE_TEST_SUITE_P(
    Data, SipJsonSize,
    testing::Values(SizeCase{"0", 8}, SizeCase{"-1", 8}, SizeCase{"18446744073709551615", 8},
                    SizeCase{"1.5", 0}, SizeCase{R"("abc")", 4}, SizeCase{R"("")", 1},
                    SizeCase{R"("a\u0000b")", 2}, SizeCase{"true", 1}, SizeCase{"false", 1},
                    SizeCase{"null", 0}, SizeCase{"[]", 0}, SizeCase{R"(["ab","c"])", 6},
                    SizeCase{R"(["ab",5,null])", 4}, SizeCase{"[1,256,65536,4294967296]", 15},
                    SizeCase{"[255,65535,4294967295]", 7}, SizeCase{"[1,-1,1.5]", 17},
                    SizeCase{R"([-1,"x",null])", 8}, SizeCase{"[null,1]", 0},
                    SizeCase{R"([{},"x"])", 0}, SizeCase{"[true]", 0}, SizeCase{"{}", 0},
                    SizeCase{R"({"RAW":7})", 0}, SizeCase{R"({"RAW":[]})", 0},
                    SizeCase{R"({"RAW":[1,"x",3]})", 3}));

TEST(SipJson, ComparesTheDataSize) {
    const WithData text(R"("abc")");
    EXPECT_TRUE(text.HasCmdDataSize(0, 4, 0));
    EXPECT_FALSE(text.HasCmdDataSize(0, 3, 0));
    EXPECT_TRUE(text.HasCmdDataSize(0, 3, 1));
    EXPECT_TRUE(text.HasCmdDataSize(0, 4, -1));
    EXPECT_FALSE(text.HasCmdDataSize(0, 5, 1));
}

TEST(SipJson, NumbersHaveAnyDataSize) {
    EXPECT_TRUE(WithData("1").HasCmdDataSize(0, 100, 0));
    EXPECT_TRUE(WithData("1.5").HasCmdDataSize(0, 100, 1));
    EXPECT_FALSE(WithData("null").HasCmdDataSize(0, 1, 1));
    EXPECT_FALSE(WithData("[1]").HasCmdDataSize(0, 100, 0));
}

TEST(SipJson, ReplyDataNeedsSuccess) {
    EXPECT_FALSE(Imported(R"({"ST":19,"DA":1})").HasReplyData());
    EXPECT_FALSE(Imported(R"({"DA":1})").HasReplyData());
    EXPECT_FALSE(Imported(R"({"ST":0})").HasReplyData());
    EXPECT_TRUE(Imported(R"({"ST":12,"DA":null})").HasReplyData());
}

// --- Text ---------------------------------------------------------------------------------------

TEST(SipJson, ExportsAndImportsTheSameRecord) {
    SipJson sent(0xFFA0, 0x1100, 7, 1, SipJson::noStatus);
    Bytes all;
    for (unsigned int i = 0; i < 1000; ++i) all.push_back(static_cast<unsigned char>(i));
    sent.SetRequestDataStream(all);
    SipJson received;
    received.Import(sent.Export().c_str());
    EXPECT_EQ(received.OpCode(), 0xFFA0u);
    EXPECT_EQ(received.OpCodeExt(), 0x1100u);
    EXPECT_EQ(received.ObjectId(), 7u);
    EXPECT_EQ(received.CabinetNr(), 1u);
    EXPECT_EQ(streamOf(received), all);
    EXPECT_EQ(received.Export(), sent.Export());
}

TEST(SipJson, ImportAcceptsWhiteSpaceAndAnyOrder) {
    SipJson record;
    record.Import(
        " { \"SIP\" :\n{ \"CMD\" : [ { \"ST\" : 0 , \"OC\" : 5 } ] , \"V\" : 2 } }\t\r\n");
    EXPECT_EQ(record.OpCode(), 5u);
    EXPECT_TRUE(record.Success());
}

TEST(SipJson, ImportReplacesTheWholeDocument) {
    SipJson record(1, 2, 3, 4, 5);
    record.Import(R"({"SIP":{"CMD":[{"OC":9}]},"more":1})");
    EXPECT_EQ(record.Export(), R"({"SIP":{"CMD":[{"OC":9}]},"more":1})");
}

TEST(SipJson, UnparsableTextLeavesAnEmptyRecord) {
    for (const char* text : {"",
                             " ",
                             "x",
                             "{",
                             "}",
                             R"({"SIP":)",
                             R"({"SIP":{"V":1,"CMD":[{"OC":1})",
                             "[1,]",
                             "1e999",
                             R"({"SIP":{"V":1,"CMD":[]}} x)",
                             R"({"SIP":{"V":1,"CMD":[{"OC":1}]}}{})",
                             "1 2",
                             "\"\\ud800\"",
                             "\"\\x\"",
                             "\"unclosed",
                             "nul",
                             "/**/1",
                             "'a'",
                             "\xEF\xBB\xBF{}",
                             "\x01"}) {
        SipJson record(1, 2, 3, 4, 0);
        record.SetDataString("old", 0);
        record.Import(text);
        EXPECT_EQ(record.Export(), skeleton) << text;
        expectDefaults(record);
    }
}

TEST(SipJson, NullTextLeavesAnEmptyRecord) {
    SipJson record(1, 2, 3, 4, 0);
    record.Import(nullptr);
    EXPECT_EQ(record.Export(), skeleton);
}

TEST(SipJson, FailedImportReplacesAWrongShapeToo) {
    SipJson record;
    record.Import("[1,2]");
    record.Import("[1,2");
    EXPECT_EQ(record.Export(), skeleton);
}

TEST(SipJson, ImportTextEndsAtItsNul) {
    SipJson record;
    const std::string text = std::string(R"({"SIP":{"CMD":[{"OC":5}]}})") + '\0' + "rest";
    record.Import(text.c_str());
    EXPECT_EQ(record.OpCode(), 5u);
}

std::string nested(std::size_t levels, const std::string& open, const std::string& close) {
    std::string text;
    for (std::size_t i = 0; i < levels; ++i) text += open;
    text += "1";
    for (std::size_t i = 0; i < levels; ++i) text += close;
    return text;
}

TEST(SipJson, AcceptsNestingOf256Levels) {
    SipJson record;
    record.Import(nested(256, "[", "]").c_str());
    EXPECT_EQ(record.Export(), nested(256, "[", "]"));
    record.Import(nested(256, R"({"a":)", "}").c_str());
    EXPECT_EQ(record.Export(), nested(256, R"({"a":)", "}"));
}

TEST(SipJson, RefusesDeeperNesting) {
    SipJson record;
    for (const std::size_t levels : {257u, 1000u, 500000u}) {
        record.Import(nested(levels, "[", "]").c_str());
        EXPECT_EQ(record.Export(), skeleton);
        record.Import(nested(levels, R"({"a":)", "}").c_str());
        EXPECT_EQ(record.Export(), skeleton);
    }
    record.Import(nested(129, R"([{"a":)", "}]").c_str());
    EXPECT_EQ(record.Export(), skeleton);
}

TEST(SipJson, RefusesAMillionOpenBrackets) {
    SipJson record;
    record.Import(std::string(1 << 20, '[').c_str());
    EXPECT_EQ(record.Export(), skeleton);
}

TEST(SipJson, CountsDepthNotBrackets) {
    std::string list = "[]";
    for (int i = 0; i < 1000; ++i) list += ",[{}]";
    const WithData record("[" + list + "]");
    EXPECT_TRUE(record.HasReplyData());
    SipJson again;
    again.Import(nested(257, "[", "]").c_str());
    again.Import(nested(256, "[", "]").c_str());
    EXPECT_EQ(again.Export(), nested(256, "[", "]")) << "each import counts from zero";
}

TEST(SipJson, BracketsInTextsAreNoNesting) {
    const WithData record("\"" + std::string(2000, '[') + R"(\"{{\\")");
    std::string text;
    EXPECT_TRUE(record.GetDataString(text));
    EXPECT_EQ(text, std::string(2000, '[') + "\"{{\\");
}

TEST(SipJson, TakesBytesThatAreNoUtf8) {
    SipJson record;
    record.SetDataString("\xFF\xFE\x80", 0);
    const std::string text = record.Export();
    EXPECT_EQ(text, "{\"SIP\":{\"V\":1,\"CMD\":[{\"DA\":\"\xFF\xFE\x80\",\"ST\":0}]}}");
    SipJson received;
    received.Import(text.c_str());
    std::string out;
    EXPECT_TRUE(received.GetDataString(out));
    EXPECT_EQ(out, "\xFF\xFE\x80");
}

TEST(SipJson, KeepsEscapedNulsInTheDocument) {
    const WithData record(R"("a\u0000b")");
    EXPECT_EQ(commandsOf(record), R"({"ST":0,"DA":"a\u0000b"})");
}

TEST(SipJson, KeepsLongTexts) {
    SipJson record;
    const std::string text(100000, '"');
    record.SetDataString(text.c_str(), 0);
    SipJson received;
    received.Import(record.Export().c_str());
    std::string out;
    EXPECT_TRUE(received.GetDataString(out));
    EXPECT_EQ(out, text);
}

}  // namespace
