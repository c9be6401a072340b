#include "bench/support/MinimalAgent.h"

#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "transport/AgentSocket.h"
#include "transport/SipJson.h"

namespace varnock::bench {
namespace {

constexpr unsigned int kRegistration = 0xFFA0;
constexpr unsigned int kSystemMessageLog = 0x0B11;
constexpr unsigned int kNumberOfComponents = 0x0C85;
constexpr unsigned int kComponentInfo = 0x0C86;

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::runtime_error("socket path too long: " + path);
    }
    path.copy(address.sun_path, path.size());
    return address;
}

int checked(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + strerror(errno));
    }
    return result;
}

int listenAt(const std::string& path) {
    const int descriptor = checked(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    const sockaddr_un address = addressOf(path);
    checked(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    checked(listen(descriptor, 64), "listen");
    return descriptor;
}

/// On two processors the wake-ups of the two processes take many times as long as the call itself
/// and vary from run to run.
void useOneProcessor() {
    cpu_set_t here;
    CPU_ZERO(&here);
    CPU_SET(static_cast<std::size_t>(checked(sched_getcpu(), "sched_getcpu")), &here);
    checked(sched_setaffinity(0, sizeof here, &here), "sched_setaffinity");
}

/// The record of a network controller: its kind and ten texts.
std::vector<unsigned char> componentRecord() {
    constexpr unsigned char kNetworkController = 13;
    std::vector<unsigned char> record{0, 0, kNetworkController, 0, 0, 0};
    for (unsigned char text = 0; text < 10; ++text) {
        record.insert(record.end(),
                      {'t', 'e', 'x', 't', static_cast<unsigned char>('0' + text), 0});
    }
    return record;
}

void setBlock(SipJson& record, const std::vector<unsigned char>& block) {
    record.SetRequestDataStream(block);
    record.SetStatus(0);
}

std::string replyTo(const char* text) {
    SipJson record;
    record.Import(text);
    switch (record.OpCode()) {
        case kRegistration:
            setBlock(record, std::vector<unsigned char>(224));
            break;
        case kComponentInfo:
            setBlock(record, componentRecord());
            break;
        case kNumberOfComponents:
            record.SetDataDWord(record.CabinetNr(), 0);
            break;
        default:
            record.SetDataDWord(4, 0);
            break;
    }
    return frameOf(record.Export());
}

/// Answers one request. The reply to a repeated text is not built again, which keeps the agent's
/// own work out of the results.
[[nodiscard]] bool answer(int descriptor) {
    static std::string lastRequest;
    static std::string lastReply;
    static char buffer[1 << 20];
    size_t have = 0;
    uint32_t length = 0;
    do {
        const ssize_t got = read(descriptor, buffer + have, sizeof buffer - have);
        if (got <= 0) {
            return false;
        }
        have += static_cast<size_t>(got);
        if (have >= sizeof length) {
            memcpy(&length, buffer, sizeof length);
        }
    } while (have < sizeof length + length);
    const std::string_view request(buffer + sizeof length, length);
    if (request != lastRequest) {
        lastRequest = request;
        lastReply = replyTo(lastRequest.c_str());
    }
    return write(descriptor, lastReply.data(), lastReply.size()) ==
           static_cast<ssize_t>(lastReply.size());
}

std::string blockEvent() {
    SipJson event(kRegistration, 0x1200, 0, 0, 0);
    event.SetRequestDataStream(std::vector<unsigned char>(64, 100));
    return frameOf(event.Export());
}

std::string numberedEvent(unsigned int number) {
    SipJson event(kSystemMessageLog, 0, 0, 0, 0);
    event.SetDataDWord(number, 0);
    return frameOf(event.Export());
}

/// Sends events on a registered connection until the library closes it.
[[noreturn]] void sendEvents(int descriptor, MinimalAgent::Events events) {
    std::string frame = blockEvent();
    while (answer(descriptor)) {
        unsigned int number = 0;
        do {
            if (events == MinimalAgent::Events::numbers) {
                frame = numberedEvent(++number);
            }
        } while (send(descriptor, frame.data(), frame.size(), MSG_NOSIGNAL) > 0);
    }
    _exit(0);
}

void acceptEvents(int listener, int requests, MinimalAgent::Events events) {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(requests);
        close(listener);
        sendEvents(descriptor, events);
    }
    close(descriptor);
}

[[noreturn]] void serve(int requests, int eventListener, MinimalAgent::Events events) {
    signal(SIGCHLD, SIG_IGN);
    std::vector<pollfd> watched{{requests, POLLIN, 0}, {eventListener, POLLIN, 0}};
    for (;;) {
        poll(watched.data(), watched.size(), -1);
        for (size_t i = watched.size(); i-- > 2;) {
            if (watched[i].revents != 0 && !answer(watched[i].fd)) {
                close(watched[i].fd);
                watched.erase(watched.begin() + static_cast<ptrdiff_t>(i));
            }
        }
        if (watched[1].revents != 0) {
            acceptEvents(eventListener, requests, events);
        }
        if (watched[0].revents != 0) {
            watched.push_back({accept4(requests, nullptr, nullptr, SOCK_CLOEXEC), POLLIN, 0});
        }
    }
}

}  // namespace

std::string frameOf(const std::string& text) {
    const auto length = static_cast<uint32_t>(text.size() + 1);
    std::string frame(reinterpret_cast<const char*>(&length), sizeof length);
    return frame + text + '\0';
}

MinimalAgent::MinimalAgent(Processors processors, Events events) {
    if (processors == Processors::one) {
        useOneProcessor();
    }
    char name[] = "/tmp/vb-XXXXXX";
    if (mkdtemp(name) == nullptr) {
        throw std::runtime_error("mkdtemp");
    }
    directory_ = name;
    setenv("QX_RAGD_SOCKET_DIR", directory_.c_str(), 1);
    const int listener = listenAt(RequestSocketPath());
    const int eventListener = listenAt(EventSocketPath());
    process_ = checked(fork(), "fork");
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve(listener, eventListener, events);
    }
    close(listener);
    close(eventListener);
}

MinimalAgent::~MinimalAgent() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    unlink(RequestSocketPath().c_str());
    unlink(EventSocketPath().c_str());
    rmdir(directory_.c_str());
}

int MinimalAgent::connectTo(const std::string& path) {
    const int descriptor = checked(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    const sockaddr_un address = addressOf(path);
    checked(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address),
            "connect");
    return descriptor;
}

}  // namespace varnock::bench
