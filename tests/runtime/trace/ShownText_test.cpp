#include "runtime/trace/ShownText.h"

#include <gtest/gtest.h>

namespace varnock {
namespace {

TEST(ShownText, IsTheTextOrTellsThatThereIsNone) {
    EXPECT_STREQ(shown("text"), "text");
    EXPECT_STREQ(shown(""), "");
    EXPECT_STREQ(shown(nullptr), "(null)");
}

}  // namespace
}  // namespace varnock
