#include "transport/record/PlainCommand.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "transport/SipJson.h"
#include "transport/record/RecordText.h"

namespace varnock::test {
namespace {

std::string recordWith(const std::string& members) {
    return R"({"SIP":{"V":1,"CMD":[{)" + members + "}]}}";
}

bool isPlain(const std::string& text) {
    SipJson record;
    return RecordText::importPlain(record, text.c_str());
}

std::string exportedBy(SipJson& record) {
    return record.Export();
}

const std::vector<std::string> kPlainMembers = {
    R"("OC":1)",
    R"("CA":0,"OC":768,"ST":0,"DA":4)",
    R"("OC":1,"OE":2,"OI":3,"CA":4,"ST":5,"DA":6)",
    R"("DA":4294967295)",
    R"("DA":"")",
    R"("DA":"a text that is too long to be kept inside of a value")",
    R"("DA":{"RAW":[0]})",
    R"("DA":{"RAW":[0,9,10,99,100,255]},"ST":12)",
};

TEST(PlainCommand, ReadsAndWritesUsualTexts) {
    for (const std::string& members : kPlainMembers) {
        const std::string text = recordWith(members);
        SipJson record;
        EXPECT_TRUE(RecordText::importPlain(record, text.c_str())) << text;
        EXPECT_EQ(record.Export(), text);
    }
}

TEST(PlainCommand, ReadsABlockOfAnyLength) {
    for (const std::size_t length : {1U, 511U, 512U, 513U, 1024U, 100'000U}) {
        std::vector<unsigned char> bytes(length);
        for (std::size_t i = 0; i < length; ++i) {
            bytes[i] = static_cast<unsigned char>(i * 7);
        }
        SipJson record;
        record.SetRequestDataStream(bytes);
        const std::string text = record.Export();
        SipJson again;
        ASSERT_TRUE(RecordText::importPlain(again, text.c_str()));
        std::vector<unsigned char> read;
        EXPECT_TRUE(again.GetDataStream(read));
        EXPECT_EQ(read, bytes);
    }
}

// Whatever is not usual, is wrong or ends too early is left to the parser of documents.
TEST(PlainCommand, LeavesEverythingElse) {
    for (const char* members : {"",
                                R"("OC":1,)",
                                R"("OC":-1)",
                                R"("OC":1.5)",
                                R"("OC":1e3)",
                                R"("OC":01)",
                                R"("OC":4294967296)",
                                R"("OC":99999999999999999999999999)",
                                R"("OC":"1")",
                                R"("OC":null)",
                                R"("OC": 1)",
                                R"("OC":1,"OC":2)",
                                R"("XX":1)",
                                R"("OCO":1)",
                                R"("O":1)",
                                R"("":1)",
                                R"("DA":null)",
                                R"("DA":true)",
                                R"("DA":"a\n")",
                                "\"DA\":\"a\tb\"",
                                R"("DA":[1])",
                                R"("DA":{})",
                                R"("DA":{"RAW":[]})",
                                R"("DA":{"RAW":[256]})",
                                R"("DA":{"RAW":[1000]})",
                                R"("DA":{"RAW":[01]})",
                                R"("DA":{"RAW":[1,]})",
                                R"("DA":{"RAW":[1 ]})",
                                R"("DA":{"RAW":[-1]})",
                                R"("DA":{"RAW":[1.0]})",
                                R"("DA":{"RAW":[1],"a":1})",
                                R"("DA":{"raw":[1]})",
                                R"("OC")",
                                R"("OC":)",
                                R"("DA":")",
                                R"("DA":{"RAW":[1)"}) {
        EXPECT_FALSE(isPlain(recordWith(members))) << members;
    }
    for (const char* text :
         {"", "{}", "5", R"({"SIP":{"V":1,"CMD":[]}})", R"({"SIP":{"V":2,"CMD":[{"OC":1}]}})",
          R"({"SIP":{"V":1,"CMD":[{"OC":1},{"OC":2}]}})", R"({"SIP":{"V":1,"CMD":[{"OC":1}]}} )",
          R"({"SIP":{"V":1,"CMD":[{"OC":1}]}}x)"}) {
        EXPECT_FALSE(isPlain(text)) << text;
    }
    EXPECT_FALSE(isPlain(recordWith(R"("OC":1)").substr(0, 26)));
}

/// Runs the same on a plain record and on one that is a document.
template <class Use>
void expectSame(const std::string& text, const Use& use) {
    SipJson plain;
    ASSERT_TRUE(RecordText::importPlain(plain, text.c_str()));
    SipJson tree;
    tree.Import(text.c_str());
    tree.GetCmd();
    EXPECT_EQ(use(plain), use(tree)) << text;
    EXPECT_EQ(plain.Export(), tree.Export()) << text;
}

TEST(PlainCommand, AnswersAsADocumentDoes) {
    for (const std::string& members : kPlainMembers) {
        const auto numbers = [](SipJson& record) {
            unsigned int number = 7;
            const bool has = record.GetCmdUIntData(0, number);
            return std::vector<unsigned long>{has,
                                              number,
                                              record.UIntValue(),
                                              record.GetCmdUIntData(1, number),
                                              record.OpCode(),
                                              record.OpCodeExt(),
                                              record.ObjectId(),
                                              record.CabinetNr(),
                                              record.Status(),
                                              record.GetCmdDataSize(0),
                                              record.GetCmdDataSize(1),
                                              record.HasReplyData(),
                                              record.HasCmdDataSize(0, 3, 0),
                                              record.HasCmdDataSize(0, 3, 1),
                                              record.HasCmdDataSize(1, 0, 0),
                                              record.GetCmdValue(0, "DA", 9),
                                              record.GetCmdValue(0, "XX", 9),
                                              record.GetCmdValue(1, "OC", 9),
                                              record.GetCmdValue(-1, "OC", 9)};
        };
        const auto texts = [](SipJson& record) {
            std::vector<std::string> out(3, "before");
            const bool whole = record.GetCmdDataString(0, out[0], 0);
            const bool tail = record.GetCmdDataString(0, out[1], 4);
            const bool none = record.GetCmdDataString(1, out[2], 0);
            out.push_back(std::to_string(whole) + std::to_string(tail) + std::to_string(none));
            return out;
        };
        const auto bytes = [](SipJson& record) {
            std::vector<unsigned char> out{1, 2, 3};
            out.push_back(record.GetDataStream(out) ? 1 : 0);
            return out;
        };
        expectSame(recordWith(members), numbers);
        expectSame(recordWith(members), texts);
        expectSame(recordWith(members), bytes);
    }
}

TEST(PlainCommand, ChangesAsADocumentDoes) {
    for (const std::string& members : kPlainMembers) {
        const std::string text = recordWith(members);
        expectSame(text, [](SipJson& record) { return record.SetCmd(1, 0, 3, 4, 5); });
        expectSame(text, [](SipJson& record) { return record.SetStatus(7); });
        expectSame(text, [](SipJson& record) { return record.SetDataByte(7, 8); });
        expectSame(text, [](SipJson& record) { return record.SetDataString("other", 8); });
        expectSame(text, [](SipJson& record) { return record.SetRequestDataStream({1, 2}); });
        expectSame(text, [](SipJson& record) { return record.SetRequestDataStream({}); });
        expectSame(text, [](SipJson& record) { return record.ClearData(); });
        expectSame(text, [](SipJson& record) {
            record.ClearData();
            record.SetDataWord(1, 2);
            return record.ClearData();
        });
        expectSame(text, [](SipJson& record) {
            record.Clear();
            return record.SetStatus(7);
        });
        expectSame(text, [](SipJson& record) { return (record.JsonInit(), exportedBy(record)); });
        expectSame(text, [](SipJson& record) { return (record.ClassInit(), exportedBy(record)); });
    }
}

TEST(PlainCommand, KeepsItsContentsAsADocument) {
    for (const std::string& members : kPlainMembers) {
        const std::string text = recordWith(members);
        SipJson record;
        record.Import(text.c_str());
        ASSERT_NE(record.GetCmd(), nullptr);
        EXPECT_EQ(record.Export(), text);
    }
}

TEST(TextSink, GoesOnInItsOwnMemory) {
    char memory[4];
    TextSink sink(memory, sizeof memory);
    sink.put("abc");
    sink.Put('d');
    EXPECT_TRUE(sink.isInPlace());
    EXPECT_EQ(sink.text(), "abcd");
    sink.Put('e');
    sink.put(std::string(1000, 'f'));
    EXPECT_FALSE(sink.isInPlace());
    EXPECT_EQ(sink.text(), "abcde" + std::string(1000, 'f'));
    EXPECT_EQ(std::string(memory, sizeof memory), "abcd");
}

}  // namespace
}  // namespace varnock::test
