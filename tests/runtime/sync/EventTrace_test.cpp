#include "runtime/Event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "tests/runtime/sync/EventSupport.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

TEST(Event, CreateWithoutAChangeTracesNothing) {
    TracedEvent event(1, kManualReset);
    const TraceCapture trace;
    EXPECT_EQ(event->Create(2, 3, nullptr, nullptr), 1);
    EXPECT_EQ(trace.text(), "");
}

TEST(Event, TracesItsLife) {
    const TraceCapture trace;
    TracedEvent event(0, kManualReset, "traced");
    {
        CEvent second(0, kManualReset, "traced");
        second.Set();
        second.IfSet();
        second.Pulse();
        second.Reset();
        second.Close();
    }
    event.end();
    const std::string named = event.named("traced");
    EXPECT_THAT(trace.messages(),
                ElementsAre("refCount for event " + named + " incremented (IsSignaled=0)",
                            "Set event " + named + " IsSignaled=0 --> IsSignaled=1",
                            "Check event " + named + " (IsSignaled=1)",
                            "Pulse event " + named + " IsSignaled=1 --> IsSignaled=0",
                            "Reset event " + named + ": IsSignaled=0 --> IsSignaled=0",
                            "Close event " + named + " IsSignaled=0 --> IsSignaled=1",
                            "decr refcount on event " + named + " (IsSignaled=1)",
                            "deleting event " + named + " (IsSignaled=1)"));
}

TEST(Event, TracesTheConstructionOfAnUnnamedEvent) {
    const TraceCapture trace;
    const CEvent event(1, kManualReset, nullptr);
    EXPECT_TRUE(trace.contains("creating event 0x")) << trace.text();
    EXPECT_TRUE(trace.contains("<anon> (IsSignaled=1)")) << trace.text();
}

TEST(Event, TracesAtItsLevels) {
    TraceCapture trace(4);
    TracedEvent event(0, kManualReset, "levels");
    event->Set();
    EXPECT_EQ(trace.text(), "");
    const CEvent second(0, kManualReset, "levels");
    EXPECT_EQ(trace.count("refCount for event"), 1U);
    trace.setLevel(2);
    const CEvent third(0, kManualReset, "levels");
    EXPECT_EQ(trace.count("refCount for event"), 1U);
}

TEST(Event, TracesEveryOperationAtLevelFive) {
    const auto use = [] {
        CEvent event(0, kManualReset, "levels-of-all");
        CEvent copy(event);
        const std::unique_ptr<CEvent> reference(CEvent::CreateRef("levels-of-all"));
        EXPECT_EQ(CEvent::CreateRef("nobody"), nullptr);
        event.Create(1, kAutomaticReset, nullptr, nullptr);
        event.Set();
        event.IfSet();
        event.Pulse();
        event.Reset();
        event.Close();
    };
    {
        const TraceCapture trace(4);
        use();
        EXPECT_EQ(trace.text(), "");
    }
    const TraceCapture trace(5);
    use();
    // "decr" twice: the copy and the reference go before the event.
    const std::pair<const char*, std::size_t> texts[] = {{"creating event", 1},
                                                         {"incr refcount on event", 1},
                                                         {"refering (count=3)", 1},
                                                         {"NOT FOUND", 1},
                                                         {"changing attributes", 1},
                                                         {"Set event", 1},
                                                         {"Check event", 1},
                                                         {"Pulse event", 1},
                                                         {"Reset event", 1},
                                                         {"Close event", 1},
                                                         {"decr refcount on event", 2},
                                                         {"deleting event", 1}};
    for (const auto& [text, count] : texts) {
        EXPECT_EQ(trace.count(text), count) << text;
    }
}

TEST(Event, WarnsOfAnotherKindOfResetAndKeepsTheFirst) {
    TracedEvent event(1, kManualReset, "mismatch");
    const TraceCapture trace(0);
    CEvent second(1, kAutomaticReset, "mismatch");
    EXPECT_THAT(trace.messages(), ElementsAre("WARNING: manual setting mismatch for event " +
                                              event.named("mismatch")));
    EXPECT_EQ(second.Wait(0, 0), 0);
    EXPECT_EQ(second.Wait(0, 0), 0);
}

TEST(Event, ShowsTheStateAsManualWhateverTheNumber) {
    TracedEvent event(1, 5, "any-number");
    const TraceCapture trace(0);
    CEvent second(1, 9, "any-number");
    EXPECT_EQ(trace.text(), "");
}

}  // namespace
}  // namespace varnock::test
