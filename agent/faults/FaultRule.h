#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace varnock::agent {

/// How long a reply is held back.
struct FaultDelay {
    enum class Shape { none, fixed, uniform, normal };
    using Time = std::chrono::microseconds;

    Shape shape = Shape::none;
    Time first{0};   ///< the delay, the shortest, or the mean
    Time second{0};  ///< unused, the longest, or the standard deviation
};

/// What happens to a reply: its record and its bytes may be changed, and it may come late.
struct Fault {
    enum class Record {
        unchanged,
        garbage,
        nested,
        wrongTypes,
        missing,
        doubled,
        null,
        invalidUtf8,
        huge,
    };
    enum class Bytes {
        unchanged,
        silence,
        closeBefore,
        closeInside,
        closeAfter,
        truncated,
        oversized,
        dribble,
        split,
        twice,
        smallBuffer,
    };

    std::optional<unsigned> status = std::nullopt;  ///< instead of the machine's answer
    FaultDelay delay = {};
    Record record = Record::unchanged;
    std::string member = {};  ///< of the command, for missing, doubled and null
    Bytes bytes = Bytes::unchanged;
    FaultDelay::Time interval{0};  ///< between the pieces of a dribble or a split
    unsigned offset = 0;           ///< of the second piece of a split
};

/// The longest time in a rule.
inline constexpr double kLongestFaultSeconds = 1e9;

/// Which commands a fault is for. What is not given matches all.
struct FaultMatch {
    std::optional<unsigned> opcode = std::nullopt;  ///< all but registrations
    std::optional<unsigned> ext = std::nullopt;
    std::optional<unsigned> object = std::nullopt;
    std::optional<unsigned> cabinet = std::nullopt;
    std::optional<unsigned> connection = std::nullopt;
    unsigned nth = 1;  ///< the first of the matching commands that gets the fault
    std::optional<unsigned> times = std::nullopt;  ///< at most so many of them
    double probability = 1;
    std::optional<std::uint64_t> seed = std::nullopt;
    std::optional<FaultDelay::Time> until = std::nullopt;  ///< by the agent's clock
};

struct FaultRule {
    FaultMatch match;
    Fault fault;
};

/// The most commands that can get the fault; nothing without a limit. The nth command alone is one.
[[nodiscard]] std::optional<unsigned> mostHits(const FaultMatch& match);

/// Parses the text of a rule, "getFanStatus object=2 times=3: status 25, delay 200ms".
/// docs/agent.md has the grammar. Throws Refusal with the word that is wrong.
[[nodiscard]] FaultRule parseFaultRule(const std::string& text);

/// A time as users write it: "30s", "200ms", "50us", "5min", "2h". Throws Refusal.
[[nodiscard]] FaultDelay::Time timeIn(const std::string& text);

}  // namespace varnock::agent
