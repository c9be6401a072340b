// Prints the number of processors known to the library at each stage of a process.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>

#include "hardware/CpuInfo.h"

namespace {

void report(const char* when) {
    dprintf(STDOUT_FILENO, "%s %u\n", when, CpuInfoFromOS.GetNumberLogicalCPUsFromOS());
}

struct Reporter {
    Reporter() { report("static-begin"); }
    ~Reporter() { report("static-end"); }
};

/// An ordinary static object: the library's objects exist during its whole lifetime.
const Reporter kReporter;

}  // namespace

int main() {
    report("main");
    // The file was read at load time; later changes are not seen.
    setenv("QX_CPUINFO_FILE", "/nowhere", 1);
    report("later");
    return 0;
}
