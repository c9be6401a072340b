// soak [SECONDS [SEED]]: load, faults and restarts against real agent processes. Sixteen threads
// make random requests, directly or through a relay that spoils replies, while agents are ended,
// killed and stopped, clients go away in the middle of a frame, and numbered events flow. Ends with
// 0 if nothing crashed, hung, leaked, was lost or failed in an undocumented way; with 1 if
// something did, and with 3 after a hang.
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "tests/soak/Agent.h"
#include "tests/soak/EventLedger.h"
#include "tests/soak/Findings.h"
#include "tests/soak/Load.h"
#include "tests/soak/Progress.h"
#include "tests/soak/Random.h"
#include "tests/soak/Relay.h"
#include "tests/soak/Resources.h"
#include "tests/soak/Sockets.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::soak {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using namespace std::chrono_literals;

constexpr int kUsage = 2;
constexpr milliseconds kLongestRound{20'000};
/// How long a client may wait for the rest of a reply.
constexpr milliseconds kCutTime{11'000};
constexpr int kFewestRounds = 3;
/// For the events of a round to arrive after its last fault.
constexpr auto kCalm = 60s;
/// Before the next event is sent.
constexpr int kPausesForEvent = 50;

/// A private directory, from before the library started.
std::string directoryOf(const char* variable) {
    const char* const directory = getenv(variable);
    if (directory == nullptr) {
        throw std::runtime_error(std::string(variable) + " is not set");
    }
    return directory;
}

class Receiver final : public provider::KOLMEventsListener {
  public:
    explicit Receiver(EventLedger& ledger) : ledger_(ledger) {}
    virtual ~Receiver() = default;
    void onSystemMessageLogEntry(unsigned int number) override { ledger_.received(number); }
    void onDriverMonitorLogEntry(unsigned int number) override { ledger_.received(number); }

  private:
    EventLedger& ledger_;
};

/// Pushes events from construction to destruction.
class Pusher {
  public:
    Pusher(std::string directory, EventLedger& ledger, Place& place, Random random)
        : thread_([this, directory = std::move(directory), &ledger, &place, random]() mutable {
              while (!isEnding_) {
                  place.enter("pushing an event");
                  pushEvent(directory, ledger, random);
                  std::this_thread::sleep_for(random.milliseconds(0, 3));
              }
              place.leave();
          }) {}
    ~Pusher() {
        isEnding_ = true;
        thread_.join();
    }
    Pusher(const Pusher&) = delete;
    Pusher& operator=(const Pusher&) = delete;

  private:
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

/// What happened to the agents.
struct Faults {
    unsigned int restarts = 0;
    unsigned int kills = 0;
    unsigned int stops = 0;
    unsigned int rudeClients = 0;
    unsigned int spoiltReplies = 0;
};

class Soak {
  public:
    Soak(std::chrono::seconds duration, unsigned int seed)
        : duration_(duration), random_(seed, 0), place_(watch_.place("main thread")) {
        for (unsigned int i = 0; i < Load::kThreads; ++i) {
            places_.push_back(&watch_.place("thread " + std::to_string(i)));
        }
        std::filesystem::create_symlink(agents_.file("ragdaj"), clients_ + "/ragdaj");
        useDirectly();
    }

    /// True if all holds.
    [[nodiscard]] bool run();

  private:
    enum class Fault { restart, kill, stop, leave, relay, direct, none };

    void useDirectly() { use(agents_.file("ragdsj")); }
    void useRelay() { use(relayPath_); }
    void use(const std::string& socket);
    void runRound(unsigned int number, milliseconds length);
    void disturb(Fault fault);
    void comeAndGo();
    void calmDown();
    void report(unsigned int rounds) const;

    const std::chrono::seconds duration_;
    Random random_;
    Findings findings_;
    test::TemporaryDirectory agents_;
    const std::string clients_ = directoryOf("QX_RAGD_SOCKET_DIR");
    const std::string relayPath_ = agents_.file("relay");
    HangWatch watch_;
    Place& place_;
    Place& pusherPlace_ = watch_.place("pusher of events");
    std::vector<Place*> places_;
    Agent agent_{VARNOCK_AGENT, agents_.path(), findings_};
    EventLedger ledger_;
    Receiver receiver_{ledger_};
    Tally tally_;
    Faults faults_;
};

/// Lets new request connections go to this socket.
void Soak::use(const std::string& socket) {
    const std::string made = clients_ + "/new";
    std::filesystem::create_symlink(socket, made);
    std::filesystem::rename(made, clients_ + "/ragdsj");
}

bool Soak::run() {
    place_.enter("attaching");
    // Without a client the process could not open request connections again.
    const auto client = provider::getKOLMClient("soak");
    client->events()->setListener(&receiver_);
    if (!client->events()->enableEvents()) {
        findings_.add("events cannot be enabled");
    }
    const auto length = std::min(kLongestRound, milliseconds(duration_) / kFewestRounds);
    const auto end = Clock::now() + duration_;
    std::optional<Resources> first;
    unsigned int rounds = 0;
    while (rounds < kFewestRounds || Clock::now() < end) {
        runRound(rounds, length);
        calmDown();
        const Resources now = resourcesNow();
        ++rounds;
        first = first ? first : now;
        if (const auto leak = leakBetween(*first, now)) {
            findings_.add("leaked since the first round: " + *leak);
        }
    }
    place_.enter("disabling events");
    client->events()->disableEvents();
    client->events()->setListener(nullptr);
    ledger_.settle();
    for (const std::string& fault : faultsOf(ledger_.figures())) {
        findings_.add(fault);
    }
    place_.leave();
    report(rounds);
    return findings_.count() == 0;
}

void Soak::runRound(unsigned int number, milliseconds length) {
    // The first faults, so that a short run has one of each kind.
    const Fault firsts[] = {Fault::restart, Fault::kill, Fault::stop};
    auto relay = std::make_unique<Relay>(relayPath_, agents_.file("ragdsj"),
                                         random_.below(1U << 20), Clock::now() + length - kCutTime);
    useRelay();
    auto load = std::make_unique<Load>(random_.below(1U << 20), places_, tally_, findings_);
    {
        const Pusher pusher(agents_.path(), ledger_, pusherPlace_,
                            Random(random_.below(1U << 20), 0));
        const auto end = Clock::now() + length;
        std::this_thread::sleep_for(length / 4);
        disturb(firsts[number % std::size(firsts)]);
        while (Clock::now() < end) {
            std::this_thread::sleep_for(random_.milliseconds(20, 400));
            // An agent lives long enough for the clients to find it.
            disturb(random_.oneIn(5) ? static_cast<Fault>(random_.below(3))
                                     : static_cast<Fault>(random_.between(3, 6)));
        }
    }
    place_.enter("ending the load");
    load->end();
    useDirectly();
    faults_.spoiltReplies += relay->spoilt();
    relay.reset();
    load.reset();
}

void Soak::disturb(Fault fault) {
    place_.enter("disturbing");
    switch (fault) {
        case Fault::restart:
            ++faults_.restarts;
            agent_.restart(random_.milliseconds(0, 300));
            break;
        case Fault::kill:
            ++faults_.kills;
            agent_.replaceKilled(random_.milliseconds(0, 300));
            break;
        case Fault::stop:
            ++faults_.stops;
            agent_.freeze(random_.milliseconds(10, 600));
            break;
        case Fault::leave:
            comeAndGo();
            break;
        case Fault::relay:
            useRelay();
            break;
        case Fault::direct:
            useDirectly();
            break;
        case Fault::none:
            break;
    }
}

/// Clients that leave in the middle of everything.
void Soak::comeAndGo() {
    const std::string request =
        frameOf(R"({"SIP":{"V":1,"CMD":[{"OC":57860,"OE":0,"OI":0,"CA":0}]}})");
    for (unsigned int i = random_.between(1, 20); i > 0; --i) {
        ++faults_.rudeClients;
        const Socket client = connectTo(agents_.file(random_.oneIn(2) ? "ragdsj" : "ragdaj"));
        if (!client) {
            return;
        }
        limitWaits(client.get(), 1000);
        const std::size_t count = random_.below(static_cast<unsigned int>(3 * request.size()));
        sendAll(client.get(), (request + request + request).substr(0, count));
    }
}

/// Waits until all events have arrived, and events of the last agent arrive.
void Soak::calmDown() {
    place_.enter("waiting for events");
    const auto end = Clock::now() + kCalm;
    do {
        pushEvent(agents_.path(), ledger_, random_);
        // On a busy machine an event takes longer than one pause.
        for (int pauses = 0; pauses < kPausesForEvent; ++pauses) {
            std::this_thread::sleep_for(20ms);
            if (ledger_.isComplete()) {
                return;
            }
        }
    } while (Clock::now() <= end);
    findings_.add("events do not arrive any more");
}

void Soak::report(unsigned int rounds) const {
    const EventLedger::Figures events = ledger_.figures();
    const auto line = [](const char* name, unsigned long count) {
        std::printf("%-34s %lu\n", name, count);
    };
    line("rounds", rounds);
    line("requests", tally_.requests());
    for (const auto& [failure, count] : tally_.failures()) {
        line(("  " + failure).c_str(), count);
    }
    line("replies spoilt", faults_.spoiltReplies);
    line("agents restarted", faults_.restarts);
    line("agents killed", faults_.kills);
    line("agents stopped and continued", faults_.stops);
    line("clients that went away", faults_.rudeClients);
    line("reconnections for events", events.agents == 0 ? 0 : events.agents - 1);
    line("events sent", events.sent);
    line("  delivered", events.delivered);
    line("  received", events.received);
    line("  delivered before registered", events.unregistered);
    line("  lost", events.lost);
    line("  out of order", events.unordered);
    line("  invented", events.invented);
    line("peak memory in KiB", peakMemory() / 1024);
    line("findings", findings_.count());
}

std::optional<unsigned int> parse(const char* text) {
    unsigned int number = 0;
    const char* const end = text + std::strlen(text);
    const auto parsed = std::from_chars(text, end, number);
    return parsed.ec == std::errc{} && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

/// Starts the program again with a registry, as on a machine where the package is installed: the
/// trace then goes to its file, not to standard error.
void startWithRegistry(char** argv) {
    const std::string file = directoryOf("QX_SYSTEM_DIR") + "/registry";
    if (!std::filesystem::exists(file)) {
        std::ofstream(file) << "[HKEY_LOCAL_MACHINE]\n\n\n";
        execv("/proc/self/exe", argv);
        throw std::runtime_error("cannot start again");
    }
}

int soakMain(int argc, char** argv) {
    const auto seconds = argc > 1 ? parse(argv[1]) : 60;
    const auto seed = argc > 2 ? parse(argv[2]) : std::random_device()();
    if (argc > 3 || !seconds || *seconds == 0 || !seed) {
        std::fprintf(stderr, "usage: soak [SECONDS [SEED]]\n");
        return kUsage;
    }
    startWithRegistry(argv);
    std::printf("soak: %u s with seed %u\n", *seconds, *seed);
    std::fflush(stdout);
    return Soak(std::chrono::seconds(*seconds), *seed).run() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace varnock::soak

int main(int argc, char** argv) try {
    return varnock::soak::soakMain(argc, argv);
} catch (const std::exception& failure) {
    std::fprintf(stderr, "soak: %s\n", failure.what());
    return EXIT_FAILURE;
} catch (const provider::BaseException& failure) {
    std::fprintf(stderr, "soak: %s\n", failure.toString().c_str());
    return EXIT_FAILURE;
}
