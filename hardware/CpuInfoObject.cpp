// In a file of its own, so that a statically linked program that does not ask for it does not read
// the file.
#include "hardware/CpuInfo.h"
#include "runtime/Debug.h"
#include "runtime/process/InitPriority.h"

[[gnu::init_priority(VARNOCK_INIT_CPU_INFO)]] CCpuInfoOS CpuInfoFromOS;
