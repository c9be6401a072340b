// Every system call of a typed call fails, takes a part or takes long, one at a time.
#include <gtest/gtest.h>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "tests/support/EveryCall.h"
#include "tests/support/PauselessClock.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"

namespace provider::test {
namespace {

using namespace varnock::test;

TEST(SystemCallFaults, ATypedCallSucceedsOrFailsInItsOwnStyleAndTheNextOneWorks) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    const std::size_t faults = forEveryFaultOf([](const TracedPart& part, const Fault& fault) {
        const PauselessClock clock;
        ScriptedAgent agent;
        agent.handle([](const AgentRequest& request) {
            return request.opcode == 0x0300 ? AgentReply::ok(numberData(4))
                                            : AgentReply::status(19);
        });
        const auto fans = [](KOLMClient& client) {
            try {
                return static_cast<int>(newKOLMCalls(&client)->getNumberFans(1));
            } catch (const BaseException&) {
                return -1;
            }
        };

        part.begin();
        const ShPtr<KOLMClient> client = getKOLMClient("faults");
        const int found = fans(*client);
        part.end();

        EXPECT_TRUE(found == 4 || !fault.isHarmless()) << found;
        EXPECT_TRUE(found == 4 || found == 0 || found == -1) << found;
        EXPECT_EQ(fans(*client), 4);
    });
    EXPECT_GT(faults, 40u);
}

}  // namespace
}  // namespace provider::test
