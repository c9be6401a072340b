#include <gtest/gtest.h>

#include "tests/agent/host/HostQuestions.h"
#include "tests/agent/host/PciFunction.h"

namespace varnock::agent {
namespace {

using PciAnswers = RecordedHost;

TEST_F(PciAnswers, ListsThePciDevicesAndReadsTheirHeaders) {
    expectNegative(ask(machine_, 0x1490));
    write("sys/bus/pci/devices/0000:02:1f.3/config", std::string(64, 'c'));
    EXPECT_EQ(bytes(ask(machine_, 0x1490)), (Answer::Bytes{0, 0, 2, 0, 0x1F, 3}));

    SipJson record(0x1401, 0, 5, 0, SipJson::noStatus);
    const Command command{0x1401, 0, 5, 0, record};
    EXPECT_EQ(machine_.answer(command).status, Status::invalid) << "no address";
    record.SetRequestDataStream({2, 0x1F});
    EXPECT_EQ(machine_.answer(command).status, Status::invalid) << "half an address";
    record.SetRequestDataStream({2, 0x1F, 3});
    EXPECT_EQ(bytes(machine_.answer(command)), Answer::Bytes(64, 'c'));
    record.SetRequestDataStream({2, 0x1F, 4});
    expectNegative(machine_.answer(command));
}

TEST_F(PciAnswers, OpensNoScanWithoutAPciBus) {
    for (const unsigned opcode : {0x0C82U, 0x0C85U, 0x0C86U}) {
        expectNegative(ask(machine_, opcode));
    }
}

TEST_F(PciAnswers, ScansTheControllers) {
    write("sys/bus/pci/devices/0000:02:00.0/config", pciHeader(0x1533, 0x02, 0x00));
    const auto token = number(ask(machine_, 0x0C82));
    ASSERT_TRUE(token);
    EXPECT_EQ(number(ask(machine_, 0x0C85, *token)), 1U);
    const std::string texts = std::string("\0", 1) + "8086:1533" + '\0' + "8086:1533" + '\0' +
                              "Ethernet controller" + '\0' + '\0' + "03" + '\0' + '\0' + '\0' +
                              "0000:02:00.0" + '\0' + "0000:02:00.0" + '\0';
    Answer::Bytes expected = {0, 0, 13, 0, 0, 0};
    expected.insert(expected.end(), texts.begin(), texts.end());
    expected[0] = static_cast<unsigned char>(expected.size());
    EXPECT_EQ(bytes(ask(machine_, 0x0C86, *token, 1)), expected);
    expectNegative(ask(machine_, 0x0C86, *token, 0));
    expectNegative(ask(machine_, 0x0C86, *token, 2));
    EXPECT_EQ(ask(machine_, 0x0C85, *token + 1).status, Status::wrongState);
    EXPECT_EQ(ask(machine_, 0x0C83, *token).status, Status::success);
}

}  // namespace
}  // namespace varnock::agent
