#include <array>
#include <stdexcept>
#include <string>

#include "agent/Refusal.h"
#include "agent/control/Ctl.h"
#include "agent/faults/FaultyReply.h"
#include "agent/recording/ReplayMachine.h"
#include "agent/recording/SanitizedRecording.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/PrivateFile.h"

// Reads any bytes as a recording, and as the agent's answer to a verb of ctl. A recording that is
// accepted is replayed as it was recorded, and accepted again without its private values. A fault
// makes a plan of every reply.
//
// Input: the number of a fault, then the file.

namespace {

using namespace varnock::agent;
using varnock::Sanitizer;
using varnock::fuzz::Input;
using varnock::fuzz::PrivateFile;
using varnock::fuzz::require;

constexpr std::array kFaults = {"null",      "types",    "missing", "doubled OC",  "utf8",
                                "garbage",   "dribble",  "split 3", "truncated",   "twice",
                                "oversized", "silence",  "nested",  "smallbuffer", "close inside",
                                "delay 1s",  "status 4", "huge"};

std::string bytesOf(const ReplyPlan& plan) {
    std::string bytes;
    for (const ReplyStep& step : plan.steps) {
        bytes += step.bytes;
    }
    return bytes;
}

/// One client after the other asks what was recorded.
void replay(const Recording& recording) {
    ReplayMachine machine(recording, ReplayMachine::Order::strict, "fuzzed");
    unsigned client = 0;
    for (const RecordedConnection& connection : recording) {
        const Session session{connection.channel, 0, true, {}, ++client};
        for (const RecordedExchange& exchange : connection.exchanges) {
            const auto plan = machine.recorded(session, exchange.request);
            require(plan && bytesOf(*plan) == bytesOf(exchange.plan), "a replay differs");
        }
    }
}

void spoil(const Recording& recording, const std::string& fault) {
    const FaultRule rule = parseFaultRule("all: " + fault);
    std::mt19937_64 random(1);
    for (const RecordedConnection& connection : recording) {
        for (const RecordedExchange& exchange : connection.exchanges) {
            const ReplyPlan plan = faultyReply(rule.fault, exchange.plan, random);
            require(fault == "silence" || plan.steps.empty() == exchange.plan.steps.empty(),
                    "a reply is lost");
        }
    }
}

void readAsAnswer(const std::string& text) {
    for (const bool asJson : {false, true}) {
        try {
            require(!asJson || shownAnswer("/s", text, asJson).ends_with("}\n"),
                    "an answer without an object");
            static_cast<void>(shownAnswer("/s", text, asJson));
        } catch (const std::runtime_error& failure) {
            require(std::string(failure.what()).starts_with("/s: "), "a failure without its path");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::string fault = kFaults[input.byte() % kFaults.size()];
    const std::string text(input.rest());
    readAsAnswer(text);
    const PrivateFile file("recording");
    file.write(text);
    Recording recording;
    try {
        recording = readRecording(file.path());
    } catch (const Refusal& refusal) {
        require(std::string(refusal.what()).starts_with(file.path()), "a fault without its place");
        return 0;
    }
    replay(recording);
    spoil(recording, fault);
    Sanitizer sanitizer("key");
    file.write(sanitizedRecording(text, sanitizer));
    require(readRecording(file.path()).size() == recording.size(),
            "a sanitised recording has other connections");
    return 0;
}
