// A short run, so that the program of ./dev soak stays in order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "tests/support/Subprocess.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;

unsigned long figure(const std::string& text, const std::string& name) {
    std::smatch found;
    return std::regex_search(text, found, std::regex("\n *" + name + " +([0-9]+)\n"))
               ? std::stoul(found[1])
               : 0;
}

TEST(Soak, HoldsForTwoSeconds) {
    const ProcessResult result = runProcess({SOAK, "2", "1"});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("soak: 2 s with seed 1\n"));
    for (const char* name :
         {"requests", "replies spoilt", "agents restarted", "agents killed",
          "agents stopped and continued", "reconnections for events", "delivered", "received"}) {
        EXPECT_GT(figure(result.out, name), 0u) << name << "\n" << result.out;
    }
    EXPECT_EQ(figure(result.out, "findings"), 0u);
}

TEST(Soak, RefusesOtherArguments) {
    for (const char* argument : {"0", "-1", "1.5", "x", ""}) {
        const ProcessResult result = runProcess({SOAK, argument});
        EXPECT_EQ(result.status, 2) << argument;
        EXPECT_THAT(result.err, HasSubstr("usage: soak [SECONDS [SEED]]\n"));
    }
}

}  // namespace
}  // namespace varnock::test
