#include "agent/recording/Record.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "agent/Serve.h"
#include "agent/recording/SanitizedRecording.h"

namespace varnock::agent {
namespace {

/// A file without a name and outside of any disk.
FileDescriptor newMemoryFile() {
    FileDescriptor file(memfd_create("recording", MFD_CLOEXEC));
    return file ? std::move(file)
                : throw std::system_error(errno, std::generic_category(), "memory for a recording");
}

std::string contentOf(int file) {
    std::string content;
    char buffer[65536];
    for (off_t offset = 0;;) {
        const ssize_t count = pread(file, buffer, sizeof buffer, offset);
        if (count < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot read the recording");
        }
        if (count == 0) {
            return content;
        }
        content.append(buffer, static_cast<std::size_t>(count));
        offset += count;
    }
}

}  // namespace

int record(const RecordOptions& options, std::optional<int> readyFd) {
    DaemonLoop loop;
    const AgentClock clock(loop.get(), AgentClock::Kind::real);
    Transcript recording(clock);
    // A file that cannot be written is found at the start.
    recording.start(options.file);
    FileDescriptor raw;
    if (options.sanitizes) {
        raw = newMemoryFile();
        recording.start(options.file, FileDescriptor(fcntl(raw.get(), F_DUPFD_CLOEXEC, 0)));
    }
    int status = 0;
    {
        const Proxy proxy(loop.get(), options.proxy, recording);
        status = loop.run("recording in " + options.proxy.directory, readyFd);
    }
    if (options.sanitizes) {
        writeSanitized(contentOf(raw.get()), Sanitizer(), options.file);
    }
    return status;
}

}  // namespace varnock::agent
