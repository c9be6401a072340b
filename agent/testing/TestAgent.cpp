#include "agent/testing/TestAgent.h"

#include <fstream>
#include <optional>
#include <utility>

#include "CIM/Provider/Include/KOLMClient.h"
#include "agent/PrivateHome.h"
#include "agent/control/Ctl.h"
#include "agent/control/CtlVerbs.h"
#include "agent/described/DescribedMachine.h"
#include "agent/described/ModelClocks.h"
#include "agent/model/MachineFile.h"
#include "agent/testing/AgentThread.h"
#include "transport/AgentSocket.h"

namespace varnock {
namespace {

using agent::AgentClock;
using agent::AgentThread;
using agent::DescribedMachine;
using agent::RequestText;

std::unique_ptr<DescribedMachine> machineFrom(const std::string& description) {
    agent::Document machine;
    if (description.starts_with('{')) {
        agent::readMachine(description, "machine", machine);
        return std::make_unique<DescribedMachine>(std::move(machine), agent::systemClock());
    }
    agent::loadMachine(agent::machinePath(description), machine);
    return std::make_unique<DescribedMachine>(std::move(machine), agent::systemClock(),
                                              description);
}

/// The directory that the agents of the process use one after the other: the library can be reading
/// the environment on any thread, so it is set once.
class Home {
  public:
    Home() {
        home_.setEnvironment(sockets_);
        keepClient();
    }
    const std::string& sockets() const { return sockets_; }

  private:
    /// After its last client is destroyed, a process cannot send requests again. This client is
    /// never destroyed, so that each test can have clients of its own. The requests by which it
    /// attaches are not those of a test: a machine of its own gets them.
    void keepClient() const {
        const auto machine = machineFrom("{}");
        const AgentThread agent(*machine, {.directory = sockets_});
        static const auto* const kept =
            new ShPtr<provider::KOLMClient>(provider::getKOLMClient("test agent"));
        static_cast<void>(kept);
        RagdClientDestroyTSD();
    }

    agent::PrivateHome home_;
    std::string sockets_ = home_.path();
};

const Home& home() {
    static const Home theHome;
    return theHome;
}

}  // namespace

/// The machine and, while it runs, its agent.
class TestAgent::Life {
  public:
    Life(const std::string& machine, TestClock clock)
        : machine_(machineFrom(machine)),
          clock_(clock == TestClock::real ? AgentClock::Kind::real : AgentClock::Kind::isVirtual) {
        start();
    }
    void start() {
        if (!thread_) {
            thread_.emplace(*machine_, agent::ServerOptions{.directory = home().sockets(),
                                                            .clock = clock_,
                                                            .transcript = transcript()});
        }
    }
    void stop() { thread_.reset(); }

    static std::string transcript() { return home().sockets() + "/transcript"; }
    static std::string ask(const std::string& request) {
        return agent::askAgent(socket(), request);
    }
    static JsonDocument perform(const RequestText& request) {
        return agent::parsedAnswer(socket(), ask(request.text()));
    }

  private:
    static std::string socket() { return home().sockets() + "/" + agent::kControlSocket; }

    std::unique_ptr<DescribedMachine> machine_;
    AgentClock::Kind clock_;
    std::optional<AgentThread> thread_;
};

TestAgent::TestAgent(const std::string& machine, TestClock clock)
    : life_(std::make_unique<Life>(machine, clock)) {}

TestAgent::~TestAgent() {
    life_.reset();
    // The next request of this thread finds the next agent.
    RagdClientDestroyTSD();
}

std::string TestAgent::get(const std::string& path) const {
    const JsonDocument reply = Life::perform(RequestText("get").add("path", path));
    const Json& value = reply["value"];
    return value.IsString() ? std::string(value.GetString(), value.GetStringLength())
                            : toString(value, false);
}

void TestAgent::set(const std::string& path, const std::string& value) const {
    Life::perform(RequestText("set").add("path", path).add("value", value));
}

void TestAgent::reset(const std::string& path) const {
    Life::perform(RequestText("reset").add("path", path));
}

std::size_t TestAgent::event(const std::string& name, const TestEvent& data) const {
    RequestText request("event");
    request.add("name", name);
    if (data.number) {
        request.add("number", *data.number);
    }
    if (data.text) {
        request.add("text", *data.text);
    }
    request.add("ext", data.ext).add("object", data.object).add("cabinet", data.cabinet);
    return Life::perform(request)["listeners"].GetUint64();
}

unsigned int TestAgent::fault(const std::string& rule) const {
    return Life::perform(RequestText("fault").add("do", "add").add("rule", rule))["number"]
        .GetUint();
}

void TestAgent::clearFault(unsigned int number) const {
    Life::perform(RequestText("fault").add("do", "clear").add("number", number));
}

void TestAgent::clearFaults() const {
    Life::perform(RequestText("fault").add("do", "clear"));
}

void TestAgent::advance(const std::string& time) const {
    Life::perform(RequestText("advance").add("by", time));
}

std::vector<std::string> TestAgent::transcript() const {
    std::ifstream file(Life::transcript());
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string TestAgent::control(const std::string& request) const {
    return Life::ask(request);
}

const std::string& TestAgent::directory() const {
    return home().sockets();
}

void TestAgent::stop() {
    life_->stop();
}

void TestAgent::start() {
    life_->start();
}

}  // namespace varnock
