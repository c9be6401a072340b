// Every system call of whole programs fails once, transfers a part or takes long.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <set>
#include <thread>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/EveryCall.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

/// A program that only loads the library.
class Loading : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override { SKIP_IF_NOTHING_CAN_BE_TRACED(); }

    LibraryFiles files_;
};

TEST_P(Loading, OpensNoConnectionAndStartsNoThreadOrProcess) {
    const TracedResult result =
        runTracedWholly({GetParam(), "load"}, files_.environment(),
                        [](std::size_t, const SystemCall&) { return Fate{}; });
    EXPECT_EQ(result.out, "loaded\n") << result.err;
    const std::set<std::string> unwanted{"socket", "connect", "clone", "clone3", "fork", "vfork"};
    std::set<std::string> seen;
    for (const SystemCall& call : result.calls) {
        EXPECT_FALSE(unwanted.contains(call.name)) << call.name;
        seen.insert(call.name);
    }
    EXPECT_TRUE(seen.contains("openat"));
}

TEST_P(Loading, SurvivesAProcessWithoutFreeDescriptors) {
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    const auto needsOne = [](const SystemCall& call) {
        const std::set<std::string> all{"open",  "openat", "socket",
                                        "pipe2", "dup",    "epoll_create1"};
        return all.contains(call.name);
    };
    std::size_t refused = 0;
    const TracedResult result = runTracedWholly({GetParam(), "load"}, files_.environment(),
                                                [&](std::size_t, const SystemCall& call) {
                                                    if (!needsOne(call)) {
                                                        return Fate{};
                                                    }
                                                    ++refused;
                                                    return Fate{Fate::Kind::failing, EMFILE, 0};
                                                });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "loaded\n") << result.err;
    EXPECT_GT(refused, 3U);
    EXPECT_EQ(readFile(files_.file("registry")), kSmallRegistry);
    EXPECT_EQ(files_.host({"load"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(files_.traceFile()));
}

INSTANTIATE_TEST_SUITE_P(Linkage, Loading,
                         testing::Values(LIBRARY_HOST_STATIC, LIBRARY_HOST_SHARED),
                         [](const auto& host) {
                             return host.param == std::string(LIBRARY_HOST_STATIC) ? "Static"
                                                                                   : "Shared";
                         });

/// True if the call is the program's own output.
bool isOutput(const SystemCall& call) {
    return call.path.starts_with("/memfd:");
}

class ToolFaults : public testing::Test {
  protected:
    ToolFaults() {
        agent_.handle([](const AgentRequest& request) {
            return request.opcode == 0x0300 ? AgentReply::ok(numberData(6))
                                            : AgentReply::status(19);
        });
    }
    void SetUp() override {
        SKIP_IF_NOTHING_CAN_BE_TRACED();
        SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    }

    /// Runs varnockctl for every fault, and expects what its manual says. Harmless faults must not
    /// change the result of the first run. `prepare` runs before each.
    template <class Prepare>
    void expectDocumentedEnds(const std::vector<std::string>& arguments, std::size_t limit,
                              const Prepare& prepare) {
        std::vector<std::string> command{VARNOCKCTL, "-o", "json", "--yes"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        std::optional<TracedResult> reference;
        const std::size_t faults = forEveryFault(
            [&](const Fault& fault, const Decision& decide) {
                prepare();
                TracedResult result = runTracedWholly(command, files_.environment(), decide);
                if (!reference) {
                    reference = result;
                    EXPECT_EQ(result.status, 0) << result.err;
                }
                expectDocumentedEnd(fault, result, *reference);
                return result;
            },
            limit);
        EXPECT_GT(faults, 20U);
    }
    static void expectDocumentedEnd(const Fault& fault, const TracedResult& result,
                                    const TracedResult& reference) {
        const std::set<int> documented{0, 3, 4, 5, 6, 7, 8, 9, 10, 11};
        EXPECT_EQ(documented.count(result.status), 1U) << result.status << result.err;
        if (fault.isHarmless()) {
            EXPECT_EQ(result.status, reference.status) << result.err;
            EXPECT_EQ(result.out, reference.out);
        }
        if (result.status == 0) {
            EXPECT_EQ(result.out, reference.out);
        } else {
            EXPECT_THAT(result.err, HasSubstr("varnockctl: "));
        }
        if (result.status == 3 || result.status == 8 || result.status == 10) {
            EXPECT_THAT(result.err,
                        AnyOf(HasSubstr(strerror(fault.fate.error)), HasSubstr(strerror(EIO))));
        }
        if (result.status != 10 && !isOutput(fault.call)) {
            rapidjson::Document document;
            EXPECT_FALSE(document.Parse(result.out.c_str()).HasParseError()) << result.out;
        }
    }

    ScriptedAgent agent_;
    LibraryFiles files_;
};

TEST_F(ToolFaults, AnInventoryEndsAsItsManualSays) {
    expectDocumentedEnds({"inventory"}, 2, [] {});
}

TEST_F(ToolFaults, ATraceEndsAsItsManualSays) {
    files_.host({"write", "1", "20", "100"});
    expectDocumentedEnds({"trace"}, 3, [] {});
}

TEST_F(ToolFaults, AChangeOfTheRegistryEndsAsItsManualSaysAndLeavesTheOldOrTheNew) {
    const auto value = [this](const std::vector<std::string>& options) {
        std::vector<std::string> words{"registry", "get", "HKLM/SOFTWARE", "Level"};
        words.insert(words.end(), options.begin(), options.end());
        return files_.varnockctl(words);
    };
    expectDocumentedEnds({"registry", "set", "HKLM/SOFTWARE", "Level", "7"}, 4, [&] {
        const ProcessResult left = value({});
        EXPECT_THAT(left.status, AnyOf(0, 3)) << left.err;
        std::filesystem::remove(files_.file("registry.old"));
        writeFile(files_.file("registry"), kSmallRegistry);
    });
}

class AgentFaults : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_IF_NOTHING_CAN_BE_TRACED();
        SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    }

    /// Expects nothing to be left in the directory.
    void expectEmptyDirectory() {
        for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
            ADD_FAILURE() << "left: " << entry.path();
            std::filesystem::remove_all(entry);
        }
    }

    TemporaryDirectory directory_;
};

TEST_F(AgentFaults, RunEndsAsItsManualSaysAndRemovesItsDirectory) {
    SKIP_IF_THE_START_WRITES_A_FILE();
    const std::size_t faults = forEveryFault(
        [this](const Fault& fault, const Decision& decide) {
            TracedResult result = runTracedWholly(
                {VARNOCK_AGENT, "run", "--", VARNOCKCTL, "call", "getOSVersion", "--cabinet", "0"},
                {{"TMPDIR", directory_.path()}}, decide);
            // 3 to 9: what varnockctl says of an agent that has dropped its connection.
            EXPECT_THAT(result.status, AnyOf(0, 1, 3, 4, 5, 6, 9, 126)) << result.err;
            if (fault.isHarmless()) {
                EXPECT_EQ(result.status, 0) << result.err;
            }
            if (result.status == 0) {
                EXPECT_NE(result.out, "");
            } else {
                EXPECT_THAT(result.err,
                            AnyOf(HasSubstr("varnock-agent: "), HasSubstr("varnockctl: ")));
            }
            expectEmptyDirectory();
            return result;
        },
        2);
    EXPECT_GT(faults, 50U);
}

/// Sends a request, reads whatever comes back, and ends the agent with SIGTERM.
void askAndEnd(const std::string& directory) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (directory + "/ragdsj").copy(address.sun_path, sizeof address.sun_path - 1);
    ucred agent{};
    socklen_t length = sizeof agent;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &agent, &length) == 0) {
        const std::string request = frame(AgentRecord{.opcode = 0x0204});
        send(fd, request.data(), request.size(), MSG_NOSIGNAL);
        pollfd answered{fd, POLLIN, 0};
        poll(&answered, 1, 10'000);
        kill(agent.pid, SIGTERM);
    }
    close(fd);
}

TEST_F(AgentFaults, ServeEndsAtASignalAndLeavesNoSocket) {
    const std::size_t faults = forEveryFault(
        [this](const Fault& fault, const Decision& decide) {
            std::thread client;
            TracedResult result =
                runTracedWholly({VARNOCK_AGENT, "serve", "--dir", directory_.path()}, {},
                                [&](std::size_t n, const SystemCall& call) {
                                    if (call.name == "epoll_wait" && !client.joinable()) {
                                        client = std::thread(askAndEnd, directory_.path());
                                    }
                                    return decide(n, call);
                                });
            if (client.joinable()) {
                client.join();
            }
            if (result.status == 128 + SIGTERM && !fault.isHarmless()) {
                result.status = 0;  // the loop that waits for signals had failed before it came
            }
            EXPECT_THAT(result.status, AnyOf(0, 1)) << result.err;
            if (fault.isHarmless()) {
                EXPECT_EQ(result.status, 0) << result.err;
            }
            if (result.status == 1) {
                EXPECT_THAT(result.err, StartsWith("varnock-agent: "));
            }
            // A socket stays if it cannot be removed or recognised.
            if (fault.call.name != "unlink" && fault.call.name != "newfstatat") {
                expectEmptyDirectory();
            }
            for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
                std::filesystem::remove(entry);
            }
            return result;
        },
        2);
    EXPECT_GT(faults, 50U);
}

}  // namespace
}  // namespace varnock::test
