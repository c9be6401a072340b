#include "agent/host/Firmware.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

TEST(Firmware, ReadsTheTextsThatTheKernelShows) {
    const varnock::test::TemporaryDirectory root;
    const auto directory = root.path() / "sys/class/dmi/id";
    std::filesystem::create_directories(directory);
    std::ofstream(directory / "board_vendor") << "Maker Inc.\n";
    std::ofstream(directory / "board_serial") << " \n";
    const Firmware firmware(root.path());
    EXPECT_EQ(firmware.text("board_vendor"), "Maker Inc.");
    EXPECT_EQ(firmware.text("board_serial"), std::nullopt) << "an empty text is none";
    EXPECT_EQ(firmware.text("board_name"), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
