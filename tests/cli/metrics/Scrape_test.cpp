#include "cli/metrics/Scrape.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <string>

#include "tests/support/ScriptedAgent.h"

namespace varnockctl {
namespace {

using varnock::test::AgentReply;
using varnock::test::AgentRequest;
using varnock::test::numberData;
using varnock::test::ScriptedAgent;
using namespace std::chrono_literals;

/// The value of a metric without labels; -1 if there is none.
double valueOf(const Scraped& scraped, const std::string& name) {
    const auto found =
        std::find_if(scraped.families.begin(), scraped.families.end(),
                     [&](const MetricFamily& family) { return family.name == name; });
    return found != scraped.families.end() ? found->samples.front().value : -1;
}

AgentReply oneCabinetWithTwoFans(const AgentRequest& request) {
    switch (request.opcode) {
        case 0xE204:
            return AgentReply::ok(numberData(0));
        case 0x0300:
            return AgentReply::ok(numberData(2));
        case 0x0302:
            return AgentReply::ok(numberData(5400));
        default:
            return AgentReply::status(19);
    }
}

TEST(Scrape, ReportsAMachineThatAnswers) {
    ScriptedAgent agent;
    agent.handle(oneCabinetWithTwoFans);
    const Scraped scraped = Scrape(Options{}).await(60s);
    EXPECT_EQ(scraped.status, ExitStatus::done);
    EXPECT_EQ(scraped.problem, "");
    EXPECT_EQ(valueOf(scraped, "varnock_up"), 1);
    EXPECT_EQ(valueOf(scraped, "varnock_scrape_success"), 1);
    EXPECT_EQ(valueOf(scraped, "varnock_scrape_failed_calls"), 0);
    EXPECT_GT(valueOf(scraped, "varnock_scrape_calls"), 10);
    EXPECT_GE(valueOf(scraped, "varnock_scrape_duration_seconds"), 0);
    EXPECT_EQ(valueOf(scraped, "varnock_fan_speed_rpm"), 5400);
}

TEST(Scrape, ReportsThatThereIsNoAgent) {
    ScriptedAgent agent;
    agent.stop();
    const Scraped scraped = Scrape(Options{}).await(60s);
    EXPECT_EQ(scraped.status, ExitStatus::noAgent);
    EXPECT_NE(scraped.problem.find("the agent cannot be reached at "), std::string::npos);
    EXPECT_EQ(valueOf(scraped, "varnock_up"), 0);
    EXPECT_EQ(valueOf(scraped, "varnock_scrape_success"), 0);
    EXPECT_EQ(scraped.families.size(), 5U);
}

TEST(Scrape, KeepsWhatWasReadBeforeTheAgentGotStuck) {
    ScriptedAgent agent;
    std::promise<void> stuck;
    agent.handle([&](const AgentRequest& request) {
        if (request.opcode != 0x0302 || request.object == 0) {
            return oneCabinetWithTwoFans(request);
        }
        stuck.set_value();
        return AgentReply::none();
    });
    Scrape scrape{Options{}};
    stuck.get_future().wait();
    const Scraped scraped = scrape.await(1ms);
    EXPECT_EQ(scraped.status, ExitStatus::timeout);
    EXPECT_EQ(valueOf(scraped, "varnock_up"), 0);
    EXPECT_EQ(valueOf(scraped, "varnock_fans"), 2);
    EXPECT_GE(valueOf(scraped, "varnock_scrape_failed_calls"), 1);
    agent.stop();
}

TEST(Scrape, CountsTheCallsThatFail) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest& request) {
        return request.opcode == 0x0302 ? AgentReply::status(1) : oneCabinetWithTwoFans(request);
    });
    const Scraped scraped = Scrape(Options{}).await(60s);
    EXPECT_EQ(scraped.status, ExitStatus::partial);
    EXPECT_EQ(valueOf(scraped, "varnock_up"), 1);
    EXPECT_EQ(valueOf(scraped, "varnock_scrape_success"), 0);
    EXPECT_EQ(valueOf(scraped, "varnock_scrape_failed_calls"), 2);
    EXPECT_EQ(valueOf(scraped, "varnock_fan_speed_rpm"), -1);
}

TEST(Scrape, AnAgentThatRefusesEveryCallIsNotUp) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::status(1); });
    const Scraped scraped = Scrape(Options{}).await(60s);
    EXPECT_EQ(scraped.status, ExitStatus::refused);
    EXPECT_EQ(valueOf(scraped, "varnock_up"), 0);
}

}  // namespace
}  // namespace varnockctl
