// varnockctl without memory or threads: it ends with a documented status and, with -o json, with
// one JSON document.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <set>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Nobody.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;

bool isOneJsonDocument(const std::string& text) {
    rapidjson::Document document;
    return !document.Parse(text.c_str()).HasParseError();
}

struct Exhausted {
    const char* name;
    std::vector<std::string> command;
    std::size_t step;  ///< of the allocations that fail
};

void PrintTo(const Exhausted& exhausted, std::ostream* out) {
    *out << exhausted.name;
}

class Exhaustion : public testing::TestWithParam<Exhausted> {
  protected:
    Exhaustion() {
        agent_.handle([](const AgentRequest& request) {
            return request.opcode == 0x0300 ? AgentReply::ok(numberData(6))
                                            : AgentReply::status(19);
        });
    }

    /// The result when the n-th allocation fails; nothing if there are fewer.
    std::optional<ProcessResult> runWithout(std::size_t n) {
        const std::string report = files_.file("failed");
        auto environment = files_.environment();
        environment["LD_PRELOAD"] = VARNOCK_FAILING_MALLOC_SO;
        environment["VARNOCK_FAILING_MALLOC"] = std::to_string(n);
        environment["VARNOCK_FAILING_MALLOC_REPORT"] = report;
        std::vector<std::string> command{VARNOCKCTL, "-o", "json"};
        command.insert(command.end(), GetParam().command.begin(), GetParam().command.end());
        const ProcessResult result = runProcess(command, environment);
        return unlink(report.c_str()) == 0 ? std::optional(result) : std::nullopt;
    }

    ScriptedAgent agent_;
    LibraryFiles files_;
};

TEST_P(Exhaustion, EndsWithADocumentedStatusWhicheverAllocationFails) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::set<int> documented{0, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    std::size_t runs = 0;
    std::size_t ended = 0;
    for (std::size_t n = 1;; n += GetParam().step) {
        const auto result = runWithout(n);
        if (!result) break;
        ++runs;
        EXPECT_EQ(documented.count(result->status), 1U)
            << n << ": " << result->status << ' ' << result->err;
        EXPECT_TRUE(isOneJsonDocument(result->out)) << n << ": " << result->out << result->err;
        if (result->status == 11) {
            ++ended;
            EXPECT_THAT(result->err, HasSubstr("varnockctl: out of memory\n")) << n;
        }
    }
    EXPECT_GT(runs, 10U);
    EXPECT_GT(ended, runs / 2);
}

INSTANTIATE_TEST_SUITE_P(
    Of, Exhaustion,
    testing::Values(Exhausted{"Call", {"call", "getNumberFans", "--cabinet", "0"}, 9},
                    Exhausted{"List", {"list"}, 47}, Exhausted{"Inventory", {"inventory"}, 29}),
    [](const auto& test) { return test.param.name; });

TEST(ExhaustionAlone, EndsWithADocumentedStatusWithoutThreads) {
    SKIP_IF_NOT_RUN_AS_NOBODY(VARNOCKCTL);
    std::vector<std::string> command = asNobody({"prlimit", "--nproc=1", VARNOCKCTL, "-o", "json"});
    command.emplace_back("list");
    const ProcessResult result = runProcess(command);
    EXPECT_EQ(result.status, 11);
    EXPECT_EQ(result.err, "varnockctl: no further thread can be created\n");
    EXPECT_TRUE(isOneJsonDocument(result.out)) << result.out;
}

TEST(ExhaustionAlone, EndsWithADocumentedStatusWithoutAddressSpace) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const ProcessResult result =
        runProcess({"prlimit", "--as=60000000", VARNOCKCTL, "-o", "json", "list"});
    EXPECT_THAT(result.status, testing::AnyOf(0, 11)) << result.err;
    EXPECT_TRUE(isOneJsonDocument(result.out)) << result.out;
}

}  // namespace
}  // namespace varnock::test
