#include "hardware/CpuInfo.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace varnock::bench {
namespace {

/// The kernel's lines for one processor of a server, 1.7 kB.
std::string paragraph(unsigned int processor) {
    const std::string number = std::to_string(processor);
    std::string flags;
    for (unsigned int flag = 0; flag < 150; ++flag) {
        flags += " flag_" + std::to_string(flag);
    }
    return "processor\t: " + number +
           "\nvendor_id\t: GenuineIntel\ncpu family\t: 6\nmodel\t\t: 85\n"
           "model name\t: Intel(R) Xeon(R) Silver 4210R CPU @ 2.40GHz\nstepping\t: 7\n"
           "microcode\t: 0x5003605\ncpu MHz\t\t: 2394.000\ncache size\t: 14080 KB\n"
           "physical id\t: 0\nsiblings\t: 4\ncore id\t\t: 0\ncpu cores\t: 2\napicid\t\t: " +
           number + "\ninitial apicid\t: " + number +
           "\nfpu\t\t: yes\nfpu_exception\t: yes\ncpuid level\t: 22\nwp\t\t: yes\nflags\t\t:" +
           flags +
           "\nvmx flags\t: vnmi preemption_timer posted_intr invvpid ept_x_only ept_ad ept_1gb\n"
           "bugs\t\t: spectre_v1 spectre_v2 spec_store_bypass swapgs\nbogomips\t: 4800.00\n"
           "clflush size\t: 64\ncache_alignment\t: 64\n"
           "address sizes\t: 46 bits physical, 48 bits virtual\npower management:\n\n";
}

/// A file of 4,096 processors in memory, which the library reads as "/proc/cpuinfo".
class CpuInfoFile {
  public:
    CpuInfoFile() : fd_(memfd_create("cpuinfo", 0)), path_("/proc/self/fd/" + std::to_string(fd_)) {
        std::string text;
        for (unsigned int i = 0; i < 4096; ++i) {
            text += paragraph(i);
        }
        if (write(fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            throw std::runtime_error("no file of processors");
        }
        setenv("QX_CPUINFO_FILE", path_.c_str(), 1);
    }
    ~CpuInfoFile() { close(fd_); }
    CpuInfoFile(const CpuInfoFile&) = delete;
    CpuInfoFile& operator=(const CpuInfoFile&) = delete;

    const char* path() const { return path_.c_str(); }

  private:
    int fd_;
    std::string path_;
};

void load(benchmark::State& state) {
    const CpuInfoFile file;
    for (auto _ : state) {
        const CCpuInfoOS info;
        if (info.GetNumberLogicalCPUsFromOS() != 4096) {
            state.SkipWithError("processors are missing");
        }
    }
}
BENCHMARK(load)->Name("CpuInfo4096/ours");

/// Reads the same file in blocks of stdio's size without parsing it.
void readOnly(benchmark::State& state) {
    const CpuInfoFile file;
    for (auto _ : state) {
        std::array<char, 4096> buffer;
        const int fd = open(file.path(), O_RDONLY | O_CLOEXEC);
        ssize_t count;
        while ((count = read(fd, buffer.data(), buffer.size())) > 0) {
            benchmark::DoNotOptimize(buffer);
        }
        close(fd);
    }
}
BENCHMARK(readOnly)->Name("CpuInfo4096/peer");

}  // namespace
}  // namespace varnock::bench
