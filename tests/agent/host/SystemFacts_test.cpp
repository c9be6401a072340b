#include <gtest/gtest.h>

#include "tests/agent/host/HostQuestions.h"

namespace varnock::agent {
namespace {

class SystemAnswers : public RecordedHost {
  protected:
    HostMachine host_;
};

TEST_F(SystemAnswers, AnswersOfTheOperatingSystem) {
    expectNegative(ask(machine_, kText, 0xA708));
    write("etc/os-release", "PRETTY_NAME='An OS'\nVERSION='9'\nID=debian\n");
    EXPECT_EQ(text(ask(machine_, kText, 0xA708, 0, kNoCabinet)), "An OS");
    EXPECT_EQ(text(ask(machine_, kText, 0xA703, 0, kNoCabinet)), "9");
    EXPECT_EQ(number(ask(machine_, 0x0C70)), 96U);
    EXPECT_TRUE(number(ask(host_, 0x0118)));
    EXPECT_TRUE(number(ask(host_, 0xE104)));
    EXPECT_LE(number(ask(host_, 0x0920, 0, 0, kNoCabinet)).value_or(101), 100U);
}

}  // namespace
}  // namespace varnock::agent
