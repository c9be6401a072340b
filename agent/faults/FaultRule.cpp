#include "agent/faults/FaultRule.h"

#include <array>
#include <charconv>
#include <cmath>
#include <sstream>
#include <string_view>
#include <vector>

#include "agent/CallNames.h"
#include "agent/Refusal.h"
#include "agent/model/Notation.h"
#include "tools/Number.h"
#include "transport/AgentProtocol.h"

namespace varnock::agent {
namespace {

using Words = std::vector<std::string>;
using Record = Fault::Record;
using Shape = FaultDelay::Shape;

constexpr std::string_view kAll = "all";
constexpr std::string_view kRegistration = "registration";
constexpr FaultDelay::Time kNoInterval{0};

Words wordsOf(const std::string& text) {
    std::istringstream stream(text);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

unsigned numberIn(const std::string& text) {
    const auto number = parseNumber(text);
    return number ? *number
                  : throw Refusal("\"" + text + "\" is not a number from 0 to 4294967295");
}

/// A decimal number and the unit behind it; the unit "?" if there is no number.
std::pair<double, std::string> measureIn(const std::string& text) {
    double value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    if (error != std::errc() || !std::isfinite(value) || value < 0) {
        return {0, "?"};
    }
    return {value, std::string(end, text.data() + text.size())};
}

double probabilityIn(const std::string& text) {
    auto [value, unit] = measureIn(text);
    value = unit == "%" ? value / 100 : value;
    if ((!unit.empty() && unit != "%") || value > 1) {
        throw Refusal("\"" + text + "\" is not a probability from 0 to 1, or from 0% to 100%");
    }
    return value;
}

void setCall(FaultMatch& match, const std::string& call) {
    if (call == kAll) {
        return;
    }
    if (call == kRegistration) {
        match.opcode = kRegisterOpcode;
        return;
    }
    const CallCommand command = requireCommand(call);
    match.opcode = command.opcode;
    match.ext = command.ext;
}

void setCondition(FaultMatch& match, const std::string& name, const std::string& value) {
    if (name == "opcode") {
        match.opcode = numberIn(value);
    } else if (name == "ext") {
        match.ext = numberIn(value);
    } else if (name == "object") {
        match.object = numberIn(value);
    } else if (name == "cabinet") {
        match.cabinet = numberIn(value);
    } else if (name == "connection") {
        match.connection = numberIn(value);
    } else if (name == "nth") {
        match.nth = numberIn(value);
    } else if (name == "times") {
        match.times = numberIn(value);
    } else if (name == "probability") {
        match.probability = probabilityIn(value);
    } else if (name == "seed") {
        match.seed = numberIn(value);
    } else if (name == "until") {
        match.until = timeIn(value);
    } else {
        throw Refusal("there is no condition \"" + name +
                      "\"; known are opcode, ext, object, cabinet, connection, nth, times, "
                      "probability, seed and until");
    }
}

FaultMatch parseMatch(const std::string& text) {
    FaultMatch match;
    const Words words = wordsOf(text);
    if (words.empty()) {
        throw Refusal("a rule begins with the name of a call, \"all\" or a condition");
    }
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        if (equals != std::string::npos) {
            setCondition(match, word.substr(0, equals), word.substr(equals + 1));
        } else if (&word == &words.front()) {
            setCall(match, word);
        } else {
            throw Refusal("\"" + word + "\" is not a condition NAME=VALUE");
        }
    }
    if (match.nth == 0) {
        throw Refusal("the commands are counted from 1");
    }
    return match;
}

FaultDelay parseDelay(const Words& words) {
    const auto time = [&](std::size_t i) { return timeIn(words[i]); };
    if (words.size() == 2) {
        return {Shape::fixed, time(1)};
    }
    if (words.size() == 4 && words[1] == "uniform" && time(2) <= time(3)) {
        return {Shape::uniform, time(2), time(3)};
    }
    if (words.size() == 4 && words[1] == "normal") {
        return {Shape::normal, time(2), time(3)};
    }
    throw Refusal(
        "the delay must be \"delay TIME\", \"delay uniform SHORTEST LONGEST\" or "
        "\"delay normal MEAN DEVIATION\"");
}

struct RecordAction {
    std::string_view words;
    Record record;
};
constexpr std::array kRecordActions{
    RecordAction{"garbage", Record::garbage},  RecordAction{"nested", Record::nested},
    RecordAction{"types", Record::wrongTypes}, RecordAction{"missing", Record::missing},
    RecordAction{"doubled", Record::doubled},  RecordAction{"null", Record::null},
    RecordAction{"utf8", Record::invalidUtf8}, RecordAction{"huge", Record::huge},
};

struct BytesAction {
    std::string_view words;
    Fault::Bytes bytes;
};
constexpr std::array kBytesActions{
    BytesAction{"silence", Fault::Bytes::silence},
    BytesAction{"close before", Fault::Bytes::closeBefore},
    BytesAction{"close inside", Fault::Bytes::closeInside},
    BytesAction{"close after", Fault::Bytes::closeAfter},
    BytesAction{"truncated", Fault::Bytes::truncated},
    BytesAction{"oversized", Fault::Bytes::oversized},
    BytesAction{"twice", Fault::Bytes::twice},
    BytesAction{"smallbuffer", Fault::Bytes::smallBuffer},
};

/// Parses an action that changes the record. False for any other action.
bool setRecord(Fault& fault, const Words& words) {
    for (const RecordAction& action : kRecordActions) {
        if (words[0] != action.words) {
            continue;
        }
        const bool takesMember = action.record == Record::missing ||
                                 action.record == Record::doubled || action.record == Record::null;
        if (words.size() > (takesMember ? 2U : 1U)) {
            return false;
        }
        if (fault.record != Record::unchanged) {
            throw Refusal("a rule can change the record in one way only");
        }
        fault.record = action.record;
        const char* const usual = action.record == Record::null ? "DA" : "ST";
        fault.member = words.size() == 2 ? words[1] : usual;
        return true;
    }
    return false;
}

void setBytes(Fault& fault, Fault::Bytes bytes) {
    if (fault.bytes != Fault::Bytes::unchanged) {
        throw Refusal("a rule can change the bytes in one way only");
    }
    fault.bytes = bytes;
}

/// Parses an action that sends the reply in pieces. False for any other action.
bool setPieces(Fault& fault, const Words& words) {
    const bool isDribble = words[0] == "dribble" && words.size() <= 2;
    const bool isSplit = words[0] == "split" && (words.size() == 2 || words.size() == 3);
    if (!isDribble && !isSplit) {
        return false;
    }
    setBytes(fault, isDribble ? Fault::Bytes::dribble : Fault::Bytes::split);
    const std::size_t interval = isDribble ? 1 : 2;
    fault.offset = isSplit ? numberIn(words[1]) : 0;
    fault.interval = words.size() > interval ? timeIn(words[interval]) : kNoInterval;
    return true;
}

/// Parses another action that changes the bytes. False if the action is unknown.
bool setBytes(Fault& fault, const Words& words) {
    const std::string name = words.size() == 2 ? words[0] + " " + words[1] : words[0];
    for (const BytesAction& action : kBytesActions) {
        if (name == action.words && words.size() <= 2) {
            setBytes(fault, action.bytes);
            return true;
        }
    }
    return false;
}

void addAction(Fault& fault, const std::string& text) {
    const Words words = wordsOf(text);
    if (words.empty()) {
        throw Refusal("a rule ends with what happens, such as \": status 19\"");
    }
    if (words[0] == "status" && words.size() == 2) {
        fault.status = numberIn(words[1]);
    } else if (words[0] == "delay") {
        fault.delay = parseDelay(words);
    } else if (!setRecord(fault, words) && !setPieces(fault, words) && !setBytes(fault, words)) {
        throw Refusal("there is no fault \"" + text.substr(text.find(words[0])) +
                      "\"; known are status, delay, silence, close before, close inside, "
                      "close after, truncated, oversized, garbage, nested, types, missing, "
                      "doubled, null, utf8, huge, dribble, split, twice and smallbuffer");
    }
}

}  // namespace

FaultDelay::Time timeIn(const std::string& text) {
    const bool hasUnit = text.find_first_not_of("0123456789.") != std::string::npos;
    const auto seconds = parseDuration(text);
    if (!hasUnit || !seconds || *seconds > kLongestFaultSeconds) {
        throw Refusal("\"" + text + "\" is not a time such as 200ms, 30s, 5min or 2h");
    }
    return std::chrono::round<FaultDelay::Time>(std::chrono::duration<double>(*seconds));
}

std::optional<unsigned> mostHits(const FaultMatch& match) {
    return match.times || match.nth == 1 ? match.times : std::optional(1U);
}

FaultRule parseFaultRule(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
        throw Refusal("a rule is \"CALL CONDITIONS: FAULT, FAULT\"; there is no colon in \"" +
                      text + "\"");
    }
    FaultRule rule{parseMatch(text.substr(0, colon)), {}};
    for (std::size_t begin = colon + 1; begin != 0;) {
        const std::size_t comma = text.find(',', begin);
        addAction(rule.fault, text.substr(begin, comma - begin));
        begin = comma + 1;  // 0 behind the last one
    }
    return rule;
}

}  // namespace varnock::agent
