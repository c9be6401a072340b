#include "agent/host/Files.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

class HostFiles : public testing::Test {
  protected:
    std::string written(const std::string& content) {
        std::ofstream(directory_.file("f")) << content;
        return directory_.file("f");
    }
    varnock::test::TemporaryDirectory directory_;
};

TEST_F(HostFiles, ReadsAFileUpToTheLimit) {
    const std::string content(10'000, 'x');
    EXPECT_EQ(readFile(written(content)), content);
    EXPECT_EQ(readFile(written(content), 5000), std::string(5000, 'x'));
    EXPECT_EQ(readFile(written("")), "");
}

TEST_F(HostFiles, HasNothingWhereNothingCanBeRead) {
    EXPECT_EQ(readFile(directory_.file("missing")), std::nullopt);
    EXPECT_EQ(readFile(directory_.path()), std::nullopt);
    EXPECT_EQ(readLine(directory_.file("missing")), std::nullopt);
    EXPECT_EQ(readNumber(directory_.file("missing")), std::nullopt);
}

TEST_F(HostFiles, ReadsTheFirstLineTrimmed) {
    EXPECT_EQ(readLine(written("  one two \t\r\nthree\n")), "one two");
    EXPECT_EQ(readLine(written("no newline")), "no newline");
    EXPECT_EQ(readLine(written("\nsecond\n")), std::nullopt);
    EXPECT_EQ(readLine(written(" \n")), std::nullopt);
}

TEST_F(HostFiles, ReadsNumbersAndNothingElse) {
    EXPECT_EQ(readNumber(written("2445432\n")), 2445432U);
    EXPECT_EQ(readNumber(written("12 x\n")), std::nullopt);
    EXPECT_EQ(readNumber(written("-1\n")), std::nullopt);
    EXPECT_EQ(parseDecimal("4294967295"), 4294967295U);
    EXPECT_EQ(parseDecimal("4294967296"), std::nullopt);
    EXPECT_EQ(parseDecimal(""), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
