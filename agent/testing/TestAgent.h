#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "util/Export.h"

namespace varnock {

/// The data of an event that TestAgent::event() sends.
struct TestEvent {
    std::optional<unsigned int> number = std::nullopt;  ///< usually that of a log entry
    std::optional<std::string> text = std::nullopt;     ///< in place of the number
    unsigned int ext = 0;
    unsigned int object = 0;
    unsigned int cabinet = 0;
};

/// The time of an agent: the real one, or one that stands still until it is advanced.
enum class TestClock { real, isVirtual };

/// A development agent in the process of a test. It runs on a thread of its own, which is ready
/// when the constructor returns, and answers for a machine that a file describes, as `varnock-agent
/// run --machine` does. The values, events and faults are those of `varnock-agent ctl`;
/// docs/testing-providers.md has a guide.
///
/// The first agent of a process creates a private directory for the sockets, the registry and trace
/// files, and sets the environment accordingly; create it before other threads read the
/// environment. The directory is removed when the process ends. The agents of a process use it one
/// after the other, so there can be only one at a time.
///
/// The last agent's clients reconnect to the next one: those of the thread that destroys an agent
/// at once, those of other threads after one failed request.
///
/// Thread-safety: any thread may call the functions at the same time, except start(), stop() and
/// the destructor. All functions throw std::runtime_error with the reason if they fail.
class VARNOCK_EXPORT TestAgent {
  public:
    /// `machine` is the name of a machine that comes with varnock-agent, the path of a file, or the
    /// text of one: it then begins with a brace.
    explicit TestAgent(const std::string& machine = "typical", TestClock clock = TestClock::real);
    /// Stops the agent.
    ~TestAgent();
    TestAgent(const TestAgent&) = delete;
    TestAgent& operator=(const TestAgent&) = delete;

    /// @name The values of the machine
    /// Paths such as "cabinets[0].fans[2].speed".
    /// @{
    /// The value: a text without its quotes, everything else as JSON.
    std::string get(const std::string& path) const;
    /// Overrides a value: "5400 rpm", "failed", "null". What depends on it follows.
    void set(const std::string& path, const std::string& value) const;
    /// Takes an override back.
    void reset(const std::string& path) const;
    /// @}

    /// Sends an event, by its name or operation code, to the clients that are registered for
    /// events. Returns their number.
    std::size_t event(const std::string& name, const TestEvent& data = {}) const;

    /// Adds a rule by which replies fail, such as "getFanStatus object=2: status 25". Returns its
    /// number.
    unsigned int fault(const std::string& rule) const;
    /// Removes a rule.
    void clearFault(unsigned int number) const;
    /// Removes all rules.
    void clearFaults() const;

    /// Moves a virtual clock on, by "30s" for example.
    void advance(const std::string& time) const;

    /// What clients have sent and received since the agent started: a line of JSON for each
    /// request, reply and event.
    std::vector<std::string> transcript() const;

    /// Sends a request to the agent's control socket, as `varnock-agent ctl` does, and returns the
    /// answer, for what has no function of its own. Both are JSON objects.
    std::string control(const std::string& request) const;

    /// The directory of the agent's sockets.
    const std::string& directory() const;

    /// Ends the agent as SIGTERM does; the machine keeps its state. No effect if it has ended.
    void stop();
    /// Starts it again. No effect if it runs.
    void start();

  private:
    class Life;
    std::unique_ptr<Life> life_;
};

}  // namespace varnock
