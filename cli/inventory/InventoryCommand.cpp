#include <cstdio>
#include <ctime>

#include "cli/Commands.h"
#include "cli/calls/CallRunner.h"
#include "cli/output/Failure.h"
#include "cli/output/Output.h"

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

/// Requests the parts of the machine one after the other, and keeps the reasons for absent values.
class Inventory {
  public:
    Inventory(Session& session, JsonAllocator& allocator)
        : session_(session), allocator_(allocator), unavailable_(rapidjson::kArrayType) {}

    Json build() {
        Json cabinet = ask("system", "cabinet", "getIdentificationCabinetNumber", {});
        cabinet_ = cabinet.IsUint() ? std::to_string(cabinet.GetUint()) : "0";
        Json out(rapidjson::kObjectType);
        add(out, "system", system(), allocator_);
        add(out, "operatingSystem", operatingSystem(), allocator_);
        add(out, "memory", memory(), allocator_);
        add(out, "processors", components("processors", "getNumberCPUs", kProcessorFields),
            allocator_);
        add(out, "memoryModules",
            components("memoryModules", "getNumberMemoryModules", kMemoryFields), allocator_);
        add(out, "networkInterfaces",
            components("networkInterfaces", "getNetworkInfoNumberInterfaces", kNetworkFields),
            allocator_);
        add(out, "pciDevices", pciDevices(), allocator_);
        return out;
    }

    Json takeUnavailable() { return std::move(unavailable_); }
    /// The first part that is missing for another reason than that the machine does not have it,
    /// with the reason; empty if there is none.
    const std::string& failure() const { return failure_; }

  private:
    struct Field {
        const char* name;
        const char* call;
        Json (*show)(Json, JsonAllocator&) = nullptr;
    };
    using Fields = std::vector<Field>;

    static const Fields kProcessorFields;
    static const Fields kMemoryFields;
    static const Fields kNetworkFields;

    Json ask(const std::string& part, const char* field, const char* call,
             const CallArguments& arguments) {
        Outcome outcome = run(session_, call, arguments, allocator_);
        if (outcome.verdict.status == ExitStatus::noAgent ||
            outcome.verdict.status == ExitStatus::permission) {
            throw Failure(outcome.verdict.status, outcome.verdict.reason);
        }
        if (!outcome.verdict.reason.empty()) {
            if (outcome.verdict.status != ExitStatus::notAvailable && failure_.empty()) {
                failure_ = part + "." + field + ": " + outcome.verdict.reason;
            }
            Json entry(rapidjson::kObjectType);
            add(entry, "part", part + "." + field, allocator_);
            add(entry, "reason", outcome.verdict.reason, allocator_);
            unavailable_.PushBack(entry, allocator_);
        }
        return std::move(outcome.value);
    }

    Json record(const std::string& part, const Fields& fields, const CallArguments& arguments) {
        Json out(rapidjson::kObjectType);
        for (const Field& field : fields) {
            CallArguments taken;
            const unsigned int takes = findTypedCall(field.call)->takes;
            taken.cabinet = (takes & optionCabinet) != 0 ? arguments.cabinet : std::nullopt;
            taken.object = (takes & optionObject) != 0 ? arguments.object : std::nullopt;
            taken.ext = (takes & optionExt) != 0 ? arguments.ext : std::nullopt;
            Json value = ask(part, field.name, field.call, taken);
            if (field.show != nullptr) {
                value = field.show(std::move(value), allocator_);
            }
            add(out, field.name, std::move(value), allocator_);
        }
        return out;
    }

    CallArguments key(unsigned int object) const {
        return {.cabinet = cabinet_,
                .object = std::to_string(object),
                .ext = "0",
                .value = {},
                .node = {}};
    }

    Json components(const std::string& part, const char* countCall, const Fields& fields) {
        const Json count =
            ask(part, "count", countCall,
                {.cabinet = cabinet_, .object = {}, .ext = {}, .value = {}, .node = {}});
        Json out(rapidjson::kArrayType);
        for (unsigned int i = 0; count.IsUint() && i < count.GetUint(); ++i) {
            out.PushBack(record(part + "[" + std::to_string(i) + "]", fields, key(i)), allocator_);
        }
        return out;
    }

    Json system() {
        return record("system",
                      {{"name", "getConfSystemName"},
                       {"uuid", "getSystemUUID"},
                       {"model", "getCabinetModel"},
                       {"chassisSerialNumber", "getChassisSerialNumber"},
                       {"agentVersion", "getAgentVersion"},
                       {"bootTime", "getBootTime", timeText},
                       {"systemTime", "getSystemTime", timeText}},
                      key(0));
    }

    Json operatingSystem() {
        return record("operatingSystem",
                      {{"name", "getOSProductName"},
                       {"version", "getOSVersion"},
                       {"dmtfType", "getOperatingSystemDMTFType"}},
                      key(0));
    }

    Json memory() {
        return record("memory", {{"utilisationPercent", "getUtilizationSystemMemory"}}, key(0));
    }

    Json pciDevices() {
        Json out(rapidjson::kArrayType);
        const Json keys =
            ask("pciDevices", "list", "getPciBusInfoDeviceList",
                {.cabinet = cabinet_, .object = {}, .ext = {}, .value = {}, .node = {}});
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

    Session& session_;
    JsonAllocator& allocator_;
    Json unavailable_;
    std::string failure_;
    std::string cabinet_;
};

const Inventory::Fields Inventory::kProcessorFields = {{"socket", "getCPUSocketDesignation"},
                                                       {"manufacturer", "getCPUManufacturer"},
                                                       {"model", "getCPUModelName"},
                                                       {"speedMHz", "getCPUCurrentSpeed"},
                                                       {"family", "getCPUFamily"},
                                                       {"stepping", "getCPUStepping"},
                                                       {"cores", "getNumberCoresPerPhysicalCPU"},
                                                       {"status", "getCPUStatus"}};

const Inventory::Fields Inventory::kMemoryFields = {
    {"socket", "getMemoryModuleSocketDesignation"}, {"size", "getMemoryModuleSize"},
    {"frequency", "getMemoryModuleFrequency"},      {"manufacturer", "getMemoryModuleManufacturer"},
    {"partNumber", "getMemoryModulePartNumber"},    {"status", "getMemoryModuleStatus"}};

const Inventory::Fields Inventory::kNetworkFields = {
    {"mac", "getNetworkInfoIfMacAddress", macText},
    {"address", "getNetworkInfoIfIpAddress", addressText},
    {"netmask", "getNetworkInfoIfIpSubnetMask", addressText},
    {"gateway", "getNetworkInfoIfDefaultGateway", addressText},
    {"dhcp", "getNetworkInfoIfUseDHCP"}};

}  // namespace

Answer runInventory(const Options& options) {
    Session session(options);
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    Inventory inventory(session, allocator);
    Json machine = inventory.build();
    answer.shown = "machine";
    answer.document.SetObject();
    add(answer.document, "machine", std::move(machine), allocator);
    add(answer.document, "unavailable", inventory.takeUnavailable(), allocator);
    if (!inventory.failure().empty()) {
        answer.status = ExitStatus::partial;
        say(inventory.failure());
    }
    return answer;
}

}  // namespace varnockctl
