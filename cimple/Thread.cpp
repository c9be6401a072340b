#include <cimple/Thread.h>

#include <pthread.h>

CIMPLE_NAMESPACE_BEGIN

int Thread::create_detached(Thread&, Thread_Proc proc, void* arg) {
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, proc, arg);
    return error == 0 ? pthread_detach(thread) : error;
}

CIMPLE_NAMESPACE_END
