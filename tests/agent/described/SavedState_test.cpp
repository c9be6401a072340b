#include "agent/described/SavedState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/Refusal.h"
#include "agent/Responder.h"
#include "agent/described/DescribedMachine.h"
#include "agent/described/ModelClocks.h"
#include "agent/model/CallRows.h"
#include "agent/model/MachineFile.h"
#include "catalogue/Bindings.h"
#include "tests/agent/model/JsonParts.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// The replies to all commands of the catalogue, for the first objects.
std::vector<std::string> repliesOf(DescribedMachine& machine) {
    Responder responder(machine);
    Session session{Channel::requests, 17, true, {}};
    std::vector<std::string> replies;
    for (const catalogue::Binding& binding : catalogue::bindings(callRows())) {
        // Changes would differ from a second run.
        if (binding.reply == "none") {
            continue;
        }
        for (unsigned object = 0; object < 3; ++object) {
            SipJson record(binding.opcode, binding.ext.value_or(1), object, 0, 0xFFFFFFFF);
            record.SetDataString("Root", 0);
            replies.push_back(responder.reply(session, record.Export()));
        }
    }
    return replies;
}

std::string faultOf(const std::string& text) {
    try {
        SavedState state;
        readState(text, "f", state);
        return "";
    } catch (const BadMachineFile& fault) {
        return fault.what();
    }
}

TEST(SavedState, GivesTheRepliesOfTheMachineThatWasSaved) {
    for (const char* name : {"typical", "full", "degraded", "bare", "empty"}) {
        Document document;
        loadMachine(VARNOCK_SOURCE_DIR "/examples/machines/" + std::string(name) + ".json",
                    document);
        Moment moment{1'000'000, 5};
        DescribedMachine machine(
            std::move(document), [&] { return moment; }, name);
        machine.model().set("cabinets[0].serialNumber", "x", "me", std::nullopt);
        if (machine.model().look("cabinets[0].fans[0].status") != "null") {
            machine.model().set("cabinets[0].fans[0].status", "failed", "me", 30);
            machine.model().set("system.name", "null", "me", std::nullopt);
        }
        // A scan stays open: its token goes on.
        const SipJson scan(0x0C82, 0, 0, 0, 0xFFFFFFFF);
        static_cast<void>(machine.answer({0x0C82, 0, 0, 0, scan}));
        moment.sinceStart = 12;
        SavedState state;
        const std::string text = stateText(machine.model(), ScanSessions(), {});
        readState(text, "saved", state);
        EXPECT_EQ(state.elapsed, 12);
        state.elapsed = 0;  // the clock of the test goes on by itself
        DescribedMachine again(
            std::move(state), [&] { return moment; }, name);
        const auto expected = repliesOf(machine);
        const auto replies = repliesOf(again);
        ASSERT_EQ(replies.size(), expected.size());
        ASSERT_GT(replies.size(), 500U);
        std::size_t tokens = 0;
        for (std::size_t i = 0; i < replies.size(); ++i) {
            // The token of a new scan counts on from the one that is open.
            const bool isToken = expected[i].find("\"OC\":3202") != std::string::npos;
            tokens += isToken ? 1U : 0U;
            EXPECT_TRUE(isToken || replies[i] == expected[i]) << expected[i] << "\n" << replies[i];
        }
        EXPECT_GT(tokens, 0U);
    }
}

TEST(SavedState, KeepsScansOverridesAndTheTime) {
    MachineModel model(json(R"({"cabinets": [{"number": 4, "fans": [{"speed": "1 rpm"}]}]})"), [] {
        return Moment{0, 2.5};
    });
    model.set("cabinets[0].fans[0].speed", R"({"points": [["0 s", "7 rpm"], ["9 s", "8 rpm"]]})",
              "me", 4);
    ScanSessions scans;
    scans.open(4);
    scans.open(9);
    scans.close(1, 4);
    SavedState state;
    readState(stateText(model, scans, {}), "f", state);
    EXPECT_EQ(state.elapsed, 2.5);
    EXPECT_TRUE(state.scans.isOpen(2, 9));
    EXPECT_EQ(state.scans.open(4), 3U);
    ASSERT_EQ(state.overrides.size(), 1U);
    EXPECT_EQ(state.overrides[0].owner, "me");
    EXPECT_EQ(state.overrides[0].secondsLeft, 4);
    EXPECT_THAT(state.overrides[0].value, HasSubstr("points"));
    EXPECT_EQ(textOf(state.machine["cabinets"][0]["fans"][0]["speed"]), "1 rpm");
    DescribedMachine machine(
        std::move(state),
        [] {
            return Moment{0, 0};
        },
        "m");
    EXPECT_EQ(machine.model().now().sinceStart, 2.5);
    EXPECT_EQ(machine.model().overrides()[0].ends, 6.5);
}

/// Rules for faults by a clock of their own.
struct Faults {
    EventLoop loop = newEventLoop();
    AgentClock clock{loop.get(), AgentClock::Kind::isVirtual};
    FaultRules rules{clock, 1};

    /// The numbers of the rules that hit equal commands, 0 for none.
    std::string hits(int commands) {
        std::string numbers;
        for (int i = 0; i < commands; ++i) {
            const auto* const rule = rules.match({0x0300, 0, 2, 0, 1});
            numbers += std::to_string(rule == nullptr ? 0 : rule->number);
        }
        return numbers;
    }
};

FaultRules::State readFaults(const FaultRules::State& faults) {
    MachineModel model(json(R"({"cabinets": []})"), [] { return Moment(); });
    SavedState state;
    readState(stateText(model, {}, faults), "f", state);
    return std::move(state.faults);
}

TEST(SavedState, KeepsTheRulesForFaultsAndWhatTheyHaveDone) {
    Faults before;
    before.rules.add("all times=1: twice");
    before.rules.add("all nth=2 times=3: silence");
    before.rules.add("all: status 1");
    before.rules.remove(3);
    EXPECT_EQ(before.hits(3), "102");
    Faults after;
    after.rules.restore(readFaults(before.rules.state()));
    ASSERT_EQ(after.rules.all().size(), 2U);
    EXPECT_EQ(after.rules.all().front().hits, 1U);
    EXPECT_EQ(after.rules.all().back().seen, 2U);
    EXPECT_EQ(after.hits(4), "2200");
    EXPECT_EQ(after.rules.add("all: twice"), 4U) << "no number is used again";
}

TEST(SavedState, KeepsTheTimeThatIsLeftToARule) {
    Faults before;
    before.clock.advance(std::chrono::seconds(20));
    before.rules.add("all until=30s: twice");
    before.rules.add("all until=10s: twice");
    Faults after;
    after.clock.advance(std::chrono::seconds(5));
    after.rules.restore(readFaults(before.rules.state()));
    after.clock.advance(std::chrono::seconds(9));
    EXPECT_EQ(after.hits(1), "1");
    after.clock.advance(std::chrono::seconds(1));
    EXPECT_EQ(after.hits(1), "0");
}

TEST(SavedState, KeepsTheRandomNumbersOfARule) {
    Faults before;
    before.rules.add("all probability=50%: twice");
    before.rules.add("all probability=50% seed=7: twice");
    before.hits(10);
    Faults after;
    after.rules.restore(readFaults(before.rules.state()));
    const std::string expected = before.hits(50);
    EXPECT_EQ(after.hits(50), expected);
    EXPECT_NE(expected.find('1'), expected.npos);
    EXPECT_NE(expected.find('0'), expected.npos);
}

TEST(SavedState, SaysWhatIsWrongWithARuleForFaults) {
    const auto with = [](const std::string& faults) {
        return faultOf(R"({"machine": {"cabinets": []}, "elapsed": 1, "overrides": [], "scans": [],
                           "lastScan": 1, )" +
                       faults + "}");
    };
    const auto withRule = [&](const std::string& rule) {
        return with(R"("lastFault": 2, "faults": [{"number": 2, "seed": 5, )" + rule + "}]");
    };
    EXPECT_EQ(withRule(R"("rule": "all: twice", "seen": 3, "hits": 3)"), "");
    EXPECT_THAT(with(R"("faults": [])"), HasSubstr("lastFault"));
    EXPECT_THAT(with(R"("lastFault": 2, "faults": [{}])"), HasSubstr("the member \"rule\""));
    EXPECT_THAT(withRule(R"("rule": "x")"), HasSubstr("a rule for faults; a rule is"));
    EXPECT_THAT(withRule(R"("rule": "all: twice", "seen": -1)"), HasSubstr("whole number"));
    EXPECT_THAT(withRule(R"("rule": "all: twice", "seen": 1, "hits": 2)"), HasSubstr("no more"));
    EXPECT_THAT(withRule(R"("rule": "all times=1: twice", "seen": 5, "hits": 2)"),
                HasSubstr("no more hits"));
    EXPECT_THAT(withRule(R"("rule": "all until=5s: twice", "seen": 0, "hits": 0)"),
                HasSubstr("secondsLeft"));
    EXPECT_THAT(
        withRule(R"("rule": "all until=5s: twice", "seen": 0, "hits": 0, "secondsLeft": 1e300)"),
        HasSubstr("a time that a rule can have"));
    EXPECT_THAT(withRule(R"("rule": "all: twice", "seen": 0, "hits": 0, "random": "1 2")"),
                HasSubstr("random numbers"));
    const std::string rule = R"("seed": 1, "rule": "all: twice", "seen": 0, "hits": 0})";
    for (const char* numbers :
         {R"("lastFault": 1, "faults": [{"number": 2, )",
          R"("lastFault": 2, "faults": [{"number": 0, )",
          R"("lastFault": 2, "faults": [{"number": 1, "seed": 1, "rule": "all: twice", "seen": 0,
             "hits": 0}, {"number": 1, )"}) {
        EXPECT_THAT(with(numbers + rule + "]"), HasSubstr("numbers of rules that increase"))
            << numbers;
    }
}

TEST(SavedState, SaysWhatItLacks) {
    const auto with = [](const std::string& more) {
        return faultOf(R"({"machine": {"cabinets": []}, )" + more + "}");
    };
    EXPECT_THAT(faultOf("{"), StartsWith("f:1:2: "));
    EXPECT_EQ(faultOf("[]"), "f:1:1: a saved state: expected the member \"machine\"");
    EXPECT_THAT(faultOf(R"({"machine": {"fan": 1}})"), HasSubstr("a member that a machine has"));
    EXPECT_THAT(with(R"("elapsed": -1)"), HasSubstr("expected seconds"));
    EXPECT_THAT(with(R"("elapsed": "1")"), HasSubstr("expected seconds"));
    EXPECT_THAT(with(R"("elapsed": 1)"), HasSubstr("the member \"overrides\""));
    EXPECT_THAT(with(R"("elapsed": 1, "overrides": {})"), HasSubstr("expected a list"));
    EXPECT_THAT(with(R"("elapsed": 1, "overrides": [{"path": 1}])"), HasSubstr("expected a text"));
    EXPECT_THAT(with(R"("elapsed": 1, "overrides": [], "scans": [{"token": "1", "cabinet": 1}])"),
                HasSubstr("expected a whole number"));
    EXPECT_THAT(with(R"("elapsed": 1, "overrides": [], "scans": [])"), HasSubstr("lastScan"));
    EXPECT_EQ(with(R"("elapsed": 1, "overrides": [], "scans": [], "lastScan": 1)"), "");
}

TEST(SavedState, RefusesAnOverrideThatItsMachineCannotHave) {
    SavedState state;
    state.machine = json(R"({"cabinets": []})");
    state.overrides.push_back({"cabinets[0].number", "1", "me", std::nullopt});
    EXPECT_THROW(DescribedMachine(std::move(state), systemClock(), "m"), std::invalid_argument);
}

TEST(SavedState, ReplacesItsFile) {
    const varnock::test::TemporaryDirectory directory;
    const std::string path = directory.file("state");
    saveState(path, "first");
    saveState(path, "second");
    EXPECT_EQ(textOfFile(path), "second");
    EXPECT_THROW(saveState(directory.file("no/state"), "x"), Refusal);
    EXPECT_THROW(saveState(directory.path(), "x"), Refusal);
    SavedState state;
    EXPECT_THROW(loadState(path, state), BadMachineFile);
    EXPECT_THROW(loadState(directory.file("none"), state), BadMachineFile);
}

}  // namespace
}  // namespace varnock::agent::test
