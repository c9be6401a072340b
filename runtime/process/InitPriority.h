#pragma once

// The order in which the library builds its process-wide objects, in one place. Smaller numbers
// are built first and destroyed last; objects of the program itself (default priority) come after
// all of them. Within one file and priority the order of definition holds. Internal.
#define VARNOCK_INIT_RUNTIME 1000       ///< maps, registry, Debug, trace lock: ProcessObjects.cpp
#define VARNOCK_INIT_CPU_INFO 1010      ///< CpuInfoFromOS
#define VARNOCK_INIT_SWITCH 1020        ///< KOLMSwitch
#define VARNOCK_INIT_LOCAL_CLIENT 1021  ///< provider::LocalKolmClient
#define VARNOCK_INIT_LAST 1030          ///< what is to know first that the process ends
