#include "agent/faults/FaultyReply.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

#include "agent/faults/Random.h"
#include "tools/Json.h"

namespace varnock::agent {
namespace {

using Record = Fault::Record;
using Shape = FaultDelay::Shape;

constexpr std::size_t kNesting = 100'000;
constexpr std::size_t kMostPieces = 50'000;
constexpr std::size_t kGarbageSize = 200;
/// What a text may have so that its record still fits a frame.
constexpr std::size_t kHugeText = kFrameLimit - 1000;

FaultDelay::Time drawn(const FaultDelay& delay, std::mt19937_64& random) {
    const auto spread = static_cast<double>((delay.second - delay.first).count());
    switch (delay.shape) {
        case Shape::uniform:
            return delay.first +
                   FaultDelay::Time(static_cast<std::int64_t>(spread * fraction(random)));
        case Shape::normal: {
            // The Box-Muller transform. A negative result counts as 0.
            const double radius = std::sqrt(-2 * std::log(1 - fraction(random)));
            const double standard = radius * std::cos(2 * std::numbers::pi * fraction(random));
            const double wanted = static_cast<double>(delay.first.count()) +
                                  standard * static_cast<double>(delay.second.count());
            return FaultDelay::Time(static_cast<std::int64_t>(std::max(0.0, wanted)));
        }
        case Shape::fixed:
        case Shape::none:
            break;
    }
    return delay.first;
}

std::string garbage(std::mt19937_64& random) {
    std::string bytes;
    for (std::size_t i = 0; i < kGarbageSize; ++i) {
        // Without a NUL, which would end the text.
        bytes += static_cast<char>(1 + random() % 255);
    }
    return bytes;
}

/// Parses a reply and finds its first command; null if it has no command, as a recorded one may.
Json* commandIn(const std::string& reply, JsonDocument& document) {
    if (!parse(document, reply) || !document.IsObject() || !document.HasMember("SIP")) {
        return nullptr;
    }
    Json& sip = document["SIP"];
    if (!sip.IsObject() || !sip.HasMember("CMD")) {
        return nullptr;
    }
    Json& commands = sip["CMD"];
    const bool hasCommand = commands.IsArray() && !commands.Empty() && commands[0].IsObject();
    return hasCommand ? &commands[0] : nullptr;
}

Json otherType(const Json& value, JsonAllocator& memory) {
    if (value.IsNumber()) {
        return text(toString(value, false), memory);
    }
    Json list(rapidjson::kArrayType);
    if (value.IsObject()) {
        list.PushBack(Json(1.5), memory);
    }
    return value.IsString() ? Json(true) : std::move(list);
}

void changeTypes(Json& command, JsonAllocator& memory) {
    auto member = command.MemberBegin();
    for (rapidjson::SizeType left = command.MemberCount(); left > 0; --left, ++member) {
        member->value = otherType(member->value, memory);
    }
}

void setMember(Json& command, const std::string& name, Json value, JsonAllocator& memory) {
    Json* const member = findMember(command, name.c_str());
    if (member != nullptr) {
        *member = std::move(value);
    } else {
        command.AddMember(text(name, memory), value, memory);
    }
}

/// Repeats a member with another value.
void doubleMember(Json& command, const std::string& name, JsonAllocator& memory) {
    const Json* const member = findMember(command, name.c_str());
    Json value = member == nullptr ? Json(0) : otherType(*member, memory);
    if (member == nullptr) {
        command.AddMember(text(name, memory), Json(1), memory);
    }
    command.AddMember(text(name, memory), value, memory);
}

std::string changedMembers(const Fault& fault, const std::string& reply) {
    JsonDocument document;
    Json* const found = commandIn(reply, document);
    if (found == nullptr) {
        return reply;
    }
    Json& command = *found;
    auto& memory = document.GetAllocator();
    switch (fault.record) {
        case Record::wrongTypes:
            changeTypes(command, memory);
            break;
        case Record::missing:
            command.EraseMember(fault.member.c_str());
            break;
        case Record::doubled:
            doubleMember(command, fault.member, memory);
            break;
        case Record::null:
            setMember(command, fault.member, Json(), memory);
            break;
        case Record::huge:
            setMember(command, "DA", text(std::string(kHugeText, 'x'), memory), memory);
            break;
        default:
            break;
    }
    return toString(document, false);
}

std::string invalidUtf8(const std::string& reply) {
    JsonDocument document;
    Json* const command = commandIn(reply, document);
    if (command == nullptr) {
        return reply;
    }
    setMember(*command, "DA", Json("text @@"), document.GetAllocator());
    std::string record = toString(document, false);
    return record.replace(record.find("@@"), 2, "\xC3\x28\xFF");
}

std::string changedRecord(const Fault& fault, const std::string& reply, std::mt19937_64& random) {
    switch (fault.record) {
        case Record::unchanged:
            return reply;
        case Record::garbage:
            return garbage(random);
        case Record::nested:
            return R"({"SIP":{"V":1,"CMD":)" + std::string(kNesting, '[') +
                   std::string(kNesting, ']') + "}}";
        case Record::invalidUtf8:
            return invalidUtf8(reply);
        default:
            return changedMembers(fault, reply);
    }
}

/// A frame that announces and holds more than the limit.
std::string oversizedFrame() {
    const auto length = static_cast<std::uint32_t>(kFrameLimit + 1);
    std::string frame(kFrameHeader + length, ' ');
    std::memcpy(frame.data(), &length, kFrameHeader);
    return frame;
}

/// Byte by byte; a very long frame in as many pieces as a plan can reasonably have.
void dribble(ReplyPlan& plan, const std::string& frame, FaultDelay::Time interval) {
    const std::size_t piece = 1 + frame.size() / kMostPieces;
    for (std::size_t i = 0; i < frame.size(); i += piece) {
        plan.steps.push_back(
            {.bytes = frame.substr(i, piece), .delay = i == 0 ? FaultDelay::Time(0) : interval});
    }
}

ReplyPlan planOf(const Fault& fault, const std::string& frame) {
    ReplyPlan plan;
    const std::string half = frame.substr(0, frame.size() / 2);
    switch (fault.bytes) {
        case Fault::Bytes::silence:
            break;
        case Fault::Bytes::closeBefore:
            plan.steps.push_back({.bytes = {}, .closes = true});
            break;
        case Fault::Bytes::closeInside:
            plan.steps.push_back({.bytes = half, .closes = true});
            break;
        case Fault::Bytes::closeAfter:
            plan.steps.push_back({.bytes = frame, .closes = true});
            break;
        case Fault::Bytes::truncated:
            plan.steps.push_back({.bytes = half});
            break;
        case Fault::Bytes::oversized:
            plan.steps.push_back({.bytes = oversizedFrame()});
            break;
        case Fault::Bytes::dribble:
            dribble(plan, frame, fault.interval);
            break;
        case Fault::Bytes::split: {
            const std::size_t offset = std::min<std::size_t>(fault.offset, frame.size());
            plan.steps.push_back({.bytes = frame.substr(0, offset)});
            plan.steps.push_back({.bytes = frame.substr(offset), .delay = fault.interval});
            break;
        }
        case Fault::Bytes::twice:
            plan.steps.push_back({.bytes = frame + frame});
            break;
        case Fault::Bytes::smallBuffer:
            plan.hasSmallBuffer = true;
            [[fallthrough]];
        case Fault::Bytes::unchanged:
            plan.steps.push_back({.bytes = frame});
            break;
    }
    return plan;
}

}  // namespace

ReplyPlan faultyReply(const Fault& fault, ReplyPlan sound, std::mt19937_64& random) {
    const auto reply = sound.steps.empty() ? std::nullopt : textOfFrame(sound.steps[0].bytes);
    if (!reply) {
        return sound;
    }
    const FaultDelay::Time delay = drawn(fault.delay, random);
    std::string record = changedRecord(fault, *reply, random);
    if (!fitsFrame(record)) {
        record = *reply;  // of nearly a frame, to which a fault would add something
    }
    ReplyPlan plan = planOf(fault, encodeFrame(record));
    if (!plan.steps.empty()) {
        plan.steps.front().delay = delay;
    }
    // A client without a reply to its registration has no events.
    if (!plan.steps.empty() && !plan.steps.back().closes) {
        std::move(sound.steps.begin() + 1, sound.steps.end(), std::back_inserter(plan.steps));
    }
    return plan;
}

}  // namespace varnock::agent
