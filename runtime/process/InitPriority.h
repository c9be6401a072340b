#pragma once

// The order in which the library builds its process-wide objects. Objects with a smaller number are
// built earlier and destroyed later. Objects of the program itself (default priority) are built
// after all of them. Objects of one file and one priority are built in the order of definition.
// Internal.
#define VARNOCK_INIT_RUNTIME 1000       ///< maps, registry, Debug, trace lock: ProcessObjects.cpp
#define VARNOCK_INIT_CPU_INFO 1010      ///< CpuInfoFromOS
#define VARNOCK_INIT_SWITCH 1020        ///< KOLMSwitch
#define VARNOCK_INIT_LOCAL_CLIENT 1021  ///< provider::LocalKolmClient
#define VARNOCK_INIT_LAST 1030          ///< notices the end of the process first
