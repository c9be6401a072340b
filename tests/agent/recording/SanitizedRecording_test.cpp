#include "agent/recording/SanitizedRecording.h"

#include <gmock/gmock.h>

#include "agent/Refusal.h"
#include "agent/recording/Recording.h"
#include "tests/agent/recording/RecordingFixture.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string lineWith(const std::string& content) {
    return R"({"time":1.5,"connection":1,"channel":"requests","direction":"out",)" + content +
           "}\n";
}
std::string reply(unsigned opcode, unsigned ext, const std::string& data) {
    return lineWith(R"("record":{"SIP":{"V":1,"CMD":[{"OC":)" + std::to_string(opcode) +
                    R"(,"OE":)" + std::to_string(ext) + R"(,"CA":0,"ST":0,"DA":)" + data + "}]}}");
}
std::string raw(const std::string& bytes) {
    std::string list = "{\"RAW\":[";
    for (const char byte : bytes) {
        list += std::to_string(static_cast<unsigned char>(byte)) + ",";
    }
    list.back() = ']';
    return list + "}";
}

class SanitizedRecording : public testing::Test {
  protected:
    std::string sanitized(const std::string& lines) {
        return sanitizedRecording(lines, sanitizer_);
    }

    Sanitizer sanitizer_{"key"};
};

TEST_F(SanitizedRecording, ReplacesWhatACallReturnsWhereverItStands) {
    const std::string lines =
        reply(0x1234, 0, "\"module SN0042AB failed\"") + reply(0x0C00, 0x0300, "\"SN0042AB\"") +
        reply(0xE001, 0x0201, "\"db01.example.org\"") + reply(0x1234, 0, "\"db01 is 203.0.113.9\"");
    const std::string result = sanitized(lines);
    EXPECT_THAT(result, Not(HasSubstr("SN0042AB")));
    EXPECT_THAT(result, Not(HasSubstr("db01")));
    EXPECT_THAT(result, Not(HasSubstr("203.0.113.9")));
    EXPECT_THAT(result,
                HasSubstr("\"module " + Sanitizer("key").value(PrivateKind::label, "SN0042AB") +
                          " failed\""));
    EXPECT_EQ(std::count(result.begin(), result.end(), '\n'), 4);
    EXPECT_TRUE(parseRecordedLine(result.substr(0, result.find('\n'))));
}

TEST_F(SanitizedRecording, ReplacesWhatASetterSends) {
    EXPECT_THAT(sanitized(reply(0xE002, 0x0210, "\"A-0815\"")), Not(HasSubstr("A-0815")));
}

TEST_F(SanitizedRecording, KeepsTheSizeOfBlocks) {
    Sanitizer other("key");
    EXPECT_EQ(sanitized(reply(0x1703, 0, raw("\x0A\x01\x02\x03"))),
              reply(0x1703, 0, raw(other.addressBytes("\x0A\x01\x02\x03"))));
    const std::string entry = "\x01\x02 from 203.0.113.9 to 198.51.100.77\x03";
    const std::string result = sanitized(reply(0x0B10, 0, raw(entry)));
    EXPECT_NE(result, reply(0x0B10, 0, raw(entry)));
    EXPECT_EQ(std::count(result.begin(), result.end(), ','),
              std::count_if(entry.begin(), entry.end(), [](char) { return true; }) + 8);
    EXPECT_THAT(sanitized(lineWith("\"bytes\":\""
                                   "203230332e302e3131332e392000\"")),
                Not(HasSubstr("3230332e302e3131332e39")));
}

TEST_F(SanitizedRecording, FindsTheSerialNumberOfAComponent) {
    using namespace std::string_literals;
    const std::string component =
        "\x20\0\x0C\0\0\0maker\0name\0part\0text\0date\0version\0CS123456\0rest\0"s;
    const std::string result =
        sanitized(reply(0x1234, 0, "\"CS123456\"") + reply(0x0C86, 1, raw(component)));
    EXPECT_THAT(result, Not(HasSubstr("CS123456")));
    EXPECT_NO_THROW(sanitized(reply(0x0C86, 1, raw("ab"))));
}

TEST_F(SanitizedRecording, KeepsWhatIsNotPrivate) {
    const std::string lines = reply(0x0300, 0, "6") + reply(0x0C00, 0x1305, "\"1.2.3.4\"") +
                              reply(0x1234, 0, "[1,\"a\"]") +
                              reply(0x1234, 0, "{\"RAW\":[1,500]}") + lineWith("\"record\":[]") +
                              lineWith("\"record\":{\"SIP\":{\"CMD\":5}}");
    EXPECT_EQ(sanitized(lines), lines);
}

TEST_F(SanitizedRecording, TakesANumberForTheBytesOfAnAddress) {
    EXPECT_THAT(sanitized(reply(0x1703, 0, "50462730")), Not(HasSubstr(":50462730}")));
}

TEST_F(SanitizedRecording, NamesTheLineThatIsWrong) {
    EXPECT_THROW(sanitized("nothing\n"), Refusal);
    varnock::test::TemporaryDirectory directory;
    EXPECT_THROW(writeSanitized("", Sanitizer("key"), directory.file("none/file")), Refusal);
}

}  // namespace
}  // namespace varnock::agent::test
