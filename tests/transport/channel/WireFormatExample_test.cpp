#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/CodeBlocks.h"
#include "transport/DataStream.h"
#include "transport/SipJson.h"

// The worked example of docs/wire-format.md: the library writes these texts and bytes and reads
// them back.

namespace {

using varnock::test::codeBlocks;

std::string document() {
    return varnock::test::pageFrom("wire-format.md", "## A worked example");
}

/// The bytes of a dump: an offset, up to 16 bytes and their characters.
std::string bytesOf(const std::string& dump) {
    std::string bytes;
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(std::stoul(line, nullptr, 16), bytes.size());
        std::istringstream numbers(line.substr(10, 47));
        for (std::string number; numbers >> number;) {
            bytes.push_back(static_cast<char>(std::stoi(number, nullptr, 16)));
        }
    }
    return bytes;
}

std::string frameOf(const std::string& text) {
    const auto length = static_cast<std::uint32_t>(text.size() + 1);
    std::string frame(sizeof length, '\0');
    std::memcpy(frame.data(), &length, sizeof length);
    return frame + text + '\0';
}

TEST(WireFormatExample, HasRequestReplyAndRegistration) {
    EXPECT_EQ(codeBlocks(document(), "json").size(), 3u);
    EXPECT_EQ(codeBlocks(document(), "hexdump").size(), 2u);
}

TEST(WireFormatExample, RequestIsWhatTheLibrarySends) {
    const SipJson request(0x0300, 0, 0, 1, SipJson::noStatus);
    EXPECT_EQ(request.Export(), codeBlocks(document(), "json").at(0));
    EXPECT_EQ(frameOf(request.Export()), bytesOf(codeBlocks(document(), "hexdump").at(0)));
}

TEST(WireFormatExample, ReplyIsWhatTheLibraryReads) {
    const std::string text = codeBlocks(document(), "json").at(1);
    const std::string frame = bytesOf(codeBlocks(document(), "hexdump").at(1));
    EXPECT_EQ(frame, frameOf(text));
    SipJson reply;
    reply.Import(frame.c_str() + 4);
    EXPECT_EQ(reply.OpCode(), 0x0300u);
    EXPECT_EQ(reply.CabinetNr(), 1u);
    EXPECT_TRUE(reply.HasReplyData());
    EXPECT_EQ(reply.DataByte(), 6u);
    EXPECT_EQ(reply.Export(), text);
}

TEST(WireFormatExample, RegistrationIsWhatTheLibrarySends) {
    CDataStream options;
    options.EnsureSize(0, 224);
    const std::string name = "CIM_Provider";
    options.SetAt(0, reinterpret_cast<const unsigned char*>(name.data()), name.size());
    options[68] = 7;
    SipJson registration(0xFFA0, 0x1100, 0, 0, SipJson::noStatus);
    registration.SetRequestDataStream(options.Data());
    EXPECT_EQ(registration.Export(), codeBlocks(document(), "json").at(2));
}

TEST(WireFormatExample, NamesTheSizesOfTheFrames) {
    for (const std::string& dump : codeBlocks(document(), "hexdump")) {
        EXPECT_NE(document().find("frame of " + std::to_string(bytesOf(dump).size()) + " bytes"),
                  std::string::npos);
    }
}

}  // namespace
