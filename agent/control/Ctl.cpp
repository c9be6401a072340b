#include "agent/control/Ctl.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "agent/FrameBuffer.h"
#include "agent/control/ReplyText.h"
#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {
namespace {

using Clock = std::chrono::steady_clock;

std::runtime_error failure(const std::string& path, const std::string& what) {
    return std::runtime_error(path + ": " + what);
}

/// Limits the waits of the socket's calls to `end`. Returns false once `end` has passed.
[[nodiscard]] bool limitWaits(int fd, Clock::time_point end) {
    const auto rest = std::chrono::ceil<std::chrono::microseconds>(end - Clock::now()).count();
    const timeval limit{rest / 1'000'000, rest % 1'000'000};
    return rest > 0 && setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0 &&
           setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
}

FileDescriptor connectTo(const std::string& path, Clock::time_point end) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw failure(path, std::strerror(ENAMETOOLONG));
    }
    path.copy(address.sun_path, path.size());
    FileDescriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!limitWaits(fd.get(), end)) {
        throw failure(path, "the agent does not answer");
    }
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw failure(path, std::string("cannot reach an agent: ") + std::strerror(errno));
    }
    return fd;
}

std::string exchange(int fd, const std::string& path, const std::string& request,
                     Clock::time_point end) {
    const auto noAnswer = [&] { return failure(path, "the agent does not answer"); };
    std::string_view frame;
    const std::string bytes = encodeFrame(request);
    for (frame = bytes; !frame.empty();) {
        if (!limitWaits(fd, end)) {
            throw noAnswer();
        }
        const ssize_t sent = send(fd, frame.data(), frame.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            throw errno == EAGAIN ? noAnswer() : failure(path, std::strerror(errno));
        }
        frame.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
    FrameBuffer reply;
    for (;;) {
        if (const auto text = reply.takeText()) {
            return *text;
        }
        std::array<char, 4096> buffer;
        const ssize_t count = limitWaits(fd, end) ? recv(fd, buffer.data(), buffer.size(), 0) : 0;
        if (count == 0 || (count < 0 && errno != EINTR)) {
            throw noAnswer();
        }
        reply.append({buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count)});
    }
}

}  // namespace

std::string askAgent(const std::string& socket, const std::string& request,
                     std::chrono::milliseconds patience) {
    if (!fitsFrame(request)) {
        throw failure(socket, "the request is longer than a frame");
    }
    const auto end = Clock::now() + patience;
    const FileDescriptor fd = connectTo(socket, end);
    return exchange(fd.get(), socket, request, end);
}

JsonDocument parsedAnswer(const std::string& socket, const std::string& answer) {
    JsonDocument reply;
    const Json* const ok = parse(reply, answer) ? findMember(reply, "ok") : nullptr;
    if (ok == nullptr || !ok->IsBool()) {
        throw failure(socket, "the answer cannot be understood");
    }
    if (!ok->GetBool()) {
        const Json* const error = findMember(reply, "error");
        throw failure(socket,
                      error != nullptr && error->IsString() ? error->GetString() : "refused");
    }
    return reply;
}

std::string shownAnswer(const std::string& socket, const std::string& answer, bool asJson) {
    const JsonDocument reply = parsedAnswer(socket, answer);
    return asJson ? toString(reply, false) + "\n" : replyText(reply);
}

}  // namespace varnock::agent
