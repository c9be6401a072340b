#include "transport/client/TerminatePipe.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "transport/channel/TransportTrace.h"

namespace varnock {

bool TerminatePipe::open() {
    close();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == 0) {
        readEnd_ = awayFromStandardStreams(ends[0]);
        writeEnd_ = awayFromStandardStreams(ends[1]);
    }
    if (!readEnd_ || !writeEnd_) {
        close();
        traceAt(1, "EnableEvents: WARNING: cannot create pipe for termination-thread\n");
        return false;
    }
    wasMade_ = true;
    traceAt(1, "EnableEvents: pipe [%d,%d] for termination-thread created\n", readEnd_.get(),
            writeEnd_.get());
    return true;
}

void TerminatePipe::wake() {
    traceAt(1,
            "WakeupThread_EventMain: wakeup WakeupThread_EventMain for termination on "
            "pipe[%d,%d]\n",
            readEnd_.get(), shownWriteEnd());
    if (writeEnd_ && write(writeEnd_.get(), "WAKE", 4) != 4) {
        traceAt(1, "WakeupThread_EventMain: ERROR: cannot write to pipe: errno=%d\n", errno);
        writeEnd_.reset();
    }
}

void TerminatePipe::close() {
    readEnd_.reset();
    writeEnd_.reset();
}

/// Traces show the write end as 0 until the first pipe was created.
int TerminatePipe::shownWriteEnd() const {
    return wasMade_ ? writeEnd_.get() : 0;
}

}  // namespace varnock
