#include "tests/soak/Relay.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "transport/AgentProtocol.h"
#include "transport/SipJson.h"

namespace varnock::soak {
namespace {

using namespace std::chrono_literals;

constexpr auto kRelayPoll = 5ms;
/// One reply in kSpoilt is spoilt, and one spoilt reply in kCut is cut.
constexpr unsigned int kSpoilt = 8;
constexpr unsigned int kCut = 20;

/// Statuses that an agent may answer.
constexpr unsigned int kSpoiltStatuses[] = {0,  0,  0,  0,  1,  2,   4,      12,
                                            17, 19, 21, 24, 25, 255, 0x40009};
/// Data of every kind, and of none.
const char* const kData[] = {
    "0",
    "1",
    "255",
    "65535",
    "-1",
    "4294967295",
    "18446744073709551615",
    "1.5",
    "true",
    "null",
    "\"\"",
    "\"text\"",
    "\"\\u0000\"",
    "\"20260230\"",
    "[]",
    "[1,2,3]",
    "[\"a\",\"b\"]",
    "{}",
    "{\"RAW\":[]}",
    "{\"RAW\":[1]}",
    "{\"RAW\":[1,0,2,0,3,0,4,0,5,0,6,0,7,0,8,0,9]}",
    "{\"RAW\":[65,66,0,67,0,0,68,69,70,0,71,0,72,0,73,0,74,0,75,0]}",
    "{\"RAW\":[300,-1,\"x\"]}",
};

/// A reply to the request with any status and any data.
std::string inventedReply(const std::string& request, Random& random) {
    SipJson record;
    record.Import(textOf(request).c_str());
    const std::string data = kData[random.below(std::size(kData))];
    const unsigned int status = kSpoiltStatuses[random.below(std::size(kSpoiltStatuses))];
    return frameOf("{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":" + std::to_string(record.OpCode()) +
                   ",\"OE\":" + std::to_string(record.OpCodeExt()) +
                   ",\"OI\":" + std::to_string(record.ObjectId()) +
                   ",\"CA\":" + std::to_string(record.CabinetNr()) +
                   ",\"ST\":" + std::to_string(status) + ",\"DA\":" + data + "}]}}");
}

std::string garbage(Random& random) {
    std::string bytes(random.below(200), '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random.below(256)); });
    return bytes;
}

std::string withLength(std::string frame, std::uint32_t length) {
    std::memcpy(frame.data(), &length, kFrameHeader);
    return frame;
}

}  // namespace

Relay::Relay(const std::string& path, std::string agent, unsigned int seed,
             Clock::time_point lastCut)
    : path_(path),
      agent_(std::move(agent)),
      seed_(seed),
      lastCut_(lastCut),
      listener_(listenAt(path)) {
    if (!listener_) {
        throw std::runtime_error("cannot listen at " + path);
    }
    acceptor_ = std::thread([this] { accept(); });
}

Relay::~Relay() {
    isEnding_ = true;
    shutdown(listener_.get(), SHUT_RDWR);
    acceptor_.join();
    for (Connection& connection : connections_) {
        // A reply that was begun goes on.
        shutdown(connection.client.get(), SHUT_RD);
    }
    for (Connection& connection : connections_) {
        connection.thread.join();
    }
    unlink(path_.c_str());
}

void Relay::accept() {
    for (unsigned int number = 0; !isEnding_; ++number) {
        Socket client(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        dropEnded();
        if (!client) {
            static_cast<void>(pause(kRelayPoll));
            continue;
        }
        Connection& connection = connections_.emplace_back();
        connection.client = std::move(client);
        connection.agent = connectTo(agent_);
        connection.thread = std::thread([this, &connection, number] {
            serve(connection, Random(seed_, number));
            shutdown(connection.client.get(), SHUT_RDWR);
            connection.isOver = true;
        });
    }
}

void Relay::dropEnded() {
    connections_.remove_if([](Connection& connection) {
        const bool isOver = connection.isOver;
        if (isOver) {
            connection.thread.join();
        }
        return isOver;
    });
}

/// A client whose agent is not there is closed.
void Relay::serve(Connection& connection, Random random) {
    const int client = connection.client.get();
    const int agent = connection.agent.get();
    while (connection.agent && !isEnding_) {
        const auto request = receiveFrame(client);
        if (!request || !sendAll(agent, *request)) {
            return;
        }
        const auto reply = receiveFrame(agent);
        if (!reply || !deliver(client, *request, *reply, random)) {
            return;
        }
    }
}

bool Relay::deliver(int client, const std::string& request, const std::string& reply,
                    Random& random) {
    if (!random.oneIn(kSpoilt)) {
        return sendAll(client, reply);
    }
    ++spoilt_;
    return spoil(client, request, reply, random);
}

bool Relay::spoil(int client, const std::string& request, const std::string& reply,
                  Random& random) {
    if (random.oneIn(kCut) && Clock::now() < lastCut_) {
        cut(client, reply, random);
        return pause(random.milliseconds(0, 300)) && false;
    }
    switch (random.below(10)) {
        case 0:  // hangs up
            return false;
        case 1: {  // a pause in the middle
            const std::size_t half = random.between(1, static_cast<unsigned int>(reply.size()) - 1);
            const bool isBegun = sendAll(client, reply.substr(0, half));
            std::this_thread::sleep_for(random.milliseconds(1, 50));
            return isBegun && sendAll(client, reply.substr(half));
        }
        case 2:  // byte by byte
            return std::all_of(reply.begin(), reply.end(),
                               [&](char byte) { return sendAll(client, std::string(1, byte)); });
        case 3:
            return sendAll(client, frameOf(garbage(random)));
        case 4:
            return sendAll(client, std::string(kFrameHeader, '\0'));
        case 5:  // surplus bytes
            return sendAll(client, reply + garbage(random));
        case 6:  // late
            return pause(random.milliseconds(1, 200)) && sendAll(client, reply);
        case 7:  // silent, at times for longer than a client waits
            return pause(random.oneIn(50) ? 60s : random.milliseconds(1, 1000)) && false;
        case 8:  // nested deeply
            return sendAll(client, frameOf(std::string(random.below(100'000), '[')));
        default:
            return sendAll(client, inventedReply(request, random));
    }
}

/// Sends what is not a whole frame.
void Relay::cut(int client, const std::string& reply, Random& random) {
    const auto size = static_cast<unsigned int>(reply.size());
    switch (random.below(4)) {
        case 0:
            sendAll(client, reply.substr(0, random.below(size)));
            break;
        case 1:
            sendAll(client, garbage(random));
            break;
        case 2:  // announces more than there is
            sendAll(client, withLength(reply, size + random.below(1000)));
            break;
        default:  // announces more than is allowed
            sendAll(client, withLength(reply, 0x100000 + random.below(0x7FFFFFFF)));
            break;
    }
}

bool Relay::pause(std::chrono::milliseconds duration) const {
    for (const auto end = Clock::now() + duration; !isEnding_ && Clock::now() < end;) {
        std::this_thread::sleep_for(std::min<Clock::duration>(
            kRelayPoll, std::max<Clock::duration>(end - Clock::now(), 0ms)));
    }
    return !isEnding_;
}

}  // namespace varnock::soak
