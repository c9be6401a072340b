#include "runtime/TextLine.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/FileStream.h"

namespace varnock {
namespace {

FileStream streamOf(std::string& text) {
    return FileStream(fmemopen(text.data(), text.size(), "r"));
}

TEST(TextLine, ReadsLinesWithoutTheirNewlines) {
    std::string text = "one\n\nlast";
    const FileStream file = streamOf(text);
    TextLine line;
    ASSERT_TRUE(line.read(file.get()));
    EXPECT_STREQ(line.text(), "one");
    EXPECT_TRUE(line.hasNewline());
    ASSERT_TRUE(line.read(file.get()));
    EXPECT_STREQ(line.text(), "");
    ASSERT_TRUE(line.read(file.get()));
    EXPECT_STREQ(line.text(), "last");
    EXPECT_FALSE(line.hasNewline());
    EXPECT_FALSE(line.read(file.get()));
}

TEST(TextLine, DropsWhatIsBeyondTheLimitOfALine) {
    std::string text = std::string(1023, 'a') + "\n" + std::string(1024, 'b') + "\nnext\n";
    const FileStream file = streamOf(text);
    TextLine line;
    ASSERT_TRUE(line.read(file.get()));
    EXPECT_EQ(line.length(), 1023U);
    EXPECT_FALSE(line.isCut());
    ASSERT_TRUE(line.read(file.get()));
    EXPECT_EQ(std::string(line.text()), std::string(1023, 'b'));
    EXPECT_TRUE(line.isCut());
    ASSERT_TRUE(line.read(file.get()));
    EXPECT_STREQ(line.text(), "next");
    EXPECT_FALSE(line.isCut());
}

TEST(TextLine, EndsTheTextAtANulByteAndGoesOnWithTheNextLine) {
    std::string text("a\0b\nc\n", 6);
    const FileStream file = streamOf(text);
    TextLine line;
    ASSERT_TRUE(line.read(file.get()));
    EXPECT_STREQ(line.text(), "a");
    ASSERT_TRUE(line.read(file.get()));
    EXPECT_STREQ(line.text(), "c");
}

}  // namespace
}  // namespace varnock
