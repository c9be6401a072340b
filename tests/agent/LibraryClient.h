#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "agent/Server.h"
#include "runtime/files/PlatformPaths.h"
#include "runtime/process/Clock.h"
#include "tests/support/TemporaryDirectory.h"
#include "transport/AgentSocket.h"
#include "transport/SwitchClient.h"

namespace varnock::agent::test {

/// Ends an agent as SIGKILL does: its sockets stay, and refuse connections.
inline void killServer(std::optional<Server>& server) {
    const std::string directory = server->directory();
    const std::string aside = directory + "/aside";
    // The agent removes only what it finds in its place.
    std::filesystem::create_directory(aside);
    for (const char* name : {kRequestSocket, kEventSocket, kControlSocket}) {
        std::filesystem::rename(directory + "/" + name, aside + "/" + name);
    }
    server.reset();
    for (const char* name : {kRequestSocket, kEventSocket, kControlSocket}) {
        std::filesystem::rename(aside + "/" + name, directory + "/" + name);
    }
    std::filesystem::remove(aside);
}

/// The library as the client of an agent on the same thread, in virtual time: while the library
/// waits, the agent works, and the time of both moves only if neither has anything to do.
class LibraryClient final : private Clock {
  public:
    explicit LibraryClient(Machine& machine, ServerOptions options = {}) : machine_(machine) {
        start(std::move(options));
        setenv("QX_RAGD_SOCKET_DIR", directory_.path().c_str(), 1);
        replace(this);
        client_.Attach();
    }
    ~LibraryClient() override {
        // Detaching would end the requests of the whole process.
        RagdClientDestroyTSD();
        replace(nullptr);
    }
    LibraryClient(const LibraryClient&) = delete;
    LibraryClient& operator=(const LibraryClient&) = delete;

    Server& server() { return *server_; }
    const std::string& directory() const { return path_; }
    std::chrono::nanoseconds now() const { return now_; }

    /// @name The life of the agent
    /// @{
    void start(ServerOptions options = {}) {
        server_.emplace(loop_.get(), machine_, withPlace(std::move(options)));
    }
    /// As SIGTERM does.
    void stop() { server_.reset(); }
    void kill() { killServer(server_); }
    /// As SIGSTOP and SIGCONT do.
    void suspend() { isSuspended_ = true; }
    void resume() { isSuspended_ = false; }
    /// Does this while the library waits, after that time.
    void later(std::chrono::milliseconds delay, std::function<void()> action) {
        plans_.emplace(now_ + delay, std::move(action));
    }
    /// @}

    unsigned request(SipJson& record) { return client_.Request(record, 0, 0, 0); }
    /// The text of the reply to a command without data.
    std::string ask(unsigned opcode) {
        SipJson record(opcode, 0, 0, 0, SipJson::noStatus);
        request(record);
        return record.Export();
    }
    /// Lets the agent do what it can.
    void work() {
        while (!isSuspended_ && checked(sd_event_run(loop_.get(), 0), "loop") > 0) {
        }
    }

  private:
    static constexpr std::chrono::milliseconds kStep{1};

    ServerOptions withPlace(ServerOptions options) const {
        options.directory = path_;
        options.clock = AgentClock::Kind::isVirtual;
        return options;
    }
    void pass(std::chrono::milliseconds time) {
        now_ += time;
        if (server_ && !isSuspended_) {
            server_->clock().advance(time);
        }
        while (!plans_.empty() && plans_.begin()->first <= now_) {
            plans_.extract(plans_.begin()).mapped()();
        }
        work();
    }

    void sleepFor(std::chrono::milliseconds duration) override { pass(duration); }
    int poll(pollfd* descriptors, nfds_t count, int timeoutMs) override {
        work();
        int ready = ::poll(descriptors, count, 0);
        for (std::chrono::milliseconds rest(timeoutMs); ready == 0 && rest.count() > 0;
             rest -= kStep) {
            pass(kStep);
            ready = ::poll(descriptors, count, 0);
        }
        return ready;
    }
    int waitUntil(pthread_cond_t*, pthread_mutex_t*, const timespec&) override { return 0; }
    std::chrono::nanoseconds monotonicTime() override { return now_; }
    timespec wallTime() override { return {}; }

    Machine& machine_;
    varnock::test::TemporaryDirectory directory_;
    std::string path_ = directory_.path();
    EventLoop loop_ = newEventLoop();
    std::optional<Server> server_;
    bool isSuspended_ = false;
    std::chrono::nanoseconds now_{0};
    std::multimap<std::chrono::nanoseconds, std::function<void()>> plans_;
    CSwitchClient client_{"test"};
};

}  // namespace varnock::agent::test
