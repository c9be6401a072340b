#include <cstdio>
#include <ctime>
#include <span>
#include <string_view>
#include <utility>

#include "catalogue/Units.h"
#include "cli/Commands.h"
#include "cli/calls/MachineReader.h"
#include "cli/contract/Contract.h"
#include "cli/output/Output.h"
#include "cli/sensors/Sensor.h"

namespace varnockctl {
namespace {

constexpr unsigned int kPciAddressMask = 0x00FFFFFF;

/// An IPv4 address in dotted notation; any other list of bytes is unchanged.
Json addressText(Json bytes, JsonAllocator& allocator) {
    if (!bytes.IsArray() || bytes.Size() != 4) {
        return bytes;
    }
    std::string out;
    for (const Json& byte : bytes.GetArray()) {
        out.append(out.empty() ? "" : ".").append(std::to_string(byte.GetUint()));
    }
    return text(out, allocator);
}

Json macText(Json digits, JsonAllocator& allocator) {
    if (!digits.IsString()) {
        return digits;
    }
    std::string out;
    for (rapidjson::SizeType i = 0; i < digits.GetStringLength(); ++i) {
        out.append(i > 0 && i % 2 == 0 ? ":" : "").append(1, digits.GetString()[i]);
    }
    return text(out, allocator);
}

/// Seconds since the epoch as UTC, ISO 8601.
Json timeText(Json seconds, JsonAllocator& allocator) {
    if (!seconds.IsUint()) {
        return seconds;
    }
    const time_t time = seconds.GetUint();
    tm utc{};
    gmtime_r(&time, &utc);
    char out[32];
    strftime(out, sizeof out, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text(out, allocator);
}

template <typename... Numbers>
Json formatted(JsonAllocator& allocator, const char* format, Numbers... numbers) {
    char out[32];
    snprintf(out, sizeof out, format, numbers...);
    return text(out, allocator);
}

/// A PCI function as lspci names it.
Json pciFunction(const Json& info, JsonAllocator& allocator) {
    const auto number = [&](const char* name) { return info[name].GetUint(); };
    Json out(rapidjson::kObjectType);
    add(out, "address",
        formatted(allocator, "%02x:%02x.%x", number("bus"), number("device"), number("function")),
        allocator);
    add(out, "id", formatted(allocator, "%04x:%04x", number("vendorId"), number("deviceId")),
        allocator);
    add(out, "subsystem",
        formatted(allocator, "%04x:%04x", number("subVendorId"), number("subSystemId")), allocator);
    add(out, "revision", Json(number("revisionId")), allocator);
    add(out, "class", info["baseClassText"].GetString(), allocator);
    add(out, "subclass", info["subClassText"].GetString(), allocator);
    return out;
}

/// Values that are shown in another form than the call gives them.
Json shown(std::string_view call, Json value, JsonAllocator& allocator) {
    using Show = Json (*)(Json, JsonAllocator&);
    static constexpr std::pair<std::string_view, Show> kShown[] = {
        {"getBootTime", timeText},
        {"getSystemTime", timeText},
        {"getNetworkInfoIfMacAddress", macText},
        {"getNetworkInfoIfIpAddress", addressText},
        {"getNetworkInfoIfIpSubnetMask", addressText},
        {"getNetworkInfoIfDefaultGateway", addressText}};
    for (const auto& [name, show] : kShown) {
        if (call == name) {
            return show(std::move(value), allocator);
        }
    }
    return value;
}

/// The member with the unit of another one.
std::string unitNameOf(std::string_view name) {
    return std::string(name) + "Unit";
}

/// A record with each number and its unit in one text.
Json withUnits(const Json& record, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    for (const auto& [name, value] : record.GetObject()) {
        const std::string unitName = unitNameOf(name.GetString());
        const bool isMeasured = record.HasMember(unitName.c_str());
        Json cell(value, allocator);
        if (isMeasured && value.IsNumber()) {
            const std::string symbol = symbolOf(record[unitName.c_str()].GetString());
            cell = text(toString(value, false) + " " + symbol, allocator);
        }
        out.AddMember(Json(name, allocator), cell, allocator);
    }
    for (const auto& [name, value] : record.GetObject()) {
        out.EraseMember(unitNameOf(name.GetString()).c_str());
    }
    return out;
}

/// The machine as -o table shows it.
Json viewOf(const Json& machine, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    for (const auto& [name, part] : machine.GetObject()) {
        Json view(part.GetType());
        if (part.IsObject()) {
            view = withUnits(part, allocator);
        } else {
            for (const Json& row : part.GetArray()) {
                view.PushBack(withUnits(row, allocator), allocator);
            }
        }
        out.AddMember(Json(name, allocator), view, allocator);
    }
    return out;
}

/// The parts of the document's member "machine".
std::span<const Field> machineParts() {
    return findContract("inventory")->members.front().members;
}

/// Requests the parts of the machine one after the other.
class Inventory {
  public:
    Inventory(MachineReader& machine, JsonAllocator& allocator)
        : machine_(machine), allocator_(allocator) {}

    Json build() {
        cabinet_ = machine_.askNumber("system.cabinet", "getIdentificationCabinetNumber", key(0));
        Json out(rapidjson::kObjectType);
        for (const Field& part : machineParts()) {
            out.AddMember(text(part.name, allocator_), read(part), allocator_);
        }
        return out;
    }

  private:
    using Fields = std::span<const Field>;

    Json read(const Field& part) {
        const std::string name(part.name);
        if (part.name == "pciDevices") {
            return pciDevices();
        }
        if (part.name == "cabinets") {
            return cabinets(part.members);
        }
        return part.call.empty() ? record(name, part.members, key(0)) : components(name, part);
    }

    Json ask(const std::string& part, std::string_view field, std::string_view call,
             const MachineReader::Key& key) {
        return machine_.ask(part + "." + std::string(field), call, key);
    }

    /// The values of the fields that a call gives.
    Json record(const std::string& part, Fields fields, const MachineReader::Key& key) {
        Json out(rapidjson::kObjectType);
        for (const Field& field : fields) {
            if (field.call.empty()) {
                continue;
            }
            Json value = ask(part, field.name, field.call, key);
            const CatalogueRow& call = *findCall(field.call);
            const auto* const codes = varnock::catalogue::findVocabulary(call.coding);
            Json state = codes != nullptr ? stateOf(*codes, value) : Json();
            out.AddMember(text(field.name, allocator_),
                          shown(field.call, std::move(value), allocator_), allocator_);
            if (codes != nullptr) {
                add(out, "state", std::move(state), allocator_);
            }
            if ((field.kind & kNumber) != 0 && call.unit != "-") {
                out.AddMember(text(unitNameOf(field.name), allocator_), text(call.unit, allocator_),
                              allocator_);
            }
        }
        return out;
    }

    /// The meaning of a code; null if the code is absent.
    Json stateOf(const varnock::catalogue::Vocabulary& codes, const Json& code) {
        if (!code.IsUint()) {
            return {};
        }
        const std::string_view name = nameOf(codes, code.GetUint());
        return text(name.empty() ? "unknown" : name, allocator_);
    }

    MachineReader::Key key(unsigned int object) const { return {cabinet_, object, 0}; }

    Json components(const std::string& name, const Field& part) {
        const unsigned int count = machine_.askCount(name + ".count", part.call, key(0));
        Json out(rapidjson::kArrayType);
        for (unsigned int i = 0; i < count; ++i) {
            out.PushBack(record(name + "[" + std::to_string(i) + "]", part.members, key(i)),
                         allocator_);
        }
        return out;
    }

    Json cabinets(Fields fields) {
        Json out(rapidjson::kArrayType);
        for (const unsigned int number : machine_.cabinets()) {
            Json cabinet = record("cabinets[" + std::to_string(number) + "]", fields,
                                  MachineReader::Key(number, 0, 0));
            Json numbered(rapidjson::kObjectType);
            add(numbered, "number", Json(number), allocator_);
            auto member = cabinet.MemberBegin();
            for (rapidjson::SizeType left = cabinet.MemberCount(); left > 0; --left, ++member) {
                numbered.AddMember(member->name, member->value, allocator_);
            }
            out.PushBack(numbered, allocator_);
        }
        return out;
    }

    Json pciDevices() {
        Json out(rapidjson::kArrayType);
        const Json keys = ask("pciDevices", "list", "getPciBusInfoDeviceList", key(0));
        for (rapidjson::SizeType i = 0; keys.IsArray() && i < keys.Size(); ++i) {
            Json device =
                ask("pciDevices[" + std::to_string(i) + "]", "configuration",
                    "getDeviceInfoReadBusConfig", key(keys[i].GetUint() & kPciAddressMask));
            if (device.IsObject()) {
                out.PushBack(pciFunction(device, allocator_), allocator_);
            }
        }
        return out;
    }

    MachineReader& machine_;
    JsonAllocator& allocator_;
    unsigned int cabinet_ = 0;
};

/// True if the selection takes a row of a part.
bool isSelected(const Selection& selection, const Json& part, Json& row, JsonAllocator& allocator) {
    add(row, "part", Json(part, allocator), allocator);
    const bool passes = selection.passes(row);
    row.RemoveMember("part");
    return passes;
}

/// The parts, and of lists the rows, that are selected.
Json selected(Json machine, const Selection& selection, JsonAllocator& allocator) {
    if (!selection.hasCondition()) {
        return machine;
    }
    Json out(rapidjson::kObjectType);
    auto part = machine.MemberBegin();
    for (rapidjson::SizeType left = machine.MemberCount(); left > 0; --left, ++part) {
        Json& value = part->value;
        if (value.IsObject()) {
            if (isSelected(selection, part->name, value, allocator)) {
                out.AddMember(part->name, value, allocator);
            }
            continue;
        }
        Json rows(rapidjson::kArrayType);
        for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
            if (isSelected(selection, part->name, value[i], allocator)) {
                rows.PushBack(value[i], allocator);
            }
        }
        if (!rows.Empty()) {
            out.AddMember(part->name, rows, allocator);
        }
    }
    return out;
}

}  // namespace

Answer runInventory(const Options& options) {
    Session session(options);
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    MachineReader reader(session, allocator);
    Json machine = selected(Inventory(reader, allocator).build(), options.selection, allocator);
    const bool isEmpty = machine.ObjectEmpty();
    answer.shown = "machine";
    answer.view = viewOf(machine, allocator);
    answer.document.SetObject();
    add(answer.document, "machine", std::move(machine), allocator);
    add(answer.document, "unavailable", reader.takeUnavailable(), allocator);
    if (!reader.failure().empty()) {
        answer.fail(ExitStatus::partial, reader.failure());
    } else {
        options.selection.judge(answer, isEmpty);
    }
    return answer;
}

}  // namespace varnockctl
