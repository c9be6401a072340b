// A separate source file, so that a statically linked program that does not use the object does not
// read /proc/cpuinfo.
#include "hardware/CpuInfo.h"
#include "runtime/Debug.h"
#include "runtime/process/InitPriority.h"

[[gnu::init_priority(VARNOCK_INIT_CPU_INFO)]] CCpuInfoOS CpuInfoFromOS;
