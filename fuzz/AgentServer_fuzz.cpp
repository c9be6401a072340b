#include <poll.h>

#include <array>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "agent/EventLoop.h"
#include "agent/Responder.h"
#include "agent/Server.h"
#include "agent/control/Control.h"
#include "fuzz/Fuzzing.h"
#include "tests/agent/AgentFixture.h"
#include "tests/support/TemporaryDirectory.h"

// Clients that send any bytes, in any pieces, to the three sockets of the agent. A client of the
// request socket gets the reply to each whole frame, and nothing remains of a client that has gone.
//
// Input: steps. The low half of a byte selects what happens, the high half the client:
//
//     0, 1, 2  connects to the socket for requests, for events, for control
//     3        sends a length (1 byte) of bytes
//     4        sends the frame of a text: a length (2 bytes, the low one first) and the bytes
//     5, 6     registers for requests, for events
//     7        ends sending
//     8        closes
//     9        reads

namespace {

using namespace varnock::agent;
using varnock::agent::test::Client;
using varnock::fuzz::Input;
using varnock::fuzz::require;

constexpr std::size_t kClients = 6;

/// Every kind of answer, by the operation code; none is large.
class AnyMachine final : public Machine {
  public:
    Answer answer(const Command& command) override {
        switch (command.opcode % 8) {
            case 1:
                return 42U;
            case 2:
                return std::string("text");
            case 3:
                return Answer::Bytes{1, 2, 255};
            case 4:
                return Answer::Bytes(2000, 7);
            case 5:
                throw std::runtime_error("broken");
            case 6:
                throw std::bad_alloc();
            case 7: {
                // What the command holds.
                Answer::Bytes bytes;
                return command.record.GetDataStream(bytes) ? Answer(bytes)
                                                           : Answer(command.record.DataDWord());
            }
            default:
                return Status::notAvailable;
        }
    }
};

/// A server that answers as long as the program runs.
struct Agent {
    void run() const {
        constexpr int kMostSteps = 10'000;
        int steps = 0;
        while (checked(sd_event_run(loop.get(), 0), "loop") > 0) {
            require(++steps < kMostSteps, "the agent never waits");
        }
    }
    std::size_t connections() const {
        return server.connections(Channel::requests) + server.connections(Channel::events) +
               server.connections(Channel::control);
    }
    std::string socket(const char* name) const { return directory.file(name); }

    varnock::test::TemporaryDirectory directory;
    AnyMachine machine;
    EventLoop loop = newEventLoop();
    Server server{
        loop.get(),
        machine,
        {.directory = directory.path(), .limits = {.connections = 3, .queuedEvents = 4096}}};
};

/// A client, and what it must receive if the agent does not drop it.
class Peer {
  public:
    Peer(const Agent& agent, const char* socket)
        : agent_(agent),
          client_(agent.socket(socket)),
          isForRequests_(std::string(socket) == "ragdsj") {
        require(client_.connected(), "the agent does not accept");
    }

    void send(std::string_view bytes) {
        if (!isEnded_) {
            sent_.append(bytes.substr(0, client_.send(bytes)));
        }
    }
    void endSending() {
        isEnded_ = true;
        client_.endSending();
    }
    /// False once the agent has dropped the client. Until then every whole frame has its reply.
    bool read() {
        const bool isOpen = receiveAll();
        while (const auto reply = client_.text()) {
            if (isForRequests_) {
                const auto request = nextRequest();
                require(request.has_value(), "a reply without a request");
                compare(*reply, *request);
            }
        }
        require(!isOpen || !isForRequests_ || !nextRequest(), "a reply is missing");
        return isOpen;
    }

  private:
    /// The agent sends the next part of a large reply when one has been read.
    bool receiveAll() {
        pollfd ready{client_.fd(), POLLIN, 0};
        bool isOpen = true;
        do {
            isOpen = client_.receive();
            agent_.run();
        } while (isOpen && poll(&ready, 1, 0) > 0);
        return isOpen;
    }
    std::optional<std::string> nextRequest() {
        frames_.append(std::exchange(sent_, {}));
        return frames_.takeText();
    }
    /// Compares a reply with that of a separate responder.
    static void compare(const std::string& reply, const std::string& request) {
        AnyMachine machine;
        Session session{Channel::requests, 0, false, {}};
        const std::string expected = Responder(machine).reply(session, request);
        // The reply to a registration holds the agent's descriptor.
        require(reply == expected || session.registered, "a reply is another");
    }

    const Agent& agent_;
    Client client_;
    const bool isForRequests_;
    std::string sent_;
    FrameBuffer frames_;
    bool isEnded_ = false;
};

std::string registrationOn(varnock::Channel channel) {
    const auto extension = static_cast<unsigned int>(channel);
    return encodeFrame(varnock::agent::test::registrationText(extension, "fuzz"));
}

class Steps {
  public:
    explicit Steps(Agent& agent) : agent_(agent) {}

    void perform(Input& input) {
        const unsigned int step = input.byte();
        std::optional<Peer>& peer = peers_[(step >> 4) % kClients];
        const unsigned int action = step & 0x0F;
        constexpr std::array kSockets{"ragdsj", "ragdaj", kControlSocket};
        if (action < kSockets.size()) {
            peer.emplace(agent_, kSockets[action]);
        } else if (peer) {
            act(action, peer, input);
        }
        agent_.run();
    }
    void close() {
        for (std::optional<Peer>& peer : peers_) {
            peer.reset();
        }
        agent_.run();
        require(agent_.connections() == 0, "a connection of a client that has gone");
    }

  private:
    static void act(unsigned int action, std::optional<Peer>& peer, Input& input) {
        switch (action) {
            case 3:
                peer->send(input.bytes(input.byte()));
                break;
            case 4:
                peer->send(encodeFrame(input.bytes(input.word())));
                break;
            case 5: {
                static const std::string frame = registrationOn(varnock::Channel::request);
                peer->send(frame);
                break;
            }
            case 6: {
                static const std::string frame = registrationOn(varnock::Channel::event);
                peer->send(frame);
                break;
            }
            case 7:
                peer->endSending();
                break;
            case 8:
                peer.reset();
                break;
            default:
                if (!peer->read()) {
                    peer.reset();
                }
                break;
        }
    }

    Agent& agent_;
    std::array<std::optional<Peer>, kClients> peers_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Agent agent;
    Input input(data, size);
    Steps steps(agent);
    while (!input.isEmpty()) {
        steps.perform(input);
    }
    steps.close();
    return 0;
}
