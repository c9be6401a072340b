// Replies with a form of their own.

#include <algorithm>
#include <array>

#include "agent/described/Exchange.h"

namespace varnock::agent {
namespace {

using catalogue::ModelValue;
using Bytes = Answer::Bytes;
using Kind = ModelValue::Kind;

constexpr unsigned kScanOpen = 0x0C82;
constexpr unsigned kScanClose = 0x0C83;
constexpr unsigned kScanCount = 0x0C85;

/// What one reply with log entries carries at most, if it is more than one entry.
constexpr std::size_t kChunk = std::size_t{16} << 10;
constexpr std::size_t kEntryHead = 15;
constexpr std::size_t kEntryMost = 0xFFFF;

constexpr unsigned kValidSample = 0x8000;

constexpr std::size_t kIdentitySize = 40;
constexpr std::size_t kIdentityBegin = 6;

/// A member in a notation; the stand-in if there is none.
unsigned number(const Exchange& exchange, const Node& object, std::string_view member,
                const ModelValue& notation, unsigned standIn = 0) {
    const Node* value = memberOf(object, member);
    const auto found =
        value != nullptr ? numberIn(dataOf(*value, notation, exchange.model.now())) : std::nullopt;
    return found.value_or(standIn);
}

unsigned plain(const Exchange& exchange, const Node& object, std::string_view member,
               unsigned standIn = 0) {
    return number(exchange, object, member, {.kind = Kind::number}, standIn);
}

std::string_view text(const Node& object, std::string_view member) {
    const Node* value = memberOf(object, member);
    return value != nullptr && value->IsString() ? textOf(*value) : std::string_view();
}

/// The list at the path of the route; null if it is absent.
const Node* listIn(const Place& place) {
    return place.value != nullptr && place.value->IsArray() ? place.value : nullptr;
}

Bytes parentBytes(const Exchange& exchange, const Node& relation) {
    Bytes bytes;
    appendWord(bytes, plain(exchange, relation, "parentClass"));
    appendWord(bytes, plain(exchange, relation, "parentObject"));
    if (memberOf(relation, "parentCabinet") != nullptr) {
        appendWord(bytes, plain(exchange, relation, "parentCabinet"));
    }
    return bytes;
}

void putWord(Bytes& bytes, std::size_t offset, unsigned value) {
    bytes[offset] = static_cast<unsigned char>(value & 0xFF);
    bytes[offset + 1] = static_cast<unsigned char>(value >> 8 & 0xFF);
}

/// The header of the function at a position, if the machine has it as such.
std::optional<Answer::Data> wholeHeader(const Exchange& exchange, unsigned position) {
    catalogue::ModelPath path = exchange.piece().path;
    path.steps.back().selector = catalogue::Selector::literal;
    path.steps.back().literal = position;
    path.steps.push_back({"header"});
    const Place place = exchange.model.find(path, exchange.arguments);
    return place.value != nullptr
               ? dataOf(*place.value, {.kind = Kind::header}, exchange.model.now())
               : std::nullopt;
}

/// A function with bus numbers has the header of a bridge.
Bytes headerOf(const Exchange& exchange, const Node& device) {
    const auto at = [&](const char* member) { return plain(exchange, device, member); };
    const auto byte = [&](const char* member) { return static_cast<unsigned char>(at(member)); };
    Bytes header(64);
    putWord(header, 0x00, at("vendorId"));
    putWord(header, 0x02, at("deviceId"));
    header[0x08] = byte("revision");
    header[0x09] = byte("interface");
    header[0x0A] = byte("subclass");
    header[0x0B] = byte("baseClass");
    if (memberOf(device, "secondaryBus") != nullptr) {
        header[0x0E] = 1;
        header[0x18] = byte("primaryBus");
        header[0x19] = byte("secondaryBus");
    } else {
        putWord(header, 0x2C, at("subsystemVendorId"));
        putWord(header, 0x2E, at("subsystemId"));
    }
    return header;
}

/// A function must have a whole header or, at least, a vendor.
Answer pciHeader(const Exchange& exchange, const Node& devices, unsigned position) {
    const Node& device = devices[position];
    const bool hasVendor = memberOf(device, "vendorId") != nullptr;
    Bytes written = headerOf(exchange, device);
    // Looking for the header may replace the list that `device` belongs to.
    if (auto whole = wholeHeader(exchange, position)) {
        return std::get<Bytes>(*std::move(whole));
    }
    return hasVendor ? Answer(std::move(written)) : exchange.absent(Absence::value);
}

Bytes logEntry(const Exchange& exchange, const Node& entry) {
    static const catalogue::Vocabulary* const severities = catalogue::findVocabulary("severity");
    const std::string_view words = text(entry, "text").substr(0, kEntryMost - kEntryHead - 1);
    Bytes bytes;
    appendWord(bytes, static_cast<unsigned>(kEntryHead + words.size() + 1));
    appendDword(bytes, plain(exchange, entry, "number"));
    appendDword(bytes, plain(exchange, entry, "id"));
    appendDword(bytes, number(exchange, entry, "time", {.kind = Kind::time}));
    appendByte(bytes, number(exchange, entry, "severity",
                             {.kind = Kind::code, .vocabulary = severities, .most = 0xFF}));
    appendText(bytes, words);
    return bytes;
}

Bytes powerSample(const Exchange& exchange, const Node& sample) {
    const ModelValue watts{.kind = Kind::quantity, .unit = catalogue::findUnit("watts")};
    const bool isVoid = number(exchange, sample, "void", {.kind = Kind::flag}) != 0;
    Bytes bytes;
    appendDword(bytes, number(exchange, sample, "time", {.kind = Kind::time}));
    appendWord(bytes, number(exchange, sample, "average", watts));
    appendWord(bytes, isVoid ? 0 : kValidSample);
    appendWord(bytes, number(exchange, sample, "minimum", watts));
    appendWord(bytes, number(exchange, sample, "maximum", watts));
    return bytes;
}

/// A record of the scan: its length, the class, and ten texts in the order of the library's caches.
Bytes component(const Exchange& exchange, const Node& object) {
    constexpr std::array first = {"manufacturer",    "name",    "partNumber",  "description",
                                  "manufactureDate", "version", "serialNumber"};
    Bytes bytes(2);
    appendByte(bytes, plain(exchange, object, "class"));
    bytes.resize(6);
    for (const char* member : first) {
        appendText(bytes, text(object, member));
    }
    const Node* given = memberOf(object, "number");
    appendText(bytes, given != nullptr && given->IsUint() ? std::to_string(given->GetUint()) : "");
    appendText(bytes, text(object, "instanceId"));
    appendText(bytes, text(object, "location"));
    putWord(bytes, 0, static_cast<unsigned>(bytes.size()));
    return bytes;
}

Answer answerOpenScan(Exchange& exchange, const Node& components) {
    const unsigned token = exchange.command.extension;
    const unsigned index = exchange.command.object;
    if (!exchange.scans.isOpen(token, exchange.command.cabinet)) {
        Answer answer(Status::wrongState);
        answer.reason = "no scan with this token is open";
        return answer;
    }
    if (exchange.command.opcode == kScanClose) {
        exchange.scans.close(token, exchange.command.cabinet);
        return Status::success;
    }
    if (exchange.command.opcode == kScanCount) {
        return components.Size();
    }
    return index >= 1 && index <= components.Size()
               ? Answer(component(exchange, components[index - 1]))
               : exchange.absent(Absence::object);
}

}  // namespace

Answer answerParent(Exchange& exchange) {
    const Place place = exchange.find();
    const Node* relations = listIn(place);
    if (relations == nullptr) {
        return exchange.absent(place.absence);
    }
    for (const Node& relation : relations->GetArray()) {
        if (plain(exchange, relation, "class") == exchange.command.extension &&
            plain(exchange, relation, "object") == exchange.command.object) {
            return parentBytes(exchange, relation);
        }
    }
    return exchange.absent(Absence::object);
}

Answer answerPciAddresses(Exchange& exchange) {
    const Place place = exchange.find();
    const Node* devices = listIn(place);
    if (devices == nullptr) {
        return exchange.absent(place.absence);
    }
    Bytes bytes;
    for (const Node& device : devices->GetArray()) {
        appendWord(bytes, 0);
        appendWord(bytes, plain(exchange, device, "bus"));
        appendByte(bytes, plain(exchange, device, "device"));
        appendByte(bytes, plain(exchange, device, "function"));
    }
    return bytes;
}

Answer answerPciHeader(Exchange& exchange) {
    Bytes address;
    if (!exchange.command.record.GetDataStream(address) || address.size() != 3) {
        Answer answer(Status::invalid);
        answer.reason = "the data is no bus, device and function";
        return answer;
    }
    const Place place = exchange.find();
    const Node* devices = listIn(place);
    if (devices == nullptr) {
        return exchange.absent(place.absence);
    }
    const auto isAt = [&](const Node& device) {
        return plain(exchange, device, "bus") == address[0] &&
               plain(exchange, device, "device") == address[1] &&
               plain(exchange, device, "function") == address[2];
    };
    const Node* const found = std::find_if(devices->Begin(), devices->End(), isAt);
    return found != devices->End()
               ? pciHeader(exchange, *devices, static_cast<unsigned>(found - devices->Begin()))
               : exchange.absent(Absence::object);
}

/// From the entry with the number in the command on, or a later one.
Answer answerLogEntries(Exchange& exchange) {
    const Place place = exchange.find();
    const Node* entries = listIn(place);
    if (entries == nullptr) {
        return exchange.absent(place.absence);
    }
    Bytes bytes;
    for (const Node& entry : entries->GetArray()) {
        if (plain(exchange, entry, "number") < exchange.command.object) {
            continue;
        }
        const Bytes next = logEntry(exchange, entry);
        if (!bytes.empty() && bytes.size() + next.size() > kChunk) {
            break;
        }
        bytes.insert(bytes.end(), next.begin(), next.end());
    }
    return bytes;
}

Answer answerPowerSamples(Exchange& exchange) {
    const Place place = exchange.find();
    const Node* samples = listIn(place);
    if (samples == nullptr) {
        return exchange.absent(place.absence);
    }
    Bytes bytes;
    for (const Node& sample : samples->GetArray()) {
        const Bytes next = powerSample(exchange, sample);
        bytes.insert(bytes.end(), next.begin(), next.end());
    }
    return bytes;
}

/// Callers try one object after the other. Objects before the one with the text succeed without
/// data.
Answer answerAlarmIdentity(Exchange& exchange) {
    const Place place = exchange.find();
    if (place.value == nullptr) {
        return exchange.absent(place.absence);
    }
    const unsigned object = plain(exchange, *place.value, "object");
    if (exchange.command.object != object) {
        return exchange.command.object < object ? Answer(Status::success)
                                                : exchange.absent(Absence::object);
    }
    Bytes bytes(kIdentityBegin + kIdentitySize);
    const std::string_view identity = text(*place.value, "text").substr(0, kIdentitySize);
    std::copy(identity.begin(), identity.end(), bytes.begin() + kIdentityBegin);
    return bytes;
}

Answer answerScan(Exchange& exchange) {
    const Place place = exchange.find();
    const Node* components = listIn(place);
    if (components == nullptr) {
        return exchange.absent(place.absence);
    }
    return exchange.command.opcode == kScanOpen
               ? Answer(exchange.scans.open(exchange.command.cabinet))
               : answerOpenScan(exchange, *components);
}

}  // namespace varnock::agent
