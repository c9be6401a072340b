#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "agent/host/HostMachine.h"
#include "tests/agent/host/SmbiosBuilder.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {

inline constexpr unsigned kText = 0x0C00;
inline constexpr unsigned kConfiguration = 0xE001;

inline Answer ask(HostMachine& machine, unsigned opcode, unsigned extension = 0,
                  unsigned object = 0, unsigned cabinet = 0) {
    const SipJson record(opcode, extension, object, cabinet, SipJson::noStatus);
    return machine.answer({opcode, extension, object, cabinet, record});
}

inline std::optional<unsigned> number(const Answer& answer) {
    const auto* value = std::get_if<unsigned>(&answer.data);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

inline std::optional<std::string> text(const Answer& answer) {
    const auto* value = std::get_if<std::string>(&answer.data);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

inline std::optional<Answer::Bytes> bytes(const Answer& answer) {
    const auto* value = std::get_if<Answer::Bytes>(&answer.data);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

/// The ordinary negative answer, which says why.
inline void expectNegative(const Answer& answer) {
    EXPECT_EQ(answer.status, Status::notAvailable);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(answer.data));
    EXPECT_FALSE(answer.reason.empty());
}

/// A machine whose files a test writes.
class RecordedHost : public testing::Test {
  protected:
    void write(const std::string& path, const std::string& content) {
        std::filesystem::create_directories((root_.path() / path).parent_path());
        std::ofstream(root_.path() / path) << content;
    }
    void writeFirmware(const SmbiosBuilder& firmware) {
        const SmbiosBytes table = firmware.table();
        const SmbiosBytes entry = SmbiosBuilder::entry3(0, 0x10000);
        write("sys/firmware/dmi/tables/DMI", {table.begin(), table.end()});
        write("sys/firmware/dmi/tables/smbios_entry_point", {entry.begin(), entry.end()});
    }

    varnock::test::TemporaryDirectory root_;
    HostMachine machine_{root_.path()};
};

}  // namespace varnock::agent
