#pragma once

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "agent/described/DescribedMachine.h"
#include "agent/model/MachineFile.h"
#include "agent/recording/Proxy.h"
#include "agent/recording/Recording.h"
#include "tests/agent/AgentFixture.h"
#include "tests/support/TextFile.h"

namespace varnock::agent::test {

/// An agent, a proxy before it, and later an agent that replays, all on one loop that the test runs
/// step by step in virtual time.
class Recorded : public testing::Test {
  protected:
    void startAgent(Machine& machine) { agent_ = serverIn("agent", machine); }
    void startProxy() {
        recording_.start(file());
        std::filesystem::create_directory(directory_.file("proxy"));
        proxy_ = std::make_unique<Proxy>(
            loop_.get(), Proxy::Options{directory_.file("agent"), directory_.file("proxy")},
            recording_);
    }
    std::unique_ptr<Server> serverIn(const std::string& name, Machine& machine) {
        std::filesystem::create_directory(directory_.file(name));
        return std::make_unique<Server>(loop_.get(), machine,
                                        ServerOptions{.directory = directory_.file(name),
                                                      .clock = AgentClock::Kind::isVirtual});
    }
    std::string file() const { return directory_.file("recording"); }
    std::string socket(const std::string& name, const char* which = "ragdsj") const {
        return directory_.file(name + "/" + which);
    }

    void pump() {
        while (checked(sd_event_run(loop_.get(), 0), "loop") > 0) {
        }
    }
    /// Sends a frame and returns all that arrives.
    std::string exchange(const Client& client, const std::string& frame) {
        std::string_view rest = frame;
        while (!rest.empty()) {
            rest.remove_prefix(client.send(rest));
            pump();
        }
        return arrived(client);
    }
    /// The bytes that have arrived.
    std::string arrived(const Client& client) {
        pump();
        std::string bytes;
        char buffer[65536];
        for (ssize_t count = 0;
             (count = recv(client.fd(), buffer, sizeof buffer, MSG_DONTWAIT)) > 0; pump()) {
            bytes.append(buffer, static_cast<std::size_t>(count));
        }
        return bytes;
    }

    varnock::test::TemporaryDirectory directory_;
    FakeMachine machine_;  // must outlive the agent
    EventLoop loop_ = newEventLoop();
    AgentClock clock_{loop_.get(), AgentClock::Kind::isVirtual};
    Transcript recording_{clock_};
    std::unique_ptr<Server> agent_;
    std::unique_ptr<Proxy> proxy_;
};

}  // namespace varnock::agent::test
