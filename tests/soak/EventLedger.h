#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace varnock::soak {

/// What the agent says about an event that it was given.
enum class Fate {
    delivered,  ///< it had a client registered for events, and wrote the event to it
    unheard,    ///< it had none
    unknown,    ///< it died, or was stuck, before it answered
};

/// Compares the numbered events that arrive with those that the agents have sent.
///
/// Every delivered event must arrive, in order and once. The agent registers the client a moment
/// before the client learns of it, and an agent that is killed between the two has delivered to a
/// connection that the client gives up. So an agent of which no event has arrived is excused, but
/// not for longer than kDeaf.
///
/// Thread-safety: one thread sends, any may receive.
class EventLedger {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kDeaf{10};

    struct Figures {
        unsigned int sent = 0;       ///< given to an agent
        unsigned int delivered = 0;  ///< that the agent has written to the client
        unsigned int received = 0;
        unsigned int lost = 0;          ///< delivered, and not received
        unsigned int unregistered = 0;  ///< delivered to a connection that the client gave up
        unsigned int unordered = 0;     ///< received after a later one, or twice
        unsigned int invented = 0;      ///< received, but never delivered
        unsigned int agents = 0;        ///< of which events have arrived
    };

    /// An event is about to be given to the agent with this process id. Returns its number.
    unsigned int begin(int agent);
    /// Ends what begin() started.
    void end(Fate fate, Clock::time_point now = Clock::now());
    void received(unsigned int number);
    /// No event is under way any more: what has not arrived is lost.
    void settle();

    /// Whether events of the newest agent arrive, and all that was delivered has arrived.
    bool isComplete() const;
    Figures figures() const;

  private:
    struct Event {
        unsigned int number = 0;
        std::size_t agent = 0;
        bool mustArrive = false;
    };

    void giveUp(const Event& event);

    mutable std::mutex mutex_;
    Figures figures_;
    std::deque<Event> awaited_;  ///< delivered, or perhaps delivered, and not yet received
    Event current_;              ///< the newest begun
    bool isUnderWay_ = false;    ///< begun and not ended
    bool hasArrivedEarly_ = false;
    unsigned int newestReceived_ = 0;
    int process_ = -1;
    /// For each agent: whether an event of it has arrived, or should have.
    std::vector<bool> isKnown_;
    std::size_t newestHeardOf_ = 0;  ///< the number of that agent, and one more
    /// When the newest agent delivered its first event.
    std::optional<Clock::time_point> firstDelivered_;
};

/// The violations, one text each.
std::vector<std::string> faultsOf(const EventLedger::Figures& figures);

}  // namespace varnock::soak
