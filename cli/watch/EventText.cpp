#include "cli/watch/EventText.h"

#include <cstdio>
#include <utility>

#include "cli/output/Csv.h"
#include "tools/EventNames.h"

namespace varnockctl {
namespace {

std::string hexadecimal(unsigned int number) {
    char text[16];
    snprintf(text, sizeof text, "0x%04X", number);
    return text;
}

/// The data of the record; null if there is none.
Json dataOf(const SipJson& event, JsonAllocator& allocator) {
    JsonDocument document;
    document.Parse(event.Export().c_str());
    const Json* value = &document;
    for (const char* name : {"SIP", "CMD", "DA"}) {
        if (value->IsArray()) {
            value = value->Empty() ? nullptr : &(*value)[0];
        }
        if (value == nullptr || !value->IsObject() || !value->HasMember(name)) {
            return {};
        }
        value = &(*value)[name];
    }
    return copyValid(*value, allocator);
}

std::string dataText(const SipJson& event) {
    JsonDocument document;
    const Json data = dataOf(event, document.GetAllocator());
    return data.IsNull() ? "" : " " + toString(data, false);
}

}  // namespace

std::string eventName(const SipJson& event) {
    const unsigned int opcode = event.OpCode();
    for (const varnock::EventName& known : varnock::kEventNames) {
        if (opcode == known.opcode) {
            return std::string(known.name);
        }
    }
    return hexadecimal(opcode);
}

std::string eventLine(const SipJson& event) {
    std::string line = eventName(event);
    if (event.OpCodeExt() != 0) {
        line += " ext=" + hexadecimal(event.OpCodeExt());
    }
    for (const auto& [name, number] :
         {std::pair{" object=", event.ObjectId()}, std::pair{" cabinet=", event.CabinetNr()},
          std::pair{" status=", event.Status()}}) {
        if (number != 0) {
            line += name + std::to_string(number);
        }
    }
    return line + dataText(event);
}

Json eventJson(const SipJson& event, const std::string& time, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "time", time, allocator);
    add(out, "event", eventName(event), allocator);
    add(out, "opcode", Json(event.OpCode()), allocator);
    add(out, "ext", Json(event.OpCodeExt()), allocator);
    add(out, "object", Json(event.ObjectId()), allocator);
    add(out, "cabinet", Json(event.CabinetNr()), allocator);
    add(out, "status", Json(event.Status()), allocator);
    add(out, "data", dataOf(event, allocator), allocator);
    return out;
}

std::string EventGap::text() const {
    return "no agent for " + std::to_string(duration.count()) + " ms; events may be missing";
}

Json gapJson(const EventGap& gap, const std::string& time, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "time", time, allocator);
    for (const char* name : {"event", "opcode", "ext", "object", "cabinet", "status", "data"}) {
        add(out, name, Json(), allocator);
    }
    Json inner(rapidjson::kObjectType);
    add(inner, "reason", "there was no agent", allocator);
    add(inner, "milliseconds", Json(static_cast<std::int64_t>(gap.duration.count())), allocator);
    add(inner, "events", Json(), allocator);
    add(out, "gap", std::move(inner), allocator);
    return out;
}

std::vector<Json> rowsOf(const Json& item, JsonAllocator& allocator) {
    const bool isGap = item.HasMember("gap");
    const Json& data = item[isGap ? "gap" : "data"];
    const bool isScalar = !data.IsObject() && !data.IsArray();
    std::vector<Json> rows;
    const auto addRow = [&](Json member, const Json& value) {
        Json& row = rows.emplace_back(item, allocator);
        row.RemoveMember("gap");
        row.RemoveMember("data");
        add(row, "member", std::move(member), allocator);
        add(row, "data", Json(value, allocator), allocator);
    };
    for (const auto& [path, value] : leavesOf(data)) {
        const std::string place = isGap ? "gap." + path : path;
        addRow(isScalar ? Json() : varnockctl::text(place, allocator), *value);
    }
    if (rows.empty()) {
        addRow(Json(), Json());
    }
    return rows;
}

}  // namespace varnockctl
