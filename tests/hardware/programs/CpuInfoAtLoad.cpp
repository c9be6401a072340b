// Says how many processors the library knows at every time of a process's life.
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

// An ordinary static object: the library's are there for all of its life.
const Reporter reporter;

}  // namespace

int main() {
    report("main");
    // The file was read at load; what happens to it later is not seen.
    setenv("QX_CPUINFO_FILE", "/nowhere", 1);
    report("later");
    return 0;
}
