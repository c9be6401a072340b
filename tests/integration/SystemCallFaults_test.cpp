// Every system call of whole programs fails once, transfers a part or takes long.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <filesystem>
#include <set>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/EveryCall.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

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
    void SetUp() override { SKIP_IF_NOTHING_CAN_BE_TRACED(); }

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
    expectDocumentedEnds({"inventory"}, 3, [] {});
}

TEST_F(ToolFaults, ATraceEndsAsItsManualSays) {
    files_.host({"write", "1", "20", "100"});
    expectDocumentedEnds({"trace"}, 6, [] {});
}

TEST_F(ToolFaults, AChangeOfTheRegistryEndsAsItsManualSaysAndLeavesTheOldOrTheNew) {
    const auto value = [this](const std::vector<std::string>& options) {
        std::vector<std::string> words{"registry", "get", "HKLM/SOFTWARE", "Level"};
        words.insert(words.end(), options.begin(), options.end());
        return files_.varnockctl(words);
    };
    expectDocumentedEnds({"registry", "set", "HKLM/SOFTWARE", "Level", "7"}, 6, [&] {
        const ProcessResult left = value({});
        EXPECT_THAT(left.status, AnyOf(0, 3)) << left.err;
        std::filesystem::remove(files_.file("registry.old"));
        writeFile(files_.file("registry"), kSmallRegistry);
    });
}

}  // namespace
}  // namespace varnock::test
