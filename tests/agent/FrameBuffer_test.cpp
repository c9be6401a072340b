#include "agent/FrameBuffer.h"

#include <gtest/gtest.h>

#include <cstring>

namespace varnock::agent {
namespace {

std::string header(std::uint32_t length) {
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes;
}

TEST(FrameBuffer, EncodesLengthTextAndNul) {
    EXPECT_EQ(encodeFrame("abc"), header(4) + std::string("abc\0", 4));
    EXPECT_EQ(encodeFrame(""), header(1) + std::string(1, '\0'));
}

TEST(FrameBuffer, GivesNothingUntilTheLastByte) {
    const std::string frame = encodeFrame("hello");
    FrameBuffer buffer;
    for (std::size_t i = 0; i + 1 < frame.size(); ++i) {
        buffer.append(frame.substr(i, 1));
        EXPECT_EQ(buffer.takeText(), std::nullopt);
        EXPECT_TRUE(buffer.holdsBytes());
    }
    buffer.append(frame.substr(frame.size() - 1));
    EXPECT_EQ(buffer.takeText(), "hello");
    EXPECT_FALSE(buffer.holdsBytes());
    EXPECT_EQ(buffer.takeText(), std::nullopt);
}

TEST(FrameBuffer, CutsSeveralFramesFromOnePiece) {
    FrameBuffer buffer;
    buffer.append(encodeFrame("one") + encodeFrame("") + encodeFrame("three").substr(0, 5));
    EXPECT_EQ(buffer.takeText(), "one");
    EXPECT_EQ(buffer.takeText(), "");
    EXPECT_EQ(buffer.takeText(), std::nullopt);
    buffer.append(encodeFrame("three").substr(5));
    EXPECT_EQ(buffer.takeText(), "three");
}

TEST(FrameBuffer, EndsTextAtItsFirstNul) {
    FrameBuffer buffer;
    buffer.append(header(6) + std::string("ab\0cd\0", 6));
    EXPECT_EQ(buffer.takeText(), "ab");
}

TEST(FrameBuffer, TakesTextWithoutNulAndEmptyFrame) {
    FrameBuffer buffer;
    buffer.append(header(2) + "ab" + header(0));
    EXPECT_EQ(buffer.takeText(), "ab");
    EXPECT_EQ(buffer.takeText(), "");
    EXPECT_FALSE(buffer.holdsBytes());
}

TEST(FrameBuffer, AcceptsExactlyTheLimitAndRefusesOneMore) {
    FrameBuffer buffer;
    buffer.append(header(kFrameLimit - kFrameHeader));
    EXPECT_EQ(buffer.takeText(), std::nullopt);
    FrameBuffer tooLong;
    tooLong.append(header(kFrameLimit - kFrameHeader + 1));
    EXPECT_THROW(static_cast<void>(tooLong.takeText()), FrameTooLong);
    FrameBuffer huge;
    huge.append(header(0xFFFFFFFF));
    EXPECT_THROW(static_cast<void>(huge.takeText()), FrameTooLong);
}

TEST(FrameBuffer, KnowsWhichTextsFit) {
    EXPECT_TRUE(fitsFrame(std::string(kFrameLimit - kFrameHeader - 1, 'x')));
    EXPECT_FALSE(fitsFrame(std::string(kFrameLimit - kFrameHeader, 'x')));
    EXPECT_EQ(encodeFrame(std::string(kFrameLimit - kFrameHeader - 1, 'x')).size(), kFrameLimit);
}

TEST(FrameBuffer, FindsTheTextOfOneWholeFrameAlone) {
    const std::string frame = encodeFrame("text");
    EXPECT_EQ(textOfFrame(frame), "text");
    for (const std::string& other :
         {std::string(), frame.substr(1), frame.substr(0, frame.size() - 1), frame + "x",
          frame + frame, std::string("\3\0\0\0a\0b", 7), header(0xFFFFFFFF)}) {
        EXPECT_EQ(textOfFrame(other), std::nullopt);
    }
}

TEST(FrameBuffer, GivesTheBytesThatArrived) {
    FrameBuffer buffer;
    const std::string odd("\3\0\0\0a\0b", 7);
    buffer.append(odd + encodeFrame("next").substr(0, 6));
    EXPECT_EQ(buffer.takeFrame(), odd);
    EXPECT_EQ(buffer.takeFrame(), std::nullopt);
    EXPECT_EQ(buffer.takeRest(), encodeFrame("next").substr(0, 6));
    EXPECT_FALSE(buffer.holdsBytes());
}

}  // namespace
}  // namespace varnock::agent
