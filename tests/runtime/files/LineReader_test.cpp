#include "runtime/files/LineReader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/files/FileStream.h"

namespace varnock {
namespace {

FileStream streamOf(std::string& text) {
    return FileStream(fmemopen(text.data(), text.size(), "r"));
}

TEST(LineReader, ReadsLinesWithoutTheirNewlines) {
    std::string text = "one\n\nlast";
    const FileStream file = streamOf(text);
    LineReader line(file.get());
    ASSERT_TRUE(line.next());
    EXPECT_STREQ(line.text(), "one");
    EXPECT_TRUE(line.hasNewline());
    EXPECT_EQ(line.offset(), 4U);
    ASSERT_TRUE(line.next());
    EXPECT_STREQ(line.text(), "");
    ASSERT_TRUE(line.next());
    EXPECT_STREQ(line.text(), "last");
    EXPECT_FALSE(line.hasNewline());
    EXPECT_EQ(line.offset(), 9U);
    EXPECT_FALSE(line.next());
    EXPECT_FALSE(line.next());
}

TEST(LineReader, DropsWhatIsBeyondTheLimitOfALine) {
    for (const std::size_t longLength : {1024U, 1025U, 3000U, 4095U, 4096U, 4097U, 20'000U}) {
        std::string text =
            std::string(1023, 'a') + "\n" + std::string(longLength, 'b') + "\nnext\n";
        const FileStream file = streamOf(text);
        LineReader line(file.get());
        ASSERT_TRUE(line.next());
        EXPECT_EQ(line.length(), 1023U);
        EXPECT_FALSE(line.isCut());
        ASSERT_TRUE(line.next());
        EXPECT_EQ(std::string(line.text()), std::string(1023, 'b'));
        EXPECT_TRUE(line.isCut());
        EXPECT_TRUE(line.hasNewline());
        EXPECT_EQ(line.offset(), 1024 + longLength + 1);
        ASSERT_TRUE(line.next());
        EXPECT_STREQ(line.text(), "next");
        EXPECT_FALSE(line.isCut());
    }
}

TEST(LineReader, ALongLastLineEndsWithTheFile) {
    for (const std::size_t length : {1024U, 4095U, 4096U, 4097U, 9000U}) {
        std::string text(length, 'x');
        const FileStream file = streamOf(text);
        LineReader line(file.get());
        ASSERT_TRUE(line.next());
        EXPECT_EQ(line.length(), 1023U);
        EXPECT_TRUE(line.isCut());
        EXPECT_FALSE(line.hasNewline());
        EXPECT_EQ(line.offset(), length);
        EXPECT_FALSE(line.next());
    }
}

TEST(LineReader, EndsTheTextAtANulByteAndGoesOnWithTheNextLine) {
    std::string text("a\0b\nc\n", 6);
    const FileStream file = streamOf(text);
    LineReader line(file.get());
    ASSERT_TRUE(line.next());
    EXPECT_STREQ(line.text(), "a");
    EXPECT_EQ(line.length(), 3U);
    ASSERT_TRUE(line.next());
    EXPECT_STREQ(line.text(), "c");
}

TEST(LineReader, ReadsLinesOfEveryLengthWhereverTheyLie) {
    std::string text;
    std::vector<std::string> expected;
    for (std::size_t length = 0; length <= 1023; ++length) {
        expected.push_back(std::string(length, static_cast<char>('a' + length % 26)));
        text += expected.back() + "\n";
    }
    const FileStream file = streamOf(text);
    LineReader line(file.get());
    std::size_t offset = 0;
    for (const std::string& wanted : expected) {
        ASSERT_TRUE(line.next());
        ASSERT_EQ(line.text(), wanted);
        offset += wanted.size() + 1;
        ASSERT_EQ(line.offset(), offset);
    }
    EXPECT_FALSE(line.next());
}

TEST(LineReader, LeavesTheStreamBehindTheLastLineTaken) {
    std::string text = "one\ntwo\nthree\n";
    const FileStream file = streamOf(text);
    {
        LineReader line(file.get());
        ASSERT_TRUE(line.next());
    }
    EXPECT_EQ(ftell(file.get()), 4);
    LineReader rest(file.get());
    ASSERT_TRUE(rest.next());
    EXPECT_STREQ(rest.text(), "two");
}

TEST(LineReader, AnEmptyFileHasNoLine) {
    const FileStream file(fopen("/dev/null", "r"));
    LineReader line(file.get());
    EXPECT_FALSE(line.next());
    EXPECT_EQ(line.offset(), 0U);
}

}  // namespace
}  // namespace varnock
