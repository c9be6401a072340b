#include <gtest/gtest.h>

#include "tests/agent/host/FakeSensors.h"
#include "tests/agent/host/HostQuestions.h"

namespace varnock::agent {
namespace {

using PowerAnswers = RecordedHost;

TEST_F(PowerAnswers, AnswersOfThePowerSuppliesOfTheFirmware) {
    for (const unsigned opcode : {0x0500U, 0x0504U, 0x0507U}) {
        expectNegative(ask(machine_, opcode));
    }
    const SmbiosBuilder firmware = SmbiosBuilder().add(SmbiosBuilder::Structure(39, 0x16)
                                                           .text(0x05, "PSU bay 1")
                                                           .text(0x06, "Supply 9")
                                                           .text(0x08, "P-1")
                                                           .word(0x0C, 800)
                                                           .word(0x0E, 2));
    writeFirmware(firmware);
    EXPECT_EQ(number(ask(machine_, 0x0500)), 1U);
    EXPECT_EQ(text(ask(machine_, 0x0504)), "PSU bay 1");
    EXPECT_EQ(number(ask(machine_, 0x0507)), 800U);
    EXPECT_EQ(text(ask(machine_, kText, 0x0800)), "P-1");
    EXPECT_EQ(text(ask(machine_, kText, 0x0808)), "Supply 9");
    expectNegative(ask(machine_, 0x0501));
    expectNegative(ask(machine_, 0x0506));
    expectNegative(ask(machine_, 0x0504, 0, 1));
    expectNegative(ask(machine_, kText, 0x0800, 1));
}

TEST_F(PowerAnswers, AnswersOfThePowerThatComponentsTake) {
    for (const unsigned opcode : {0x0530U, 0x0531U, 0x0532U, 0x0533U}) {
        expectNegative(ask(machine_, opcode, opcode == 0x0530 ? 0 : 0x06));
    }
    FakeSensors fake;
    auto& chip = fake.add("power_meter", "power_meter-acpi-0");
    FakeSensors::add(chip, SENSORS_FEATURE_POWER, "power1",
                     {{SENSORS_SUBFEATURE_POWER_AVERAGE, 230.6}});
    write("sys/class/powercap/intel-rapl:0/name", "package-0\n");
    write("sys/class/powercap/intel-rapl:0/energy_uj", "1\n");
    HostMachine machine(root_.path());
    EXPECT_EQ(bytes(ask(machine, 0x0530)), (Answer::Bytes{0x06, 0x0A}));
    EXPECT_EQ(number(ask(machine, 0x0531, 0x06)), 1U);
    EXPECT_EQ(text(ask(machine, 0x0532, 0x06)), "power_meter-acpi-0 power1");
    EXPECT_EQ(number(ask(machine, 0x0533, 0x06)), 231U);
    EXPECT_EQ(text(ask(machine, 0x0532, 0x0A)), "package-0");
    expectNegative(ask(machine, 0x0531, 0x03));
    expectNegative(ask(machine, 0x0532, 0x06, 1));
    expectNegative(ask(machine, 0x0533, 0x06, 1));
    expectNegative(ask(machine, 0x0534, 0x06));
}

TEST_F(PowerAnswers, HasNoPowerAtTheFirstReading) {
    write("sys/class/powercap/intel-rapl:0/name", "package-0\n");
    write("sys/class/powercap/intel-rapl:0/energy_uj", "1\n");
    expectNegative(ask(machine_, 0x0533, 0x0A));
}

}  // namespace
}  // namespace varnock::agent
