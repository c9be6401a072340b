// varnockctl without memory or threads: it ends with a documented status and, with -o json, with
// one JSON document.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "runtime/trace/TraceFileFormat.h"
#include "tests/integration/LibraryFiles.h"
#include "tests/support/Nobody.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::AnyOf;
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
        if (!result) {
            break;
        }
        ++runs;
        EXPECT_EQ(documented.count(result->status), 1U)
            << n << ": " << result->status << ' ' << result->err;
        EXPECT_TRUE(isOneJsonDocument(result->out)) << n << ": " << result->out << result->err;
        if (result->status == 11) {
            ++ended;
            // The C library reports memory that a thread lacks as a lack of threads.
            EXPECT_THAT(result->err,
                        AnyOf(HasSubstr("varnockctl: out of memory\n"),
                              HasSubstr("varnockctl: no further thread can be created\n")))
                << n;
        }
    }
    EXPECT_GT(runs, 10U);
    EXPECT_GT(ended, runs / 2);
}

INSTANTIATE_TEST_SUITE_P(
    Of, Exhaustion,
    testing::Values(Exhausted{"Call", {"call", "getNumberFans", "--cabinet", "0"}, 9},
                    Exhausted{"List", {"list"}, 47}, Exhausted{"Inventory", {"inventory"}, 29},
                    Exhausted{"Metrics", {"metrics"}, 89}),
    [](const auto& test) { return test.param.name; });

TEST(ExhaustionAlone, EndsWithADocumentedStatusWithoutThreads) {
    SKIP_IF_NOT_RUN_AS_NOBODY(VARNOCKCTL);
    SKIP_IF_LEAKS_CANNOT_BE_SOUGHT();
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
    EXPECT_THAT(result.status, AnyOf(0, 11)) << result.err;
    EXPECT_TRUE(isOneJsonDocument(result.out)) << result.out;
}

/// Sets a number in the header of a trace file.
void setField(const std::string& path, std::size_t field, std::int64_t value) {
    char digits[32];
    snprintf(digits, sizeof digits, "%016lld", static_cast<long long>(value));
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(tracefile::offsetOfValue(field)));
    file << digits;
}

TEST(ExhaustionAlone, ReadsASparseTraceOf2GiBInLittleAddressSpace) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const LibraryFiles files;
    files.host({"write", "1", "10", "0"});
    constexpr std::int64_t kSize = tracefile::kLargestSize / 1024 * 1024;
    if (truncate(files.traceFile().c_str(), kSize) != 0) {
        GTEST_SKIP() << "this file system does not allow a sparse file of 2 GiB";
    }
    setField(files.traceFile(), tracefile::kRingBufferSize, kSize);
    const ProcessResult result = runProcess({"prlimit", "--as=400000000", VARNOCKCTL, "--timeout",
                                             "100", "trace", "--grep", "entry=9 "},
                                            files.environment());
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("thread=0 entry=9 of=10"));
}

TEST(ExhaustionAlone, EntriesThatAreNotShownNeedNoMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    LibraryFiles files;
    files.settings["QX_LOG_RINGBUF_WEIGHT"] = "150";
    files.host({"write", "1", "150000", "900"});
    ASSERT_GT(std::filesystem::file_size(files.traceFile()), 100U << 20);
    // 64 MiB, and the stacks of the threads.
    const std::vector<std::string> limited{
        "prlimit", "--data=100000000", VARNOCKCTL, "--timeout", "100", "trace"};
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--grep", "entry=149999 "}, {"-n", "5"}, {"--info"}}) {
        std::vector<std::string> command = limited;
        command.insert(command.end(), options.begin(), options.end());
        const ProcessResult result = runProcess(command, files.environment());
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_NE(result.out, "");
    }
}

}  // namespace
}  // namespace varnock::test
