#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "bench/support/MinimalAgent.h"
#include "bench/support/Program.h"
#include "transport/AgentSocket.h"
#include "transport/SipJson.h"

// Whole processes.

namespace varnock::bench {
namespace {

/// A directory for the registry and the trace file of the processes, removed by the destructor.
class Directory {
  public:
    explicit Directory(bool hasRegistry) {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("mkdtemp");
        }
        if (hasRegistry) {
            std::filesystem::copy(std::string(getenv("QX_SYSTEM_DIR")) + "/registry",
                                  path_ + "/registry");
        }
    }
    ~Directory() { std::filesystem::remove_all(path_); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    const std::string& path() const { return path_; }
    std::string traceFile() const { return path_ + "/log.CIM_Provider_a"; }
    Program program(std::vector<std::string> command) const {
        return {std::move(command), {{"QX_SYSTEM_DIR", path_}, {"QX_LOG_RINGBUF_DIR", path_}}};
    }

  private:
    std::string path_ = "/tmp/varnock-bench-XXXXXX";
};

void repeat(benchmark::State& state, const Program& program) {
    for (auto _ : state) {
        if (!program.run()) {
            state.SkipWithError("the process failed");
            break;
        }
    }
}

void loadNothing(benchmark::State& state) {
    repeat(state, Program({LOADS_NOTHING}, {}));
}

/// The registry and the trace file exist, as at every start but the first.
void loadLibrary(benchmark::State& state) {
    const Directory files(true);
    const Program program = files.program({LOADS_LIBRARY});
    program.run();
    repeat(state, program);
}

/// Without a registry the library traces to standard error.
void loadWithoutFiles(benchmark::State& state) {
    const Directory files(false);
    repeat(state, files.program({LOADS_LIBRARY}));
}

void loadFirst(benchmark::State& state) {
    const Directory files(true);
    const Program program = files.program({LOADS_LIBRARY});
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(files.traceFile());
        state.ResumeTiming();
        if (!program.run()) {
            state.SkipWithError("the process failed");
            break;
        }
    }
}

BENCHMARK(loadLibrary)->Name("LibraryLoad/ours")->UseRealTime();
BENCHMARK(loadNothing)->Name("LibraryLoad/peer")->UseRealTime();
BENCHMARK(loadWithoutFiles)->Name("LibraryLoadWithoutFiles/ours")->UseRealTime();
BENCHMARK(loadNothing)->Name("LibraryLoadWithoutFiles/peer")->UseRealTime();
BENCHMARK(loadFirst)->Name("LibraryLoadNewTraceFile/ours")->UseRealTime();
BENCHMARK(loadNothing)->Name("LibraryLoadNewTraceFile/peer")->UseRealTime();

void callOnCommandLine(benchmark::State& state) {
    const Directory files(true);
    const Program program = files.program({VARNOCKCTL, "call", "getNumberFans", "--cabinet", "0"});
    program.run();
    repeat(state, program);
}

BENCHMARK(callOnCommandLine)->Name("VarnockctlCall/ours")->UseRealTime();
BENCHMARK(loadNothing)->Name("VarnockctlCall/peer")->UseRealTime();

/// varnock-agent in a directory of its own.
class DevelopmentAgent {
  public:
    DevelopmentAgent() : process_(command().start()) {
        constexpr int kTries = 500;
        for (int tries = 0; ProbeAgentSocket(socket()) != 0; ++tries) {
            if (tries == kTries) {
                throw std::runtime_error("varnock-agent does not listen");
            }
            usleep(10'000);
        }
    }
    ~DevelopmentAgent() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    DevelopmentAgent(const DevelopmentAgent&) = delete;
    DevelopmentAgent& operator=(const DevelopmentAgent&) = delete;

    std::string socket() const { return files_.path() + "/ragdsj"; }

  private:
    Program command() const {
        return files_.program({VARNOCK_AGENT, "serve", "--dir", files_.path()});
    }

    Directory files_{true};
    pid_t process_;
};

bool askAgent(int descriptor, const std::string& frame) {
    char reply[4096];
    return write(descriptor, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size()) &&
           read(descriptor, reply, sizeof reply) > 4;
}

/// Bare frames, so that only the agent's work differs.
void callAgent(benchmark::State& state, const std::string& socket) {
    const int descriptor = MinimalAgent::connectTo(socket);
    SipJson registration(0xFFA0, 0x1100, 0, 0, 0xFFFFFFFF);
    registration.SetRequestDataStream(std::vector<unsigned char>(224, 'b'));
    const std::string request = frameOf(SipJson(0x0300, 0, 0, 0, 0xFFFFFFFF).Export());
    bool answered = askAgent(descriptor, frameOf(registration.Export()));
    for (auto _ : state) {
        answered = answered && askAgent(descriptor, request);
    }
    if (!answered) {
        state.SkipWithError("the agent did not answer");
    }
    close(descriptor);
}

void callDevelopmentAgent(benchmark::State& state) {
    const DevelopmentAgent agent;
    callAgent(state, agent.socket());
}
void callMinimalAgent(benchmark::State& state) {
    callAgent(state, RequestSocketPath());
}
BENCHMARK(callDevelopmentAgent)->Name("AgentCall/ours")->UseRealTime();
BENCHMARK(callMinimalAgent)->Name("AgentCall/peer")->UseRealTime();

}  // namespace
}  // namespace varnock::bench
