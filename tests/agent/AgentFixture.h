#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "agent/Server.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent::test {

/// A machine of a few made-up commands.
class FakeMachine : public Machine {
  public:
    enum Opcode : unsigned {
        kNumber = 0x0001,
        kText,
        kBlock,
        kLargeBlock,
        kTooLarge,
        kThrows,
        kNoMemory,
    };

    Answer answer(const Command& command) override {
        ++calls;
        switch (command.opcode) {
            case kNumber:
                return 42U;
            case kText:
                return std::string("text");
            case kBlock:
                return Answer::Bytes{1, 2, 255};
            case kLargeBlock:
                return Answer::Bytes(50'000, 7);
            case kTooLarge:
                return Answer::Bytes(600'000, 7);
            case kThrows:
                throw std::runtime_error("broken");
            case kNoMemory:
                throw std::bad_alloc();
            default:
                return Status::notAvailable;
        }
    }

    int calls = 0;
};

/// A badly behaved client: it sends any bytes and reads at any time, never blocking.
class Client {
  public:
    explicit Client(const std::string& path)
        : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        connected_ = connect(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }

    bool connected() const { return connected_; }
    int fd() const { return fd_.get(); }
    void close() { fd_.reset(); }
    void endSending() const { shutdown(fd_.get(), SHUT_WR); }

    /// Sends as much as fits now; returns the number of bytes sent.
    std::size_t send(std::string_view bytes) const {
        const ssize_t count = ::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        return count < 0 ? 0 : static_cast<std::size_t>(count);
    }

    /// Reads the available bytes. False once the agent has closed the connection.
    bool receive() {
        char buffer[65536];
        for (;;) {
            const ssize_t count = recv(fd_.get(), buffer, sizeof buffer, 0);
            if (count <= 0) {
                return count < 0 && errno == EAGAIN;
            }
            frames_.append({buffer, static_cast<std::size_t>(count)});
        }
    }
    std::optional<std::string> text() { return frames_.takeText(); }

  private:
    FileDescriptor fd_;
    bool connected_ = false;
    FrameBuffer frames_;
};

/// The text of a command record as a client sends it.
inline std::string requestText(unsigned opcode) {
    return SipJson(opcode, 0, 0, 0, SipJson::noStatus).Export();
}
inline std::string requestFrame(unsigned opcode) {
    return encodeFrame(requestText(opcode));
}

/// A registration with the options block of a client of that name.
inline std::string registrationText(unsigned extension, const std::string& name,
                                    std::size_t size = 224) {
    std::vector<unsigned char> options(size);
    std::copy(name.begin(), name.end(), options.begin());
    SipJson record(0xFFA0, extension, 0, 0, SipJson::noStatus);
    record.SetRequestDataStream(options);
    return record.Export();
}

/// A server on a loop that the test runs step by step: no thread, no real waiting.
class AgentServer : public testing::Test {
  protected:
    void start(ClientLimits limits = {}) {
        server_ = std::make_unique<Server>(
            loop_.get(), machine_,
            ServerOptions{.directory = directory_.path(), .mode = 0600, .limits = limits});
    }
    std::string requests() const { return directory_.file("ragdsj"); }
    std::string events() const { return directory_.file("ragdaj"); }
    std::string controls() const { return directory_.file(kControlSocket); }

    /// Lets the server process everything that is ready.
    void pump() {
        while (checked(sd_event_run(loop_.get(), 0), "loop") > 0) {
        }
    }
    /// Runs the server until the condition holds; otherwise the test's time limit ends it.
    template <typename Predicate>
    void pumpUntil(Predicate happened) {
        while (!happened()) {
            checked(sd_event_run(loop_.get(), UINT64_MAX), "loop");
        }
    }
    void sendAll(const Client& client, std::string_view bytes) {
        while (!bytes.empty()) {
            bytes.remove_prefix(client.send(bytes));
            pump();
        }
    }
    /// The next reply; nothing if the agent sends none.
    std::optional<std::string> reply(Client& client) {
        pump();
        client.receive();
        return client.text();
    }
    std::optional<std::string> ask(Client& client, unsigned opcode) {
        sendAll(client, requestFrame(opcode));
        return reply(client);
    }
    /// Sends an event at once; returns the number of clients that are registered for events then.
    std::size_t pushEvent(const SipJson& event) {
        server_->events().raise(event);
        server_->events().sendAll();
        return server_->listeners();
    }
    bool closed(Client& client) {
        pump();
        return !client.receive();
    }

    varnock::test::TemporaryDirectory directory_;
    FakeMachine machine_;
    EventLoop loop_ = newEventLoop();
    std::unique_ptr<Server> server_;
};

inline constexpr const char* kNumberReply =
    R"({"SIP":{"V":1,"CMD":[{"OC":1,"CA":0,"ST":0,"DA":42}]}})";

}  // namespace varnock::agent::test
