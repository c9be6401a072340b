#include "transport/SipJson.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tests/transport/record/SipJsonSupport.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

TEST(SipJson, FourStatusesAreSuccess) {
    for (unsigned int status = 0; status < 300; ++status) {
        EXPECT_EQ(SipJson::CmdStatusSuccess(status),
                  status == 0 || status == 12 || status == 21 || status == 255)
            << status;
    }
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
    const char* text;  ///< "kept" if the output is unchanged
};

class SipJsonText : public testing::TestWithParam<TextCase> {};

TEST_P(SipJsonText, IsReadOrLeftAlone) {
    const WithData record(GetParam().data);
    std::string out = "kept";
    EXPECT_EQ(record.GetCmdDataString(0, out, GetParam().offset), GetParam().read);
    EXPECT_EQ(out, GetParam().text);
    if (GetParam().offset != 0) {
        return;
    }
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
    for (const char* data : {"-1", "1.5", "-5000000000", "null", "true", "false"}) {
        EXPECT_TRUE(hasNoStream(WithData(data))) << data;
    }
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

}  // namespace
}  // namespace varnock::test
