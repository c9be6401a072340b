// The only program of a virtual machine: it reads the firmware table from physical memory and from
// the kernel's files, prints both to the console, and powers the machine off.
#include <fcntl.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "agent/host/Components.h"
#include "agent/host/FirmwareTable.h"
#include "hardware/CpuInfo.h"

namespace varnock::agent {
namespace {

void say(const std::string& name, const std::optional<std::string>& value) {
    printf("@ %s=%s\n", name.c_str(), value ? value->c_str() : "(none)");
}

void say(const std::string& name, std::optional<unsigned> value) {
    say(name, value ? std::optional(std::to_string(*value)) : std::nullopt);
}

void sayAll(const std::string& name, const std::vector<Component>& components) {
    for (std::size_t i = 0; i < components.size(); ++i) {
        const Component& component = components[i];
        const std::string part = name + std::to_string(i) + ".";
        say(part + "designation", component.designation);
        say(part + "manufacturer", component.manufacturer);
        say(part + "model", component.model);
        say(part + "version", component.version);
        say(part + "serial", component.serialNumber);
        say(part + "part", component.partNumber);
        say(part + "asset", component.assetTag);
    }
}

void sayTable(const std::string& source, const std::optional<SmbiosTable>& table) {
    say(source + ".structures",
        table ? std::optional(static_cast<unsigned>(table->structures().size())) : std::nullopt);
    if (!table) {
        return;
    }
    say(source + ".bios", biosVersion(*table));
    say(source + ".uuid", systemUuid(*table));
    sayAll(source + ".system", systems(*table));
    sayAll(source + ".board", boards(*table));
    sayAll(source + ".chassis", chassis(*table));
    sayAll(source + ".processor", processors(*table));
    if (const auto modules = memoryModules(*table)) {
        for (const MemoryModule& module : *modules) {
            sayAll(source + ".memory", {module});
            say(source + ".memory.mebibytes", module.mebibytes);
        }
    }
}

void sayProcessors() {
    const CCpuInfoOS info;
    say("cpuinfo.processors", info.GetNumberLogicalCPUsFromOS());
    say("cpuinfo.family", info.GetCpuFamilyFromOS(0));
    unsigned int registers[4] = {1, 0, 0, 0};
    cpuRawRead(&registers[0], &registers[1], &registers[2], &registers[3]);
    say("cpuid.family", registers[0] >> 8 & 0xF);
}

/// The kernel starts this with nothing mounted and perhaps without a console.
void takePlace() {
    for (const char* directory : {"/dev", "/proc", "/sys"}) {
        mkdir(directory, 0755);
    }
    mount("dev", "/dev", "devtmpfs", 0, nullptr);
    mount("proc", "/proc", "proc", 0, nullptr);
    mount("sys", "/sys", "sysfs", 0, nullptr);
    const int console = open("/dev/ttyS0", O_RDWR);
    for (const int stream : {0, 1, 2}) {
        dup2(console, stream);
    }
}

}  // namespace
}  // namespace varnock::agent

int main() {
    using namespace varnock::agent;
    takePlace();
    sayTable("memory", tableInMemory());
    sayTable("kernel", tableOfKernel("/"));
    sayProcessors();
    printf("@ end\n");
    fflush(stdout);
    tcdrain(1);
    reboot(RB_POWER_OFF);
}
