#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/Fuzzing.h"
#include "runtime/files/FileDescriptor.h"
#include "runtime/process/Clock.h"
#include "transport/AgentProtocol.h"
#include "transport/SipJson.h"

namespace varnock::fuzz {

/// An agent on the library's sockets that does what the fuzzer's bytes say, and the library's
/// clock. Everything happens on one thread: whenever the library would wait for bytes, the agent
/// takes its next step. Time moves only when the library sleeps or a wait times out. After the last
/// step the agent closes every connection.
///
/// A step is a byte and what it needs:
///
///     0 length text         sends the frame of the text
///     1 length bytes        sends the bytes
///     2                     answers the registration correctly
///     3                     closes the connection
///     4                     shuts down its sending side
///     5                     does nothing: the wait times out
///     6 word length bytes   sends a length word (4 bytes) and the bytes
///     7 length text         sends a successful reply with the text as its data
///
/// where a length is one byte, for step 0 two, the low one first.
class FuzzedPeer final : public Clock {
  public:
    explicit FuzzedPeer(const char* socketName) : listener_(listenOn(socketName)) { replace(this); }
    ~FuzzedPeer() override { replace(nullptr); }
    FuzzedPeer(const FuzzedPeer&) = delete;
    FuzzedPeer& operator=(const FuzzedPeer&) = delete;

    /// What the agent has sent on a connection.
    struct Sent {
        unsigned int number = 0;  ///< of the connection
        std::string bytes;
        bool isRegistered = false;  ///< the first step answered the registration
        bool hasPaused = false;     ///< a wait has timed out
        unsigned int steps = 0;
    };

    /// Begins a new script without connections.
    void begin(Input script) {
        acceptAll();
        connection_.reset();
        script_ = script;
        sent_ = {};
        polls_ = 0;
    }
    /// Of the newest connection.
    const Sent& sent() const { return sent_; }
    /// A wait for only this descriptor is a pause.
    void setPauseDescriptor(int fd) { pauseFd_ = fd; }
    /// Called before a step: the library has read everything that was sent.
    std::function<void()> onIdle;

    void sleepFor(std::chrono::milliseconds duration) override { now_ += duration; }
    int poll(pollfd* descriptors, nfds_t count, int timeoutMs) override {
        require(++polls_ < kMostPolls, "the library polls without an end");
        const bool isPause = count == 1 && descriptors[0].fd == pauseFd_;
        for (;;) {
            const int ready = ::poll(descriptors, count, 0);
            if (ready != 0) {
                return ready;
            }
            if (isPause || !takeStep()) {
                now_ += std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs);
                return 0;
            }
        }
    }
    int waitUntil(pthread_cond_t*, pthread_mutex_t*, const timespec&) override { return 0; }
    std::chrono::nanoseconds monotonicTime() override { return now_; }
    timespec wallTime() override { return {1'600'000'000, 0}; }

  private:
    static constexpr unsigned int kMostPolls = 100'000;

    static int listenOn(const char* name) {
        const std::string path = std::string(secure_getenv("QX_RAGD_SOCKET_DIR")) + '/' + name;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        require(path.size() < sizeof address.sun_path, "the path of the socket is too long");
        path.copy(address.sun_path, path.size());
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        require(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                    listen(fd, SOMAXCONN) == 0,
                "cannot listen");
        return fd;
    }

    /// Keeps the newest connection: the library has one at a time.
    void acceptAll() {
        for (;;) {
            FileDescriptor next(
                accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
            if (!next) {
                return;
            }
            connection_ = FileDescriptor(next.release());
            received_.clear();
            sent_ = {};
            sent_.number = ++accepted_;
        }
    }
    void receive() {
        char buffer[8192];
        ssize_t count = 0;
        while ((count = recv(connection_.get(), buffer, sizeof buffer, 0)) > 0) {
            received_.append(buffer, static_cast<std::size_t>(count));
        }
    }

    /// False if the library is to wait in vain.
    bool takeStep() {
        acceptAll();
        if (!connection_) {
            return false;
        }
        receive();
        if (onIdle) {
            onIdle();
        }
        ++sent_.steps;
        if (script_.isEmpty()) {
            connection_.reset();
            return true;
        }
        switch (script_.byte() % 8) {
            case 0:
                sendFrame(script_.bytes(script_.word()));
                return true;
            case 1:
                send(script_.bytes(script_.byte()));
                return true;
            case 2:
                answerRegistration();
                return true;
            case 3:
                connection_.reset();
                return true;
            case 4:
                shutdown(connection_.get(), SHUT_WR);
                return true;
            case 5:
                sent_.hasPaused = true;
                return false;
            case 6: {
                const std::string_view word = script_.bytes(kFrameHeader);
                send(std::string(word) + std::string(script_.bytes(script_.byte())));
                return true;
            }
            default:
                sendFrame(R"({"SIP":{"V":1,"CMD":[{"OC":1,"ST":0,"DA":)" +
                          std::string(script_.bytes(script_.byte())) + "}]}}");
                return true;
        }
    }

    void send(std::string_view bytes) {
        const ssize_t count = ::send(connection_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        sent_.bytes.append(bytes.substr(0, count < 0 ? 0 : static_cast<std::size_t>(count)));
    }
    void sendFrame(std::string_view text) {
        std::string frame(frameSize(text), '\0');
        writeFrame(frame.data(), text);
        send(frame);
    }
    /// Returns the block of the request, as an agent does.
    void answerRegistration() {
        SipJson reply;
        if (received_.size() > kFrameHeader) {
            reply.Import(received_.c_str() + kFrameHeader);
        }
        reply.SetStatus(toNumber(CommandStatus::success));
        sent_.isRegistered = sent_.steps == 1 && reply.OpCode() == kRegisterOpcode;
        sendFrame(reply.Export());
    }

    const FileDescriptor listener_;
    FileDescriptor connection_;
    Input script_{nullptr, 0};
    std::string received_;
    Sent sent_;
    unsigned int accepted_ = 0;
    int pauseFd_ = -1;
    unsigned int polls_ = 0;
    std::chrono::nanoseconds now_{0};
};

/// The texts of the complete frames in a stream.
inline std::vector<std::string> framesIn(std::string_view bytes, std::size_t longest) {
    std::vector<std::string> texts;
    while (bytes.size() >= kFrameHeader) {
        std::uint32_t length = 0;
        std::memcpy(&length, bytes.data(), sizeof length);
        bytes.remove_prefix(kFrameHeader);
        if (length > longest || length > bytes.size()) {
            break;
        }
        const std::string_view text = bytes.substr(0, length);
        texts.emplace_back(text.substr(0, text.find('\0')));
        bytes.remove_prefix(length);
    }
    return texts;
}

}  // namespace varnock::fuzz
