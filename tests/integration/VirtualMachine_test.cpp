// Real physical memory: Debian's kernel in a virtual machine with the test's firmware tables, and a
// program that reads them through the device for physical memory.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

using Facts = std::map<std::string, std::string>;

[[maybe_unused]] std::string kernelFile() {
    const char* file = std::getenv("VARNOCK_TEST_KERNEL");
    return file != nullptr ? file : VARNOCK_KERNEL_FILE;
}

/// Why the machine cannot run; empty if it can.
std::string missing() {
    if (runProcess({"sh", "-c", "command -v qemu-system-x86_64"}).status != 0) {
        return "there is no qemu-system-x86_64; ./dev test installs it";
    }
    if (access(kernelFile().c_str(), R_OK) != 0) {
        return "there is no kernel at " + kernelFile() + "; ./dev test fetches it";
    }
    return {};
}

/// One file of a "newc" archive, as the kernel unpacks its first file system.
[[maybe_unused]] std::string archived(const std::string& name, unsigned int mode,
                                      const std::string& content) {
    char header[111];
    std::snprintf(header, sizeof header,
                  "070701%08X%08X%08X%08X%08X%08X%08zX%08X%08X%08X%08X%08zX%08X", 1U, mode, 0U, 0U,
                  1U, 0U, content.size(), 0U, 0U, 0U, 0U, name.size() + 1, 0U);
    const auto padded = [](std::string text) {
        text.append((4 - text.size() % 4) % 4, '\0');
        return text;
    };
    return padded(header + name + '\0') + padded(content);
}

/// The output of the program: lines "@ name=value".
[[maybe_unused]] Facts factsIn(const std::string& console) {
    Facts facts;
    std::istringstream lines(console);
    for (std::string line; std::getline(lines, line);) {
        while (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.rfind("@ ", 0) != 0) {
            continue;
        }
        const std::size_t equals = std::min(line.find('='), line.size());
        facts[line.substr(2, equals - 2)] = line.substr(std::min(equals + 1, line.size()));
    }
    return facts;
}

/// A machine with the firmware of the test. The parameter is the kind of entry point, "32" or "64".
class VirtualMachine : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        if (const std::string reason = missing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
    }

    /// Starts the machine, which runs only our program, and returns the program's output.
    Facts boot(const std::vector<std::string>& firmware) {
        const std::string archive = directory_.file("initrd");
        writeFile(archive, archived("init", S_IFREG | 0755, readFile(FIRMWARE_INIT)) +
                               archived("TRAILER!!!", 0, ""));
        EXPECT_EQ(runProcess({"gzip", "-1", archive}).status, 0);
        const std::string console = directory_.file("console");
        std::vector<std::string> command{
            "qemu-system-x86_64", "-accel", "tcg", "-machine",
            std::string("pc,smbios-entry-point-type=") + GetParam(), "-m", "256", "-smp",
            "2,sockets=2", "-nodefaults", "-display", "none", "-no-reboot", "-serial",
            "file:" + console, "-kernel", kernelFile(), "-initrd", archive + ".gz", "-append",
            // A kernel that panics ends the machine at once. On a busy machine its test of the
            // timer fails.
            "console=ttyS0 quiet loglevel=1 panic=-1 no_timer_check"};
        command.insert(command.end(), firmware.begin(), firmware.end());
        const ProcessResult result = runProcess(command);
        EXPECT_EQ(result.status, 0) << result.err;
        const std::string said = readFile(console);
        Facts facts = factsIn(said);
        EXPECT_EQ(facts.count("end"), 1U) << said;
        return facts;
    }

    TemporaryDirectory directory_;
};

TEST_P(VirtualMachine, ReadsTheFirmwaresTableOutOfThePhysicalMemory) {
    Facts facts = boot(
        {"-uuid", "33221100-5544-7766-8899-aabbccddeeff", "-smbios",
         "type=0,vendor=Firmware House,version=F 1.2", "-smbios",
         "type=1,manufacturer=Maker & Co,product=Server 9,serial=SN-4711,version=V2,sku=SKU-1",
         "-smbios", "type=2,manufacturer=Board House,product=Board 5,serial=B-1,location=Bay 3",
         "-smbios", "type=3,manufacturer=Case House,serial=C-1,version=C2,sku=CSKU,asset=Tag 12",
         "-smbios", "type=4,sock_pfx=CPU,manufacturer=Chip House,serial=P-1,part=PP-1", "-smbios",
         "type=17,loc_pfx=DIMM,manufacturer=Memory House,part=MP-1,serial=M-1"});
    // Both sources give the same table.
    for (const std::string source : {"memory.", "kernel."}) {
        SCOPED_TRACE(source);
        const auto fact = [&](const char* name) { return facts[source + name]; };
        for (const char* name : {"system0.manufacturer", "system0.model", "system0.serial"}) {
            std::printf("%s%s: %s\n", source.c_str(), name, fact(name).c_str());
        }
        EXPECT_EQ(fact("bios"), "F 1.2");
        EXPECT_EQ(fact("uuid"), "33221100-5544-7766-8899-aabbccddeeff");
        EXPECT_EQ(fact("system0.manufacturer"), "Maker & Co");
        EXPECT_EQ(fact("system0.model"), "Server 9");
        EXPECT_EQ(fact("system0.serial"), "SN-4711");
        EXPECT_EQ(fact("system0.version"), "V2");
        EXPECT_EQ(fact("system0.part"), "SKU-1");
        EXPECT_EQ(fact("board0.manufacturer"), "Board House");
        EXPECT_EQ(fact("board0.model"), "Board 5");
        EXPECT_EQ(fact("board0.serial"), "B-1");
        EXPECT_EQ(fact("board0.designation"), "Bay 3");
        EXPECT_EQ(fact("chassis0.manufacturer"), "Case House");
        EXPECT_EQ(fact("chassis0.serial"), "C-1");
        EXPECT_EQ(fact("chassis0.version"), "C2");
        EXPECT_EQ(fact("chassis0.part"), "CSKU");
        EXPECT_EQ(fact("chassis0.asset"), "Tag 12");
        EXPECT_EQ(fact("processor0.designation"), "CPU 0");
        EXPECT_EQ(fact("processor1.designation"), "CPU 1");
        EXPECT_EQ(fact("processor1.manufacturer"), "Chip House");
        EXPECT_EQ(fact("processor1.serial"), "P-1");
        EXPECT_EQ(fact("processor1.part"), "PP-1");
        EXPECT_EQ(fact("memory0.designation"), "DIMM 0");
        EXPECT_EQ(fact("memory0.manufacturer"), "Memory House");
        EXPECT_EQ(fact("memory0.part"), "MP-1");
        EXPECT_EQ(fact("memory0.serial"), "M-1");
        EXPECT_EQ(fact("memory.mebibytes"), "256");
    }
    EXPECT_EQ(facts["memory.structures"], facts["kernel.structures"]);
    // The processors of the machine are also in the table.
    EXPECT_EQ(facts["cpuinfo.processors"], "2");
    EXPECT_EQ(facts["cpuinfo.family"], facts["cpuid.family"]);
}

INSTANTIATE_TEST_SUITE_P(EntryPoint, VirtualMachine, testing::Values("32", "64"),
                         [](const auto& kind) { return std::string("Of") + kind.param + "Bits"; });

}  // namespace
}  // namespace varnock::test
