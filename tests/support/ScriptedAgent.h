#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/FakeClock.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::test {

/// The numbers of a command and its data, the latter as the JSON text of "DA" ("" when absent).
struct AgentRecord {
    unsigned int opcode = 0;
    unsigned int ext = 0;
    unsigned int object = 0;
    unsigned int cabinet = 0;
    std::optional<unsigned int> status = std::nullopt;
    std::string data = {};
};

/// JSON text for AgentRecord::data and the like.
std::string numberData(unsigned long long value);
std::string textData(std::string_view text);
std::string bytesData(const std::vector<unsigned char>& bytes);

/// The JSON text of a record, members in the order in which the library writes them.
std::string toJson(const AgentRecord& record);
/// A frame: length word, text, NUL.
std::string frame(std::string_view json);
std::string frame(const AgentRecord& record);

/// One record as it arrived.
struct AgentRequest : AgentRecord {
    int connection = -1;    ///< numbered from 0 in the order of acceptance, over both sockets
    bool onEvents = false;  ///< arrived on the socket for events
    std::string text;       ///< the JSON text, byte for byte

    /// The elements of a byte block {"RAW":[...]}; empty for data of another form.
    std::vector<unsigned char> bytes() const;
    bool isRegistration() const { return opcode == 0xFFA0 && (ext == 0x1100 || ext == 0x1200); }
};

/// The agent's reaction to a request: the bytes of the answer, and their delivery. The modifiers
/// change the object and return it, so they can be chained; times are virtual and need an agent
/// with a FakeClock.
///
///     AgentReply::ok(numberData(513)).inPieces(1, 1500ms)
///     AgentReply::status(19)
///     AgentReply::json("[").thenClose(1ms)
class AgentReply {
  public:
    using milliseconds = std::chrono::milliseconds;

    /// The request's own numbers with status 0 and this data.
    static AgentReply ok(std::string data = "");
    /// The request's own numbers with this status and this data.
    static AgentReply status(unsigned int status, std::string data = "");
    /// A frame around any text.
    static AgentReply json(std::string text);
    /// These bytes and nothing else.
    static AgentReply raw(std::string bytes);
    /// Nothing: the connection stays open and silent.
    static AgentReply none();
    /// The answer to a registration: its options block with the agent's descriptor.
    static AgentReply registration();

    /// Replaces the length word by another one.
    AgentReply& withLength(std::uint32_t length);
    /// The text without its NUL; the length word fits.
    AgentReply& withoutNul();
    /// Further bytes in the same write.
    AgentReply& with(std::string bytes);
    /// Only the first `count` of all these bytes.
    AgentReply& cutTo(std::size_t count);
    /// In writes of `size` bytes with a pause between two of them.
    AgentReply& inPieces(std::size_t size, milliseconds pause);
    /// Delivers after this delay.
    AgentReply& after(milliseconds delay);
    /// Delivers when the test calls ScriptedAgent::release().
    AgentReply& held();
    /// Then closes the connection. With a delay the client has read everything before; with 0 it
    /// may see data and hang-up together or one after the other.
    AgentReply& thenClose(milliseconds delay = milliseconds(0));
    /// Then reads nothing more from this connection.
    AgentReply& thenIgnoresInput();

  private:
    friend class ScriptedAgent;
    using Bytes = std::function<std::string(const AgentRequest&, int descriptor)>;
    explicit AgentReply(Bytes bytes) : bytes_(std::move(bytes)) {}

    AgentReply& change(std::function<void(std::string&)> edit);

    Bytes bytes_;
    std::vector<std::function<void(std::string&)>> edits_;
    std::size_t pieceSize_ = 0;
    milliseconds piecePause_{0};
    milliseconds delay_{0};
    bool held_ = false;
    std::optional<milliseconds> close_;
    bool ignoresInput_ = false;
};

/// One expected request, and its answer. All members of the request must be equal; without a status
/// "ST" must be absent, with empty data "DA" must be absent.
///
///     agent.expect({.opcode = 0x0204, .ext = 1, .reply = AgentReply::ok("2")});
struct ExpectedCall {
    unsigned int opcode = 0;
    unsigned int ext = 0;
    unsigned int object = 0;
    unsigned int cabinet = 0;
    std::string data = {};
    std::optional<unsigned int> status = std::nullopt;
    AgentReply reply = AgentReply::ok();
};

/// The agent's end of the real sockets "ragdsj" and "ragdaj", in a private directory to which
/// QX_RAGD_SOCKET_DIR is set from construction to destruction. It runs on its own thread and
/// answers registrations by itself.
///
/// Requests are answered from the expectations, in their order over all connections; once these are
/// used up, by the handler; without a handler, a request fails the test and is answered with status
/// 1. verify(), called at the latest by the destructor, fails the test for every missing and every
/// unexpected request.
///
/// The easy form, for tests that care only about commands and data:
///
///     ScriptedAgent agent;
///     agent.handle([](const AgentRequest& request) {
///         return request.opcode == 0x0204 ? AgentReply::ok(numberData(4)) :
///         AgentReply::status(19);
///     });
///
/// With a FakeClock the agent takes part in its virtual time: waits of the library time out exactly
/// when the agent has nothing left to do.
///
/// Thread-safety: any thread may call any operation, including a handler, which runs on the agent's
/// thread. Destroy users of the sockets before the agent, and the agent before the clock.
class ScriptedAgent final : private FakeClock::Participant {
  public:
    using milliseconds = std::chrono::milliseconds;
    using Handler = std::function<AgentReply(const AgentRequest&)>;

    ScriptedAgent();
    explicit ScriptedAgent(FakeClock& clock);
    ~ScriptedAgent() override;
    ScriptedAgent(const ScriptedAgent&) = delete;
    ScriptedAgent& operator=(const ScriptedAgent&) = delete;

    void expect(ExpectedCall call);
    void handle(Handler handler);
    /// Answers registrations in place of AgentReply::registration().
    void handleRegistration(Handler handler);
    /// Fails the test for missing and unexpected requests, and clears them.
    void verify();

    /// Sends an event on the newest registered event connection, or as soon as there is one.
    void pushEvent(const AgentRecord& event);
    void push(AgentReply event);
    /// Delivers what was held().
    void release();
    /// Closes all connections; the sockets stay.
    void closeConnections();
    /// Stops the agent: closes connections, removes sockets.
    void stop();
    /// Restarts the agent on the same paths.
    void start();
    /// Runs a function on the agent's thread after this much virtual time.
    void later(milliseconds delay, std::function<void()> action);

    /// Everything received so far, registrations included.
    std::vector<AgentRequest> transcript() const;
    /// Everything received so far except registrations.
    std::vector<AgentRequest> requests() const;
    std::vector<AgentRequest> registrations() const;
    /// Every byte received on a connection.
    std::string bytesReceived(int connection) const;
    /// The number of open connections.
    int openConnections() const;

    /// Wait in real time for the condition; a wait of a minute fails the test.
    void awaitRequests(std::size_t count);
    void awaitOpenConnections(int count);

    std::string directory() const { return directory_.path(); }
    std::string requestSocket() const { return directory_.file("ragdsj"); }
    std::string eventSocket() const { return directory_.file("ragdaj"); }

  private:
    struct Connection;
    struct Step;
    struct PollSet;
    struct Timer {
        std::chrono::nanoseconds due;
        std::function<void()> action;
    };

    Standing standing() override;
    void reach(std::chrono::nanoseconds now) override;

    void launch();
    void run();
    void onThread(std::function<void()> action);
    void wake();
    bool settled(const std::function<bool()>& condition, const char* what);
    std::chrono::nanoseconds now() const;
    std::optional<std::chrono::nanoseconds> nextDue() const;

    PollSet pollSet();
    void serve();
    void serveReady();
    void runCommands();
    void runTimers();
    void openSockets();
    void closeSockets();
    int listenOn(const std::string& path);
    void accept(int listener, bool onEvents);
    void receive(Connection& connection);
    void takeFrames(Connection& connection);
    void answer(Connection& connection, AgentRequest request);
    AgentReply replyTo(const AgentRequest& request);
    AgentReply replyFromScript(const AgentRequest& request);
    void schedule(Connection& connection, const AgentReply& reply, const AgentRequest& request);
    void deliverPending(Connection& connection);
    void advance(Connection& connection);
    void advanceAll();
    bool perform(Connection& connection, Step& step);
    void removeClosed();

    TemporaryDirectory directory_;
    FakeClock* clock_;

    mutable std::recursive_mutex mutex_;  ///< guards everything below
    std::condition_variable_any changed_;
    std::deque<ExpectedCall> expected_;
    std::vector<std::string> complaints_;
    Handler handler_;
    Handler registrationHandler_;
    std::vector<AgentRequest> transcript_;
    std::map<int, std::string> bytes_;
    std::map<int, Connection> connections_;
    std::vector<AgentReply> pendingEvents_;
    std::deque<std::function<void()>> commands_;
    std::vector<Timer> timers_;
    int nextConnection_ = 0;
    int requestListener_ = -1;
    int eventListener_ = -1;
    int wakeFd_ = -1;
    bool quit_ = false;
    std::thread::id self_;

    std::thread thread_;
};

}  // namespace varnock::test
