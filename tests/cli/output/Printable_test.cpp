#include "cli/output/Printable.h"

#include <gtest/gtest.h>

namespace varnockctl {
namespace {

TEST(Printable, LeavesTextAsItIs) {
    EXPECT_EQ(printable("a\tb\nGr\xC3\xBC\xC3\x9F"
                        "e"),
              "a\tb\nGr\xC3\xBC\xC3\x9F"
              "e");
    EXPECT_EQ(printable(""), "");
}

TEST(Printable, EscapesWhatATerminalWouldObey) {
    EXPECT_EQ(printable("\x1b[2J\x7f\r\x01"), "\\x1B[2J\\x7F\\x0D\\x01");
    EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(printable("\xff"), "\\xFF");
}

}  // namespace
}  // namespace varnockctl
