#include <gtest/gtest.h>

#include "agent/host/Processors.h"
#include "agent/host/Topology.h"
#include "tests/agent/host/HostQuestions.h"

namespace varnock::agent {
namespace {

class ProcessorAnswers : public RecordedHost {
  protected:
    HostMachine host_;
};

TEST_F(ProcessorAnswers, AnswersOfEveryProcessor) {
    const unsigned count = configuredProcessors();
    EXPECT_EQ(number(ask(host_, 0x0600)), count);
    EXPECT_EQ(number(ask(host_, 0x0614)), count);
    for (unsigned cpu = 0; cpu < count; ++cpu) {
        EXPECT_EQ(number(ask(host_, 0x0601, 0, cpu)), Processors("/").online(cpu) ? 1U : 2U);
    }
    for (const unsigned opcode : {0x0606U, 0x060AU, 0x060EU, 0x061CU}) {
        EXPECT_GE(number(ask(host_, opcode)).value_or(0), 1U) << opcode;
    }
    EXPECT_EQ(number(ask(host_, 0x0611)), 0U);
    EXPECT_LE(number(ask(host_, 0x0612)).value_or(101), 100U);
    EXPECT_LE(number(ask(host_, 0x0617)).value_or(2), 1U);
    expectNegative(ask(host_, 0x0619));
}

TEST_F(ProcessorAnswers, KnowsNoProcessorAboveTheCount) {
    const unsigned count = configuredProcessors();
    for (unsigned opcode = 0x0601; opcode <= 0x061F; ++opcode) {
        if (opcode != 0x0614) {
            expectNegative(ask(host_, opcode, 1, count));
            expectNegative(ask(host_, opcode, 1, 0xFFFFFFFF));
        }
    }
    expectNegative(ask(host_, kText, 0x0A08, count));
    expectNegative(ask(host_, 0x0607, 0, 0));
    expectNegative(ask(host_, 0x0600, 0, 1));
}

TEST_F(ProcessorAnswers, TellsAProcessorThatIsSwitchedOff) {
    constexpr unsigned kEnabled = 1;
    const auto before = number(ask(machine_, 0x0601));
    write("sys/devices/system/cpu/cpu0/online", "0\n");
    const auto off = number(ask(machine_, 0x0601));
    write("sys/devices/system/cpu/cpu0/online", "1\n");
    EXPECT_EQ(before, kEnabled);
    EXPECT_EQ(number(ask(machine_, 0x0601)), kEnabled);
    EXPECT_TRUE(off);
    EXPECT_NE(off, kEnabled);
}

TEST_F(ProcessorAnswers, AnswersSpeedAndSteppingInOneStream) {
    expectNegative(ask(machine_, 0x0603));
    write("proc/cpuinfo", "processor : 0\ncpu MHz : 2445.4\napicid : 12\n");
    EXPECT_EQ(bytes(ask(machine_, 0x0603)), (Answer::Bytes{0x8D, 0x09}));
    EXPECT_EQ(number(ask(machine_, 0x0618)), 12U);
    write("proc/cpuinfo", "processor : 0\ncpu MHz : 2445.4\nstepping : 7\n");
    EXPECT_EQ(bytes(ask(machine_, 0x0603)), (Answer::Bytes{0x8D, 0x09, 7, 0}));
}

TEST_F(ProcessorAnswers, AnswersOfTheSocketsWhereTheCountsAgree) {
    Topology topology;
    SmbiosBuilder firmware;
    for (unsigned i = 0; i < topology.packages(); ++i) {
        const std::string number = std::to_string(i);
        firmware.add(SmbiosBuilder::Structure(4, 0x30)
                         .text(4, "Socket " + number)
                         .byte(5, 3)
                         .text(0x10, "Version " + number)
                         .byte(0x18, 0x41)
                         .text(0x20, "Serial " + number)
                         .text(0x22, "Part " + number));
    }
    writeFirmware(firmware);
    for (unsigned cpu = 0; cpu < configuredProcessors(); ++cpu) {
        const auto rank = topology.packagesBefore(cpu);
        if (!rank) {
            continue;
        }
        const std::string number = std::to_string(*rank);
        EXPECT_EQ(text(ask(machine_, 0x0602, 0, cpu)), "Socket " + number);
        EXPECT_EQ(text(ask(machine_, kText, 0x0A00, cpu)), "Serial " + number);
        EXPECT_EQ(text(ask(machine_, kText, 0x0A01, cpu)), "Part " + number);
        EXPECT_EQ(text(ask(machine_, kText, 0x0A05, cpu)), "Version " + number);
    }
    expectNegative(ask(machine_, kText, 0x0A00, configuredProcessors()));
    expectNegative(ask(machine_, kText, 0x0A00, 0xFFFFFFFF));
}

TEST_F(ProcessorAnswers, GuessesNoSocketWhereTheCountsDiffer) {
    Topology topology;
    SmbiosBuilder firmware;
    for (unsigned i = 0; i <= topology.packages(); ++i) {
        firmware.add(SmbiosBuilder::Structure(4, 0x30)
                         .text(4, "Socket")
                         .byte(5, 3)
                         .byte(0x18, 0x41)
                         .text(0x20, "Serial"));
    }
    writeFirmware(firmware);
    expectNegative(ask(machine_, kText, 0x0A00));
    EXPECT_NE(text(ask(machine_, 0x0602)), "Socket");
}

}  // namespace
}  // namespace varnock::agent
