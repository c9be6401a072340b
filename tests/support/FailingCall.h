#pragma once

namespace varnock::test {

/// The calls of the thread library and the system calls that a test can make fail.
enum class PlatformCall {
    MutexInit,
    MutexLock,
    CondInit,
    SemInit,
    AttrInit,
    AttrSetDetachState,
    AttrSetSchedPolicy,
    AttrGetSchedParam,
    AttrSetSchedParam,
    ThreadCreate,
    ThreadCancel,
    KeyCreate,
    KeyDelete,
    Socket,
    Send,
    Receive,
    Pipe,
};

/// Makes platform calls of the calling thread fail: the n-th of its kind from construction on (1 is
/// the next), and `times` in all. Calls of the thread library return `error`; system calls return
/// -1 with `error` in errno, or 0 for an `error` of 0. Such calls cannot be made to fail otherwise.
///
///     const FailingCall failure(PlatformCall::CondInit, EAGAIN);
///     operation();
///     EXPECT_TRUE(failure.happened());
///
/// One at a time in each thread. It replaces the calls in the whole program at link time, so tests
/// link it by name: varnock_test(... LIBRARIES varnock_failing_call).
class FailingCall {
  public:
    FailingCall(PlatformCall call, int error, unsigned int n = 1, unsigned int times = 1);
    ~FailingCall();
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;

    bool happened() const;
};

}  // namespace varnock::test
