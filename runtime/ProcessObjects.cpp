// The process-wide objects of the runtime, in the order in which they need each other: one file
// and one priority make the order of definition the order of construction.
#include "runtime/InitPriority.h"
#include "runtime/Synchronisation.h"

// Constant-initialised and never destroyed: counters work at any time of the process's life.
constinit pthread_mutex_t CInterLock::incDecMutex_ = PTHREAD_MUTEX_INITIALIZER;
