#include "agent/Ctl.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "agent/FrameBuffer.h"
#include "agent/UniqueFd.h"
#include "transport/SipJson.h"

namespace varnock::agent {
namespace {

constexpr timeval kPatience{10, 0};

struct EventName {
    std::string_view name;
    unsigned opcode;
};
constexpr std::array kEventNames = {EventName{"systemMessageLog", 0x0B11},
                                    EventName{"driverMonitorLog", 0x181B}};

unsigned parseNumber(const std::string& text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* end = text.data() + text.size();
    unsigned value = 0;
    const auto parsed =
        std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, value, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc{} || parsed.ptr != end) {
        throw std::invalid_argument("\"" + text + "\" is no number from 0 to 4294967295");
    }
    return value;
}

unsigned opcodeOf(const std::string& event) {
    for (const EventName& known : kEventNames) {
        if (event == known.name) {
            return known.opcode;
        }
    }
    return parseNumber(event);
}

std::runtime_error failure(const std::string& path, const std::string& what) {
    return std::runtime_error(path + ": " + what);
}

UniqueFd connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw failure(path, std::strerror(ENAMETOOLONG));
    }
    path.copy(address.sun_path, path.size());
    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    for (const int option : {SO_SNDTIMEO, SO_RCVTIMEO}) {
        setsockopt(fd.get(), SOL_SOCKET, option, &kPatience, sizeof kPatience);
    }
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw failure(path, std::string("no agent can be reached: ") + std::strerror(errno));
    }
    return fd;
}

std::string exchange(int fd, const std::string& path, const std::string& request) {
    std::string_view frame;
    const std::string bytes = encodeFrame(request);
    for (frame = bytes; !frame.empty();) {
        const ssize_t sent = send(fd, frame.data(), frame.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            throw failure(path, std::strerror(errno));
        }
        frame.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
    FrameBuffer reply;
    for (;;) {
        if (const auto text = reply.takeText()) {
            return *text;
        }
        std::array<char, 4096> buffer;
        const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            throw failure(path, "the agent does not answer");
        }
        reply.append({buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count)});
    }
}

}  // namespace

std::string eventRecord(const EventWords& words) {
    SipJson event(opcodeOf(words.event), parseNumber(words.ext), parseNumber(words.object),
                  parseNumber(words.cabinet), 0);
    // Setting the data sets the status too.
    if (words.number) {
        event.SetDataDWord(parseNumber(*words.number), 0);
    } else if (words.text) {
        event.SetDataString(words.text->c_str(), 0);
    }
    return event.Export();
}

std::string askAgent(const std::string& socket, const std::string& request) {
    if (!fitsFrame(request)) {
        throw failure(socket, "the request is longer than a frame");
    }
    const UniqueFd fd = connectTo(socket);
    const std::string reply = exchange(fd.get(), socket, request);
    constexpr std::string_view done = "ok ";
    if (!reply.starts_with(done)) {
        throw failure(socket, reply);
    }
    return reply.substr(done.size());
}

}  // namespace varnock::agent
