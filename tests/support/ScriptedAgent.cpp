#include "tests/support/ScriptedAgent.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace varnock::test {
namespace {

constexpr std::size_t kOptionsSize = 224;
constexpr std::size_t kOptionsDescriptor = 68;
constexpr auto kPatience = std::chrono::minutes(1);

std::string compact(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

std::optional<unsigned int> member(const rapidjson::Value& object, const char* name) {
    const auto found = object.FindMember(name);
    if (found == object.MemberEnd() || !found->value.IsUint()) {
        return std::nullopt;
    }
    return found->value.GetUint();
}

/// Reads the first command of a document; false if the text is not a command document.
bool parse(const std::string& text, AgentRequest& request) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    if (document.HasParseError() || !document.IsObject() || !document.HasMember("SIP") ||
        !document["SIP"].IsObject() || !document["SIP"].HasMember("CMD")) {
        return false;
    }
    const rapidjson::Value& commands = document["SIP"]["CMD"];
    if (!commands.IsArray() || commands.Empty() || !commands[0].IsObject()) {
        return false;
    }
    const rapidjson::Value& command = commands[0];
    request.text = text;
    request.opcode = member(command, "OC").value_or(0);
    request.ext = member(command, "OE").value_or(0);
    request.object = member(command, "OI").value_or(0);
    request.cabinet = member(command, "CA").value_or(0);
    request.status = member(command, "ST");
    if (const auto data = command.FindMember("DA"); data != command.MemberEnd()) {
        request.data = compact(data->value);
    }
    return true;
}

std::uint32_t lengthWord(const std::string& bytes) {
    std::uint32_t length = 0;
    memcpy(&length, bytes.data(), sizeof length);
    return length;
}

void setLengthWord(std::string& bytes, std::uint32_t length) {
    if (bytes.size() >= sizeof length) {
        memcpy(bytes.data(), &length, sizeof length);
    }
}

std::string describe(const AgentRecord& record) {
    return toJson(record);
}

AgentRecord recordOf(const ExpectedCall& call) {
    return {call.opcode, call.ext, call.object, call.cabinet, call.status, call.data};
}

bool matches(const ExpectedCall& call, const AgentRequest& request) {
    return call.opcode == request.opcode && call.ext == request.ext &&
           call.object == request.object && call.cabinet == request.cabinet &&
           call.status == request.status && call.data == request.data;
}

}  // namespace

std::string numberData(unsigned long long value) {
    return std::to_string(value);
}

std::string textData(std::string_view text) {
    rapidjson::Value value(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return compact(value);
}

std::string bytesData(const std::vector<unsigned char>& bytes) {
    std::string json = "{\"RAW\":[";
    for (const unsigned char byte : bytes) {
        json += std::to_string(byte) + ",";
    }
    if (!bytes.empty()) {
        json.pop_back();
    }
    return json + "]}";
}

std::string toJson(const AgentRecord& record) {
    std::string json = "{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":" + std::to_string(record.opcode);
    if (record.ext != 0) {
        json += ",\"OE\":" + std::to_string(record.ext);
    }
    if (record.object != 0) {
        json += ",\"OI\":" + std::to_string(record.object);
    }
    json += ",\"CA\":" + std::to_string(record.cabinet);
    if (record.status) {
        json += ",\"ST\":" + std::to_string(*record.status);
    }
    if (!record.data.empty()) {
        json += ",\"DA\":" + record.data;
    }
    return json + "}]}}";
}

std::string frame(std::string_view json) {
    const auto length = static_cast<std::uint32_t>(json.size() + 1);
    std::string bytes(sizeof length, '\0');
    setLengthWord(bytes, length);
    return bytes.append(json).append(1, '\0');
}

std::string frame(const AgentRecord& record) {
    return frame(toJson(record));
}

std::vector<unsigned char> AgentRequest::bytes() const {
    rapidjson::Document document;
    document.Parse(data.c_str());
    std::vector<unsigned char> result;
    if (!document.HasParseError() && document.IsObject() && document.HasMember("RAW") &&
        document["RAW"].IsArray()) {
        for (const rapidjson::Value& element : document["RAW"].GetArray()) {
            result.push_back(static_cast<unsigned char>(element.IsUint() ? element.GetUint() : 0));
        }
    }
    return result;
}

AgentReply AgentReply::ok(std::string data) {
    return status(0, std::move(data));
}

AgentReply AgentReply::status(unsigned int status, std::string data) {
    return AgentReply([status, data = std::move(data)](const AgentRequest& request, int) {
        AgentRecord reply = request;
        reply.status = status;
        reply.data = data;
        return frame(reply);
    });
}

AgentReply AgentReply::json(std::string text) {
    return raw(frame(text));
}

AgentReply AgentReply::raw(std::string bytes) {
    return AgentReply(
        [bytes = std::move(bytes)](const AgentRequest&, int) -> std::string { return bytes; });
}

AgentReply AgentReply::none() {
    return raw("");
}

AgentReply AgentReply::registration() {
    return AgentReply([](const AgentRequest& request, int descriptor) {
        std::vector<unsigned char> options = request.bytes();
        options.resize(kOptionsSize);
        memcpy(options.data() + kOptionsDescriptor, &descriptor, sizeof descriptor);
        AgentRecord reply = request;
        reply.status = 0;
        reply.data = bytesData(options);
        return frame(reply);
    });
}

AgentReply& AgentReply::change(std::function<void(std::string&)> edit) {
    edits_.push_back(std::move(edit));
    return *this;
}

AgentReply& AgentReply::withLength(std::uint32_t length) {
    return change([length](std::string& bytes) { setLengthWord(bytes, length); });
}

AgentReply& AgentReply::withoutNul() {
    return change([](std::string& bytes) {
        bytes.pop_back();
        setLengthWord(bytes, static_cast<std::uint32_t>(bytes.size() - sizeof(std::uint32_t)));
    });
}

AgentReply& AgentReply::with(std::string further) {
    return change([further = std::move(further)](std::string& bytes) { bytes += further; });
}

AgentReply& AgentReply::cutTo(std::size_t count) {
    return change([count](std::string& bytes) { bytes.resize(std::min(count, bytes.size())); });
}

AgentReply& AgentReply::inPieces(std::size_t size, milliseconds pause) {
    pieceSize_ = size;
    piecePause_ = pause;
    return *this;
}

AgentReply& AgentReply::after(milliseconds delay) {
    delay_ = delay;
    return *this;
}

AgentReply& AgentReply::held() {
    held_ = true;
    return *this;
}

AgentReply& AgentReply::thenClose(milliseconds delay) {
    close_ = delay;
    return *this;
}

AgentReply& AgentReply::thenIgnoresInput() {
    ignoresInput_ = true;
    return *this;
}

/// One thing to do on a connection; the next one waits until it is done.
struct ScriptedAgent::Step {
    enum class Kind { write, pause, hold, close, ignoreInput };
    Kind kind;
    std::string bytes = {};
    milliseconds pause{0};
    std::optional<std::chrono::nanoseconds> due = std::nullopt;
};

struct ScriptedAgent::Connection {
    int id = -1;
    int fd = -1;
    bool onEvents = false;
    bool registered = false;
    bool ignoresInput = false;
    bool closed = false;
    std::string input;
    std::deque<Step> steps;

    bool waitsToWrite() const { return !steps.empty() && steps.front().kind == Step::Kind::write; }
    bool isHeld() const { return !steps.empty() && steps.front().kind == Step::Kind::hold; }
    short events() const {
        return static_cast<short>((ignoresInput ? 0 : POLLIN) | (waitsToWrite() ? POLLOUT : 0));
    }
};

/// The agent's poll set: its wake-up descriptor, the listeners, the connections.
struct ScriptedAgent::PollSet {
    std::vector<pollfd> descriptors;
    std::vector<int> connections;  ///< ids of the descriptors after the first three

    int wait(int timeoutMs) { return ::poll(descriptors.data(), descriptors.size(), timeoutMs); }
};

ScriptedAgent::ScriptedAgent() : clock_(nullptr) {
    launch();
}

ScriptedAgent::ScriptedAgent(FakeClock& clock) : clock_(&clock) {
    launch();
    clock_->join(*this);
}

void ScriptedAgent::launch() {
    wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    openSockets();
    setenv("QX_RAGD_SOCKET_DIR", directory().c_str(), 1);
    // Signals are handled by the threads of the test.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { run(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

ScriptedAgent::~ScriptedAgent() {
    if (clock_ != nullptr) {
        clock_->leave(*this);
    }
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
    }
    wake();
    thread_.join();
    closeSockets();
    close(wakeFd_);
    unsetenv("QX_RAGD_SOCKET_DIR");
    verify();
}

void ScriptedAgent::expect(ExpectedCall call) {
    const std::lock_guard lock(mutex_);
    expected_.push_back(std::move(call));
}

void ScriptedAgent::handle(Handler handler) {
    const std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
}

void ScriptedAgent::handleRegistration(Handler handler) {
    const std::lock_guard lock(mutex_);
    registrationHandler_ = std::move(handler);
}

void ScriptedAgent::verify() {
    const std::lock_guard lock(mutex_);
    for (const std::string& complaint : complaints_) {
        ADD_FAILURE() << complaint;
    }
    for (const ExpectedCall& call : expected_) {
        ADD_FAILURE() << "expected but not sent: " << describe(recordOf(call));
    }
    complaints_.clear();
    expected_.clear();
}

void ScriptedAgent::pushEvent(const AgentRecord& event) {
    push(AgentReply::raw(frame(event)));
}

void ScriptedAgent::push(AgentReply event) {
    onThread([this, event = std::move(event)] {
        pendingEvents_.push_back(event);
        for (auto connection = connections_.rbegin(); connection != connections_.rend();
             ++connection) {
            if (connection->second.registered) {
                return deliverPending(connection->second);
            }
        }
    });
}

void ScriptedAgent::release() {
    onThread([this] {
        for (auto& [id, connection] : connections_) {
            if (connection.isHeld()) {
                connection.steps.pop_front();
            }
        }
        advanceAll();
    });
}

void ScriptedAgent::closeConnections() {
    onThread([this] {
        for (auto& [id, connection] : connections_) {
            connection.closed = true;
        }
        removeClosed();
    });
}

void ScriptedAgent::stop() {
    onThread([this] { closeSockets(); });
}

void ScriptedAgent::start() {
    onThread([this] { openSockets(); });
}

void ScriptedAgent::later(milliseconds delay, std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    timers_.push_back({now() + delay, std::move(action)});
    wake();
}

std::vector<AgentRequest> ScriptedAgent::transcript() const {
    const std::lock_guard lock(mutex_);
    return transcript_;
}

std::vector<AgentRequest> ScriptedAgent::requests() const {
    std::vector<AgentRequest> result = transcript();
    std::erase_if(result, [](const AgentRequest& request) { return request.isRegistration(); });
    return result;
}

std::vector<AgentRequest> ScriptedAgent::registrations() const {
    std::vector<AgentRequest> result = transcript();
    std::erase_if(result, [](const AgentRequest& request) { return !request.isRegistration(); });
    return result;
}

std::string ScriptedAgent::bytesReceived(int connection) const {
    const std::lock_guard lock(mutex_);
    const auto found = bytes_.find(connection);
    return found != bytes_.end() ? found->second : std::string();
}

int ScriptedAgent::openConnections() const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(connections_.size());
}

void ScriptedAgent::awaitRequests(std::size_t count) {
    settled(
        [this, count] {
            return static_cast<std::size_t>(std::ranges::count_if(
                       transcript_, [](const auto& r) { return !r.isRegistration(); })) >= count;
        },
        "requests");
}

void ScriptedAgent::awaitOpenConnections(int count) {
    settled([this, count] { return openConnections() == count; }, "open connections");
}

/// True if the condition became true; otherwise fails the test.
bool ScriptedAgent::settled(const std::function<bool()>& condition, const char* what) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kPatience, condition)) {
        ADD_FAILURE() << "waited in vain for the number of " << what;
        return false;
    }
    return true;
}

/// Runs an action on the agent's thread and waits for its end.
void ScriptedAgent::onThread(std::function<void()> action) {
    std::unique_lock lock(mutex_);
    if (std::this_thread::get_id() == self_) {
        return action();
    }
    bool done = false;
    commands_.push_back([this, &done, action = std::move(action)] {
        action();
        done = true;
        changed_.notify_all();
    });
    wake();
    changed_.wait(lock, [&done] { return done; });
}

void ScriptedAgent::wake() {
    const std::uint64_t one = 1;
    if (write(wakeFd_, &one, sizeof one) != sizeof one && errno != EAGAIN) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

std::chrono::nanoseconds ScriptedAgent::now() const {
    if (clock_ == nullptr) {
        throw std::logic_error("this agent knows no virtual time: make it with a FakeClock");
    }
    return clock_->elapsed();
}

FakeClock::Participant::Standing ScriptedAgent::standing() {
    const std::lock_guard lock(mutex_);
    Standing result;
    for (auto& [id, connection] : connections_) {
        if (connection.isHeld()) {
            result.state = State::Held;
        }
    }
    result.due = nextDue();
    if (pollSet().wait(0) != 0) {
        result.state = State::Working;
    }
    return result;
}

void ScriptedAgent::reach(std::chrono::nanoseconds now) {
    const std::lock_guard lock(mutex_);
    if (const auto due = nextDue(); due && *due <= now) {
        wake();
    }
}

std::optional<std::chrono::nanoseconds> ScriptedAgent::nextDue() const {
    std::optional<std::chrono::nanoseconds> next;
    for (const auto& [id, connection] : connections_) {
        if (!connection.steps.empty() && connection.steps.front().due) {
            const auto due = *connection.steps.front().due;
            next = std::min(next.value_or(due), due);
        }
    }
    for (const Timer& timer : timers_) {
        next = std::min(next.value_or(timer.due), timer.due);
    }
    return next;
}

ScriptedAgent::PollSet ScriptedAgent::pollSet() {
    PollSet set;
    set.descriptors = {
        {wakeFd_, POLLIN, 0}, {requestListener_, POLLIN, 0}, {eventListener_, POLLIN, 0}};
    for (const auto& [id, connection] : connections_) {
        set.descriptors.push_back({connection.fd, connection.events(), 0});
        set.connections.push_back(id);
    }
    return set;
}

void ScriptedAgent::run() {
    {
        const std::lock_guard lock(mutex_);
        self_ = std::this_thread::get_id();
    }
    for (;;) {
        PollSet set = [this] {
            const std::lock_guard lock(mutex_);
            return pollSet();
        }();
        set.wait(-1);
        const std::lock_guard lock(mutex_);
        if (quit_) {
            return;
        }
        serve();
    }
}

/// One round of work. The lock is held from the wake-up to the end of the requested work, so that
/// the agent never appears idle in between.
void ScriptedAgent::serve() {
    std::uint64_t calls = 0;
    if (read(wakeFd_, &calls, sizeof calls) > 0) {
        runCommands();
        runTimers();
        advanceAll();
    }
    serveReady();
    removeClosed();
    changed_.notify_all();
}

void ScriptedAgent::serveReady() {
    PollSet set = pollSet();
    if (set.wait(0) <= 0) {
        return;
    }
    for (std::size_t i = 0; i < set.connections.size(); ++i) {
        Connection& connection = connections_.at(set.connections[i]);
        const short events = set.descriptors[i + 3].revents;
        if (connection.ignoresInput && (events & (POLLHUP | POLLERR)) != 0) {
            connection.closed = true;
        } else if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
            receive(connection);
        }
        if ((events & POLLOUT) != 0) {
            advance(connection);
        }
    }
    if (set.descriptors[1].revents != 0) {
        accept(requestListener_, false);
    }
    if (set.descriptors[2].revents != 0) {
        accept(eventListener_, true);
    }
}

void ScriptedAgent::runCommands() {
    while (!commands_.empty()) {
        const std::function<void()> command = std::move(commands_.front());
        commands_.pop_front();
        command();
    }
}

void ScriptedAgent::runTimers() {
    std::vector<Timer> waiting;
    std::swap(waiting, timers_);
    for (Timer& timer : waiting) {
        if (timer.due <= now()) {
            timer.action();
        } else {
            timers_.push_back(std::move(timer));
        }
    }
}

void ScriptedAgent::openSockets() {
    requestListener_ = listenOn(requestSocket());
    eventListener_ = listenOn(eventSocket());
}

void ScriptedAgent::closeSockets() {
    for (int* listener : {&requestListener_, &eventListener_}) {
        if (*listener >= 0) {
            close(*listener);
        }
        *listener = -1;
    }
    unlink(requestSocket().c_str());
    unlink(eventSocket().c_str());
    for (auto& [id, connection] : connections_) {
        connection.closed = true;
    }
    removeClosed();
}

int ScriptedAgent::listenOn(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    if (fd < 0 || bind(fd, generic, sizeof address) != 0 || listen(fd, 64) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return fd;
}

void ScriptedAgent::accept(int listener, bool onEvents) {
    const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
        return;
    }
    Connection connection;
    connection.id = nextConnection_++;
    connection.fd = fd;
    connection.onEvents = onEvents;
    connections_.emplace(connection.id, std::move(connection));
}

void ScriptedAgent::receive(Connection& connection) {
    char chunk[65536];
    const ssize_t count = recv(connection.fd, chunk, sizeof chunk, 0);
    if (count > 0) {
        connection.input.append(chunk, static_cast<std::size_t>(count));
        bytes_[connection.id].append(chunk, static_cast<std::size_t>(count));
        takeFrames(connection);
    } else if (count == 0 || errno != EAGAIN) {
        connection.closed = true;
    }
}

void ScriptedAgent::takeFrames(Connection& connection) {
    std::string& input = connection.input;
    while (input.size() >= 4 && input.size() - 4 >= lengthWord(input)) {
        const std::string text = input.substr(4, lengthWord(input));
        input.erase(0, 4 + text.size());
        AgentRequest request;
        request.connection = connection.id;
        request.onEvents = connection.onEvents;
        if (text.empty() || text.back() != '\0' ||
            !parse(text.substr(0, text.size() - 1), request)) {
            complaints_.push_back("received a frame that is no command record: " + text);
            continue;
        }
        transcript_.push_back(request);
        answer(connection, std::move(request));
    }
}

void ScriptedAgent::answer(Connection& connection, AgentRequest request) {
    schedule(connection, replyTo(request), request);
    if (request.isRegistration() && connection.onEvents) {
        connection.registered = true;
        deliverPending(connection);
    }
    advance(connection);
}

AgentReply ScriptedAgent::replyTo(const AgentRequest& request) {
    if (!request.isRegistration()) {
        return replyFromScript(request);
    }
    if (request.onEvents != (request.ext == 0x1200)) {
        complaints_.push_back("registration on the wrong socket: " + request.text);
    }
    return registrationHandler_ ? registrationHandler_(request) : AgentReply::registration();
}

AgentReply ScriptedAgent::replyFromScript(const AgentRequest& request) {
    if (expected_.empty()) {
        if (handler_) {
            return handler_(request);
        }
        complaints_.push_back("not expected: " + request.text);
        return AgentReply::status(1);
    }
    const ExpectedCall call = std::move(expected_.front());
    expected_.pop_front();
    if (!matches(call, request)) {
        complaints_.push_back("expected: " + describe(recordOf(call)) +
                              "\nreceived: " + request.text);
    }
    return call.reply;
}

/// Turns a reply into the steps that deliver it.
void ScriptedAgent::schedule(Connection& connection, const AgentReply& reply,
                             const AgentRequest& request) {
    using Kind = Step::Kind;
    std::string bytes = reply.bytes_(request, connection.fd);
    for (const auto& edit : reply.edits_) {
        edit(bytes);
    }
    if (reply.held_) {
        connection.steps.push_back({Kind::hold});
    }
    if (reply.delay_.count() > 0) {
        connection.steps.push_back({Kind::pause, {}, reply.delay_});
    }
    const std::size_t size = reply.pieceSize_ != 0 ? reply.pieceSize_ : bytes.size();
    for (std::size_t sent = 0; sent < bytes.size(); sent += size) {
        if (sent != 0) {
            connection.steps.push_back({Kind::pause, {}, reply.piecePause_});
        }
        connection.steps.push_back({Kind::write, bytes.substr(sent, size)});
    }
    if (reply.ignoresInput_) {
        connection.steps.push_back({Kind::ignoreInput});
    }
    if (reply.close_) {
        connection.steps.push_back({Kind::pause, {}, *reply.close_});
        connection.steps.push_back({Kind::close});
    }
}

void ScriptedAgent::deliverPending(Connection& connection) {
    for (const AgentReply& event : pendingEvents_) {
        schedule(connection, event, AgentRequest{});
    }
    pendingEvents_.clear();
    advance(connection);
}

void ScriptedAgent::advanceAll() {
    for (auto& [id, connection] : connections_) {
        advance(connection);
    }
}

void ScriptedAgent::advance(Connection& connection) {
    while (!connection.closed && !connection.steps.empty() &&
           perform(connection, connection.steps.front())) {
        connection.steps.pop_front();
    }
}

/// True if the step is done.
bool ScriptedAgent::perform(Connection& connection, Step& step) {
    switch (step.kind) {
        case Step::Kind::write: {
            const ssize_t count =
                send(connection.fd, step.bytes.data(), step.bytes.size(), MSG_NOSIGNAL);
            if (count < 0) {
                connection.closed = errno != EAGAIN;
                return false;
            }
            step.bytes.erase(0, static_cast<std::size_t>(count));
            return step.bytes.empty();
        }
        case Step::Kind::pause:
            if (step.pause.count() == 0) {
                return true;
            }
            step.due = step.due.value_or(now() + step.pause);
            return now() >= *step.due;
        case Step::Kind::hold:
            return false;
        case Step::Kind::close:
            connection.closed = true;
            return true;
        case Step::Kind::ignoreInput:
            connection.ignoresInput = true;
            return true;
    }
    return true;
}

void ScriptedAgent::removeClosed() {
    for (auto it = connections_.begin(); it != connections_.end();) {
        if (it->second.closed) {
            close(it->second.fd);
            it = connections_.erase(it);
        } else {
            ++it;
        }
    }
}

}  // namespace varnock::test
