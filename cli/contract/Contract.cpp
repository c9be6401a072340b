#include "cli/contract/Contract.h"

#include <algorithm>

namespace varnockctl {
namespace {

// The unit of a measured number stands beside it: "value" and "unit", "speed" and "speedUnit".

constexpr Field kUnavailableRow[] = {
    {"part", kText, "the path of the absent value"},
    {"reason", kText, "why it is absent"},
};
constexpr Field kCall[] = {
    {"call", kText | kOptional, "the name of the call"},
    {"value", kAny | kOptional, "its result; null if there is none"},
    {"unit", kText | kNone | kOptional, "of a number"},
    {"reason", kText | kOptional, "why there is no value"},
    {"records", kList | kOptional, "what --dry-run does not send"},
};

constexpr Field kListRow[] = {
    {"name", kText, "of the call"},
    {"options", kText, "that it needs"},
    {"opcode", kText | kNone, "operation code"},
    {"ext", kText | kNone, "operation code extension"},
    {"result", kText | kNone, "type of the data in the reply"},
};
constexpr Field kListed[] = {{"calls", kList | kOptional, "the calls", kListRow}};

constexpr Field kDescribed[] = {
    {"name", kText | kOptional, "of the call"},
    {"meaning", kText | kOptional, "what it does or returns"},
    {"about", kText | kOptional, "the class of the component"},
    {"index", kNumber | kOptional, "in the interface"},
    {"options", kText | kOptional, "that it needs"},
    {"arguments", kText | kNone | kOptional, "in C++"},
    {"returns", kText | kOptional, "type in C++"},
    {"value", kText | kOptional, "the kind of value"},
    {"unit", kText | kNone | kOptional, "of the value"},
    {"opcode", kText | kNone | kOptional, "operation code"},
    {"ext", kText | kNone | kOptional, "operation code extension"},
    {"object", kText | kNone | kOptional, "object id in the record"},
    {"cabinet", kText | kNone | kOptional, "cabinet number in the record"},
    {"result", kText | kNone | kOptional, "type of the data in the reply"},
    {"absent", kText | kOptional, "the result for an absent value"},
    {"failure", kText | kNone | kOptional, "how it fails"},
    {"onFailure", kText | kOptional, "the same in words"},
    {"readsControllersFirst", kText | kOptional, "whether a component scan comes first"},
    {"changesState", kFlag | kOptional, "whether it changes the machine"},
};

constexpr Field kRaw[] = {
    {"reply", kAny | kOptional, "the record that the agent returned"},
    {"record", kAny | kOptional, "what --dry-run does not send"},
};

constexpr Field kErrorMembers[] = {
    {"status", kNumber, "exit status"},
    {"message", kText, "what failed"},
};
constexpr Field kBatchRow[] = {
    {"line", kNumber, "the number of the input line"},
    {"id", kAny | kOptional, "as in the input"},
    {"call", kText | kOptional, "the name of the call"},
    {"value", kAny | kOptional, "its result"},
    {"records", kList | kOptional, "what --dry-run does not send"},
    {"error", kObject | kOptional, "why there is no value", kErrorMembers},
};
constexpr Field kBatch[] = {{"answers", kList | kOptional, "in the order of the input", kBatchRow}};

constexpr Field kCodeRow[] = {
    {"kind", kText, "status, transport, client or CIM"},
    {"number", kNumber, "of the code"},
    {"name", kText, "of the code"},
    {"meaning", kText, "of the code"},
    {"cause", kText, "the usual one"},
    {"nextStep", kText, "what to do"},
};
constexpr Field kCodes[] = {{"codes", kList | kOptional, "the codes", kCodeRow}};

constexpr unsigned int kTextOrNone = kText | kNone;
constexpr unsigned int kNumberOrNone = kNumber | kNone;

/// A value that a typed call gives. Its unit and its meaning are those of the catalogue.
constexpr Field given(std::string_view name, std::string_view call, unsigned int kind = kText) {
    return {name, kind | kNone, {}, {}, kNumber, call};
}
/// A list with as many items as a typed call says.
constexpr Field counted(std::string_view name, std::string_view call,
                        std::span<const Field> members) {
    return {name, kList | kOptional, "by number", members, kText, call};
}

constexpr Field kState{"state", kText | kNone, "the meaning of the status"};

constexpr Field kSystem[] = {
    given("name", "getConfSystemName"),
    given("uuid", "getSystemUUID"),
    given("model", "getCabinetModel"),
    given("chassisSerialNumber", "getChassisSerialNumber"),
    given("agentVersion", "getAgentVersion"),
    given("bootTime", "getBootTime"),
    given("systemTime", "getSystemTime"),
};
constexpr Field kOperatingSystem[] = {
    given("name", "getOSProductName"),
    given("version", "getOSVersion"),
    given("dmtfType", "getOperatingSystemDMTFType", kNumber),
};
constexpr Field kMemory[] = {
    given("utilisation", "getUtilizationSystemMemory", kNumber),
    {"utilisationUnit", kText, "of the utilisation"},
};
constexpr Field kProcessor[] = {
    given("socket", "getCPUSocketDesignation"),
    given("manufacturer", "getCPUManufacturer"),
    given("model", "getCPUModelName"),
    given("speed", "getCPUCurrentSpeed", kNumber),
    {"speedUnit", kText, "of the speed"},
    given("family", "getCPUFamily", kNumber),
    given("stepping", "getCPUStepping", kNumber),
    given("cores", "getNumberCoresPerPhysicalCPU", kNumber),
    given("status", "getCPUStatus", kNumber),
    kState,
};
constexpr Field kModule[] = {
    given("socket", "getMemoryModuleSocketDesignation"),
    given("size", "getMemoryModuleSize", kNumber),
    {"sizeUnit", kText, "of the size"},
    given("frequency", "getMemoryModuleFrequency", kNumber),
    {"frequencyUnit", kText, "of the frequency"},
    given("manufacturer", "getMemoryModuleManufacturer"),
    given("partNumber", "getMemoryModulePartNumber"),
    given("status", "getMemoryModuleStatus", kNumber),
    kState,
};
constexpr Field kInterface[] = {
    given("mac", "getNetworkInfoIfMacAddress"),
    given("address", "getNetworkInfoIfIpAddress", kText | kList),
    given("netmask", "getNetworkInfoIfIpSubnetMask", kText | kList),
    given("gateway", "getNetworkInfoIfDefaultGateway", kText | kList),
    given("dhcp", "getNetworkInfoIfUseDHCP", kNumber),
};
constexpr Field kPciDevice[] = {
    {"address", kText, "bus:device.function"},
    {"id", kText, "vendor:device"},
    {"subsystem", kText, "vendor:device"},
    {"revision", kNumber, "of the device"},
    {"class", kText, "in words"},
    {"subclass", kText, "in words"},
};
constexpr Field kCabinet[] = {
    {"number", kNumber, "of the cabinet"},
    given("model", "getCabinetModel"),
    given("serialNumber", "getChassisSerialNumber"),
    given("type", "getIdentificationCabinetType", kNumber),
};
constexpr Field kBoard[] = {
    given("designation", "getSystemBoardDesignation"),
    given("manufacturer", "getSystemBoardManufacturer"),
    given("model", "getSystemBoardModel"),
    given("partNumber", "getSystemBoardPartNumber"),
    given("serialNumber", "getSystemBoardSerialNumber"),
    given("version", "getSystemBoardVersion"),
};
constexpr Field kFan[] = {
    given("designation", "getFanDesignation"), given("manufacturer", "getFanManufacturer"),
    given("partNumber", "getFanPartNumber"),   given("serialNumber", "getFanSerialNumber"),
    given("status", "getFanStatus", kNumber),  kState,
};
constexpr Field kSupply[] = {
    given("designation", "getPowerSupplyDesignation"),
    given("manufacturer", "getPowerSupplyManufacturer"),
    given("model", "getPowerSupplyModel"),
    given("serialNumber", "getPowerSupplySerialNumber"),
    given("nominal", "getPowerSupplyNominal", kNumber),
    {"nominalUnit", kText, "of the nominal power"},
    given("status", "getPowerSupplyStatus", kNumber),
    kState,
};
constexpr Field kFirmware[] = {
    given("type", "getUmInstalledComponentType"),
    given("subtype", "getUmInstalledComponentSubType"),
    given("version", "getUmInstalledComponentVersion"),
    given("package", "getUmInstalledRABVersion"),
};
constexpr Field kMachine[] = {
    {"system", kObject | kOptional, "the system", kSystem},
    {"operatingSystem", kObject | kOptional, "what the machine runs", kOperatingSystem},
    {"memory", kObject | kOptional, "the memory as a whole", kMemory},
    counted("processors", "getNumberCPUs", kProcessor),
    counted("memoryModules", "getNumberMemoryModules", kModule),
    counted("networkInterfaces", "getNetworkInfoNumberInterfaces", kInterface),
    {"pciDevices", kList | kOptional, "as the agent lists them", kPciDevice},
    {"cabinets", kList | kOptional, "the server's own first", kCabinet},
    counted("systemBoards", "getNumberSystemBoards", kBoard),
    counted("fans", "getNumberFans", kFan),
    counted("powerSupplies", "getNumberPowerSupplies", kSupply),
    counted("firmware", "getUmInstalledNumberComponents", kFirmware),
};
constexpr Field kInventory[] = {
    {"machine", kObject | kOptional, "by part; with --where only the parts with a selected row",
     kMachine},
    {"unavailable", kList | kOptional, "the absent values", kUnavailableRow},
};

constexpr Field kLimits[] = {
    {"low", kNumberOrNone, "the lowest that is well"},
    {"high", kNumberOrNone, "the highest that is well"},
    {"nominal", kNumberOrNone, "as designed"},
    {"warning", kNumberOrNone, "not well from here on"},
    {"critical", kNumberOrNone, "critical from here on"},
};
constexpr Field kSensorRow[] = {
    {"cabinet", kNumber, "number of the cabinet"},
    {"type", kText, "fan, temperature, voltage, supply or power"},
    {"object", kNumber, "object id"},
    {"powerClass", kNumberOrNone, "of a consumer of power"},
    {"name", kTextOrNone, "designation"},
    {"state", kTextOrNone, "ok, warning, critical, failed, absent or unknown"},
    {"stateCode", kNumberOrNone, "of the agent"},
    {"value", kNumberOrNone, "the reading"},
    {"unit", kText, "of the reading and the limits"},
    {"quality", kNumberOrNone, "of a fan"},
    {"qualityUnit", kText, "of the quality"},
    {"limits", kObject, "of the reading", kLimits},
};
constexpr Field kSensors[] = {
    {"sensors", kList | kOptional, "by cabinet", kSensorRow},
    {"unavailable", kList | kOptional, "the absent values", kUnavailableRow},
};

constexpr Field kSampleRow[] = {
    {"metric", kText, "name of the family"},
    {"labels", kObject, "texts by name"},
    {"value", kNumber, "in the unit"},
    {"unit", kTextOrNone, "base unit"},
};
constexpr Field kMetrics[] = {
    {"samples", kList | kOptional, "one of each series", kSampleRow},
    {"file", kText | kOptional, "that was replaced"},
    {"series", kNumber | kOptional, "how many it holds"},
};

constexpr Field kEventGap[] = {
    {"reason", kText, "why events may be missing"},
    {"milliseconds", kNumber, "how long none could arrive"},
    {"events", kNumberOrNone, "how many are missing; null: not known"},
};
constexpr Field kEventRow[] = {
    {"time", kText | kTime, "UTC, ISO 8601"},
    {"event", kTextOrNone, "name or operation code; null: a gap"},
    {"opcode", kNumberOrNone, "operation code"},
    {"ext", kNumberOrNone, "operation code extension"},
    {"object", kNumberOrNone, "object id"},
    {"cabinet", kNumberOrNone, "cabinet number"},
    {"status", kNumberOrNone, "of the record"},
    {"data", kAny, "of the record"},
    {"gap", kObject | kOptional, "instead of an event", kEventGap},
};
constexpr Field kEvents[] = {
    {"events", kList | kOptional, "as they arrived", kEventRow},
};

constexpr Field kTraceGap[] = {
    {"reason", kText, "why entries are missing"},
    {"bytes", kNumber, "how long they were"},
};
constexpr Field kEntryRow[] = {
    {"time", kTextOrNone | kTime, "local, ISO 8601"},
    {"host", kTextOrNone, "name of the machine"},
    {"application", kTextOrNone, "that traced"},
    {"thread", kTextOrNone, "hexadecimal digits"},
    {"message", kTextOrNone, "text of the entry"},
    {"gap", kObject | kOptional, "instead of an entry", kTraceGap},
    {"file", kText | kOptional, "name, of several files"},
    {"process", kNumber | kNone | kOptional, "its id, of several files"},
};
constexpr Field kFileRow[] = {
    {"file", kText, "path"},
    {"filePath", kTextOrNone, "path in the header"},
    {"firstOpen", kTextOrNone, "time"},
    {"lastOpen", kTextOrNone, "time"},
    {"opens", kNumberOrNone, "how often it was opened"},
    {"wraps", kNumberOrNone, "how often it was full"},
    {"size", kNumberOrNone, "in bytes"},
    {"position", kNumberOrNone, "of the next entry, in bytes"},
    {"entries", kNumber, "how many it holds"},
    {"oldest", kTextOrNone, "time of the oldest entry"},
    {"newest", kTextOrNone, "time of the newest entry"},
    {"tornBytes", kNumber, "of partly overwritten entries"},
    {"problems", kList, "what is damaged"},
};
constexpr Field kStatisticsRow[] = {
    {"call", kText, "its name"},
    {"count", kNumber, "how often it was made"},
    {"unanswered", kNumber, "without a reply"},
    {"failed", kNumber, "with a failed reply"},
    {"p50Seconds", kNumberOrNone, "median time"},
    {"p90Seconds", kNumberOrNone, "of nine in ten"},
    {"p99Seconds", kNumberOrNone, "of 99 in 100"},
    {"maxSeconds", kNumberOrNone, "longest time"},
};
constexpr Field kTrace[] = {
    {"entries", kList | kOptional, "oldest first", kEntryRow},
    {"files", kList | kOptional, "with --info", kFileRow},
    {"timeline", kText | kOptional, "the file with the spans"},
    {"spans", kNumber | kOptional, "how many calls were found"},
    {"calls", kList | kOptional, "with --stats", kStatisticsRow},
};

constexpr Field kEntry[] = {
    {"key", kText, "full path"},
    {"name", kTextOrNone, "of the value; null: the entry is the key"},
    {"type", kText, "string, expand, number, binary or key"},
    {"value", kText | kNumber | kNone, "a number, or text"},
};
constexpr Field kEntries[] = {
    {"file", kText | kOptional, "that was read"},
    {"entries", kList | kOptional, "keys and values", kEntry},
};
constexpr Field kValueOrEntries[] = {
    {"file", kText | kOptional, "that was read"},
    {"entries", kList | kOptional, "of a key", kEntry},
    {"key", kText | kOptional, "full path of the key of a value"},
    {"name", kText | kOptional, "of a value"},
    {"type", kText | kOptional, "of a value"},
    {"value", kText | kNumber | kOptional, "a number, or text"},
};
constexpr Field kChangeRow[] = {
    {"change", kText, "+ or -"},
    {"key", kText, "full path"},
    {"name", kTextOrNone, "of the value; null: the entry is the key"},
    {"type", kText, "string, expand, number, binary or key"},
    {"value", kText | kNumber | kNone, "a number, or text"},
};
constexpr Field kChanges[] = {
    {"file", kText | kOptional, "that is changed"},
    {"saved", kFlag | kOptional, "whether it has been written"},
    {"changes", kList | kOptional, "what is removed and added", kChangeRow},
};
constexpr Field kDifference[] = {
    {"from", kText | kOptional, "key or file"},
    {"to", kText | kOptional, "key or file"},
    {"changes", kList | kOptional, "what is removed and added", kChangeRow},
};
constexpr Field kProblemRow[] = {
    {"line", kNumber, "in the file"},
    {"problem", kText, "what is wrong"},
    {"text", kTextOrNone, "of the line"},
    {"loses", kFlag, "whether a change of the whole file would lose it"},
};
constexpr Field kProblems[] = {
    {"file", kText | kOptional, "that was checked"},
    {"problems", kList | kOptional, "in the order of the lines", kProblemRow},
};

constexpr Field kFindingRow[] = {
    {"check", kText, "the subject"},
    {"state", kText, "ok, note or problem"},
    {"finding", kText, "what was found"},
    {"mend", kTextOrNone, "how to mend it"},
};
constexpr Field kFindings[] = {
    {"sound", kFlag | kOptional, "whether there is no problem"},
    {"findings", kList | kOptional, "in the order of the checks", kFindingRow},
};

constexpr Contract kContracts[] = {
    {"call", kCall},
    {"list", kListed, "calls"},
    {"describe", kDescribed},
    {"raw", kRaw},
    {"batch", kBatch},
    {"explain", kCodes, "codes"},
    {"inventory", kInventory, "machine"},
    {"sensors", kSensors, "sensors"},
    {"metrics", kMetrics},
    {"watch", kEvents, "events"},
    {"trace", kTrace, "entries"},
    {"registry tree", kEntries, "entries"},
    {"registry get", kValueOrEntries, "entries"},
    {"registry find", kEntries, "entries"},
    {"registry export", kEntries},
    {"registry check", kProblems, "problems"},
    {"registry diff", kDifference, "changes"},
    {"registry set", kChanges},
    {"registry delete", kChanges},
    {"registry import", kChanges},
    {"doctor", kFindings, "findings"},
};

bool isValue(const Field& field) {
    return (field.kind & (kText | kNumber | kFlag)) != 0;
}

void addFields(std::vector<RowField>& rows, const std::string& path,
               std::span<const Field> fields) {
    for (const Field& field : fields) {
        const RowField row{path + std::string(field.name), (field.kind & kTime) != 0};
        if (isValue(field) && std::find(rows.begin(), rows.end(), row) == rows.end()) {
            rows.push_back(row);
        } else if (!isValue(field)) {
            addFields(rows, row.path + ".", field.members);
        }
    }
}

}  // namespace

std::span<const Contract> contracts() {
    return kContracts;
}

const Contract* findContract(std::string_view command) {
    const auto* const found =
        std::find_if(std::begin(kContracts), std::end(kContracts),
                     [&](const Contract& each) { return each.command == command; });
    return found != std::end(kContracts) ? found : nullptr;
}

std::vector<RowField> fieldsOfRows(const Contract& contract) {
    std::vector<RowField> rows;
    for (const Field& field : contract.members) {
        if (field.name != contract.rows) {
            continue;
        }
        if ((field.kind & kList) != 0) {
            addFields(rows, "", field.members);
            continue;
        }
        // The parts of a machine, each a row or a list of rows.
        rows.push_back({"part"});
        for (const Field& part : field.members) {
            addFields(rows, "", part.members);
        }
    }
    return rows;
}

}  // namespace varnockctl
