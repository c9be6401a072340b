#include <unistd.h>

#include <atomic>
#include <string>
#include <vector>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "fuzz/FuzzedPeer.h"
#include "fuzz/Fuzzing.h"
#include "transport/AgentSocket.h"
#include "transport/SipJson.h"
#include "transport/channel/EventChannel.h"
#include "transport/client/EventLoop.h"

// Runs the loop of the event thread with an agent that does what the fuzzer's bytes say, see
// FuzzedPeer. The events are the frames that were sent, in their order, and none is left out.

namespace {

using varnock::fuzz::FuzzedPeer;
using varnock::fuzz::Input;
using varnock::fuzz::require;

struct Listener final : provider::KOLMEventsListener {
    void onSystemMessageLogEntry(cimple::uint32) override { ++called; }
    void onDriverMonitorLogEntry(cimple::uint32) override { ++called; }
    unsigned int called = 0;
};

/// Compares the events of a connection with its frames.
class Deliveries {
  public:
    explicit Deliveries(const FuzzedPeer& peer) : peer_(peer) {}

    void take(SipJson& event) {
        const std::size_t index = ++countOfConnection();
        if (!isKnown()) {
            return;
        }
        const auto frames = framesSent();
        require(index < frames.size(), "more events than frames");
        SipJson expected;
        expected.Import(frames[index].c_str());
        require(event.Export() == expected.Export(), "an event is not the frame that was sent");
    }
    void checkAll() {
        require(!isKnown() || countOfConnection() + 1 == framesSent().size(), "an event is lost");
    }

  private:
    /// False if the frame that answered the registration is not known, or one was not awaited.
    bool isKnown() const { return peer_.sent().isRegistered && !peer_.sent().hasPaused; }
    /// The first one answered the registration.
    std::vector<std::string> framesSent() const {
        return varnock::fuzz::framesIn(peer_.sent().bytes, varnock::kLongestEvent);
    }
    std::size_t& countOfConnection() {
        if (peer_.sent().number != connection_) {
            connection_ = peer_.sent().number;
            count_ = 0;
        }
        return count_;
    }

    const FuzzedPeer& peer_;
    unsigned int connection_ = 0;
    std::size_t count_ = 0;
};

struct WakePipe {
    WakePipe() { require(pipe(ends) == 0, "cannot make a pipe"); }
    int ends[2] = {-1, -1};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzedPeer peer("ragdaj");
    static const WakePipe wake;
    static Listener listener;
    peer.setPauseDescriptor(wake.ends[0]);
    peer.begin(Input(data, size));
    KOLMSwitch.setListener(&listener);
    const int fd = varnock::registerForEvents(nullptr);
    if (fd >= 0) {
        varnock::EventRun run(&peer, wake.ends[0], fd);
        std::atomic<int> shownFd = fd;
        Deliveries deliveries(peer);
        peer.onIdle = [&] { deliveries.checkAll(); };
        varnock::EventLoop loop(run, shownFd, [&](SipJson& event) {
            deliveries.take(event);
            KOLMSwitch.Event(event);
        });
        loop.run();
        peer.onIdle = nullptr;
    }
    UnRegisterForEvents();
    return 0;
}
