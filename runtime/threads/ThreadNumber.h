#pragma once

#include <pthread.h>

// Internal, not installed.
namespace varnock {

/// A thread as trace texts show it: the low 32 bits.
inline unsigned int threadNumber(pthread_t thread) {
    return static_cast<unsigned int>(thread);
}

}  // namespace varnock
