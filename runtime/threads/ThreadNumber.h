#pragma once

#include <pthread.h>

// Internal, not installed.
namespace varnock {

/// The low 32 bits of a thread id, which trace texts show.
inline unsigned int threadNumber(pthread_t thread) {
    return static_cast<unsigned int>(thread);
}

}  // namespace varnock
