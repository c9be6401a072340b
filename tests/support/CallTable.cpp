#include "tests/support/CallTable.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "tests/support/VirtualSlot.h"

namespace varnock::test {

namespace {

using provider::KOLMCalls;
using provider::KOLMKey;
using Text = KOLMCalls::Text;

// Each argument of a call by its type. A number is the value of a setter when a key stands before
// it.
template <class Argument, bool alone>
Argument argument(CallArguments& arguments) {
    if constexpr (std::is_same_v<Argument, const KOLMKey&>) {
        return arguments.key;
    } else if constexpr (std::is_same_v<Argument, const cimple::String&>) {
        return arguments.text;
    } else if constexpr (std::is_same_v<Argument, provider::PciDeviceInfo&>) {
        return arguments.info;
    } else if constexpr (std::is_same_v<Argument, SipJson&>) {
        return *arguments.record;
    } else if constexpr (std::is_same_v<Argument, provider::UmDiffAlternate>) {
        return {};
    } else {
        static_assert(std::is_unsigned_v<Argument>);
        return static_cast<Argument>(alone ? arguments.number : arguments.value);
    }
}

template <class Number>
requires std::is_arithmetic_v<Number> std::string render(Number number) {
    return std::to_string(number);
}
std::string render(bool flag) {
    return flag ? "true" : "false";
}
std::string render(const cimple::String& text) {
    return "'" + std::string(text.c_str()) + "'";
}
std::string render(const cimple::Datetime& date) {
    return date.ascii().c_str();
}
std::string render(const KOLMKey& key) {
    return "(" + std::to_string(key.cabinetNr) + " " + std::to_string(key.objectId) + " " +
           std::to_string(key.opCodeExt) + ")";
}
std::string render(const provider::IdentityInfo& identity) {
    return "{" + render(identity.name) + " " + render(identity.version) + " " +
           render(identity.number) + " " + render(identity.manufacturer) + " " +
           render(identity.partNumber) + " " + render(identity.serialNumber) + " " +
           render(identity.instanceId) + "}";
}
std::string render(const provider::LogMessage& message) {
    return "{" + render(message.sequence) + " " + render(message.id) + " " + render(message.time) +
           " " + render(message.datetime) + " " + render(message.severity) + " " +
           render(message.text) + "}";
}
std::string render(const provider::PowerUsage& usage) {
    return "{" + render(usage.average) + " " + render(usage.minimum) + " " + render(usage.maximum) +
           " " + render(usage.time) + "}";
}
std::string render(const cimple::Array<cimple::uint8>& bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        text += (i == 0 ? "" : " ") + std::to_string(bytes[i]);
    }
    return "[" + text + "]";
}
template <class Item>
std::string render(const std::vector<Item>& items) {
    std::string text;
    for (const Item& item : items) {
        text += (text.empty() ? "" : " ") + render(item);
    }
    return "[" + text + "]";
}
template <class Value>
std::string render(const cimple::Property<Value>& property) {
    return property.null != 0 ? "null" : render(property.value);
}

template <class Result, class... Arguments>
CallEntry entry(std::string_view name, Result (KOLMCalls::*call)(Arguments...)) {
#ifdef VARNOCK_HAS_VIRTUAL_SLOTS
    const std::size_t slot = virtualSlot(call);
#else
    const std::size_t slot = 0;
#endif
    const auto run = [call](KOLMCalls& calls, [[maybe_unused]] CallArguments& arguments) {
        return (calls.*call)(argument<Arguments, sizeof...(Arguments) == 1>(arguments)...);
    };
    const auto invoke = [run](KOLMCalls& calls, CallArguments& arguments) {
        if constexpr (std::is_void_v<Result>) {
            run(calls, arguments);
            return std::string("void");
        } else {
            return render(run(calls, arguments));
        }
    };
    return {name, slot, invoke, run};
}

#define CALL(name) entry(#name, &KOLMCalls::name)

}  // namespace

const std::vector<CallEntry>& callTable() {
    static const std::vector<CallEntry> table = {
        CALL(doClearLog),
        CALL(doRequestShutdownAndOff),
        CALL(doRequestShutdownAndReset),
        CALL(doShutdownRequestCancelled),
        CALL(getAgentVersion),
        CALL(getBladeControllerModel),
        CALL(getBootCPU),
        CALL(getBootTime),
        CALL(getCPUBrandName),
        CALL(getCPUCacheSize),
        CALL(getCPUConfigurationStatus),
        CALL(getCPUCurrentSpeed),
        CALL(getCPUDescription),
        CALL(getCPUFamily),
        CALL(getCPUInstanceID),
        CALL(getCPUManufactureDate),
        CALL(getCPUManufacturer),
        CALL(getCPUModelName),
        CALL(getCPUName),
        CALL(getCPUPartNumber),
        CALL(getCPUSerialNumber),
        CALL(getCPUSocketDesignation),
        CALL(getCPUStatus),
        CALL(getCPUStepping),
        CALL(getCPUVersion),
        CALL(getCabNrs),
        CALL(getCabinetModel),
        CALL(getChassisDescription),
        CALL(getChassisInstanceID),
        CALL(getChassisManufactureDate),
        CALL(getChassisManufacturer),
        CALL(getChassisModel),
        CALL(getChassisName),
        CALL(getChassisPartNumber),
        CALL(getChassisSerialNumber),
        CALL(getChassisVersion),
        CALL(getComponentRelationParent),
        CALL(getConfAlarmQORVAId),
        CALL(getConfBMCGateway),
        CALL(getConfBMCHttpPort),
        CALL(getConfBMCHttpsPort),
        CALL(getConfBMCIpAddr),
        CALL(getConfBMCIpv4Enabled),
        CALL(getConfBMCIpv6Enabled),
        CALL(getConfBMCMACAddr),
        CALL(getConfBMCNetmask),
        CALL(getConfBMCSshPort),
        CALL(getConfBMCTelnetPort),
        CALL(getConfBMCUseDHCP),
        CALL(getConfBmcIpv6Address),
        CALL(getConfBmcIpv6AddressPrefixLength),
        CALL(getConfBmcIpv6AddressType),
        CALL(getConfBmcIpv6GatewayAddress),
        CALL(getConfBmcIpv6NumberOfAddresses),
        CALL(getConfBmcIpv6StaticAddrSrc),
        CALL(getConfCIMRecordLogLanguage),
        CALL(getConfCabinetLocation),
        CALL(getConfCriticalTempThresh),
        CALL(getConfDisableFanTest),
        CALL(getConfErrorOffRestartTime),
        CALL(getConfFanDailyTestTime),
        CALL(getConfFanFailBehavior),
        CALL(getConfFanFailShutdownDelay),
        CALL(getConfMessageLogNoWrap),
        CALL(getConfNextBootSource),
        CALL(getConfPSUNumberRequired),
        CALL(getConfPSURedundancyMode),
        CALL(getConfPowerLimitModePeriod),
        CALL(getConfPowerLimitModeThreshold),
        CALL(getConfRebootRetryCountResetDelay),
        CALL(getConfRebootRetryCounter),
        CALL(getConfRetryCounterMax),
        CALL(getConfRetryZeroAction),
        CALL(getConfServerAssetTag),
        CALL(getConfServerMgmtIpAddress),
        CALL(getConfSysShutdownStartDelay),
        CALL(getConfSystemContact),
        CALL(getConfSystemName),
        CALL(getConfTempCriticalBehavior),
        CALL(getConfTimeZone),
        CALL(getConfWarningTempThresh),
        CALL(getConfWatchdogBehavior),
        CALL(getConfWatchdogEnable),
        CALL(getConfWatchdogPresent),
        CALL(getConfWatchdogTime),
        CALL(getControllerCardKeys),
        CALL(getControllerComponentID),
        CALL(getControllerLocationKey),
        CALL(getControllerModel),
        CALL(getCpuApicId),
        CALL(getCpuMultithreadEnabled),
        CALL(getCpuUsage),
        CALL(getCurrentFanSpeed),
        CALL(getCurrentTemperature),
        CALL(getCurrentVoltage),
        CALL(getDeviceInfoReadBusConfig),
        CALL(getDrvMonComponentStatusByAddress),
        CALL(getDrvMonEventId),
        CALL(getDrvMonEventMessageText),
        CALL(getDrvMonEventSeverity),
        CALL(getDrvMonEventTimestamp),
        CALL(getDrvMonNumberEvents),
        CALL(getElementDescription),
        CALL(getElementInstanceID),
        CALL(getElementManufactureDate),
        CALL(getElementManufacturer),
        CALL(getElementName),
        CALL(getElementPartNumber),
        CALL(getElementSerialNumber),
        CALL(getElementVersion),
        CALL(getEnabledLogicalCPUsPerPhysical),
        CALL(getFanDescription),
        CALL(getFanDesignation),
        CALL(getFanInstanceID),
        CALL(getFanManufacturer),
        CALL(getFanManufacturerDate),
        CALL(getFanName),
        CALL(getFanPartNumber),
        CALL(getFanQuality),
        CALL(getFanSerialNumber),
        CALL(getFanStatus),
        CALL(getFanVersion),
        CALL(getFrontDoorStatus),
        CALL(getGetPhysicalCpuNr),
        CALL(getHousingOpenStatus),
        CALL(getIdentificationAdminURLIpv4),
        CALL(getIdentificationAdminURLIpv6),
        CALL(getIdentificationAdminURLasFQDN),
        CALL(getIdentificationCabinetNumber),
        CALL(getIdentificationCabinetType),
        CALL(getIdentificationChassisCabinetNumber),
        CALL(getIdentificationParentGateway),
        CALL(getIdentificationParentIpAddress),
        CALL(getIdentificationParentMacAddress),
        CALL(getIdentificationParentNetmask),
        CALL(getIdentificationParentUseDHCP),
        CALL(getIdentityInfo),
        CALL(getLANControllers),
        CALL(getLVDExtenders),
        CALL(getLocationKey),
        CALL(getLogAvailable),
        CALL(getLogMessageActionSummary),
        CALL(getLogMessageCauseRead),
        CALL(getLogMessageNrEntries),
        CALL(getLogMessageReadChunk),
        CALL(getLogMessageResolutionRead),
        CALL(getLogMessageTextLanguages),
        CALL(getLogicalCPUsPerPhysical),
        CALL(getMMBServiceProcessorContainerDescription),
        CALL(getMMBServiceProcessorContainerInstanceID),
        CALL(getMMBServiceProcessorContainerManufactureDate),
        CALL(getMMBServiceProcessorContainerManufacturer),
        CALL(getMMBServiceProcessorContainerModel),
        CALL(getMMBServiceProcessorContainerName),
        CALL(getMMBServiceProcessorContainerPartNumber),
        CALL(getMMBServiceProcessorContainerSerialNumber),
        CALL(getMMBServiceProcessorContainerVersion),
        CALL(getManagementControllerStatus),
        CALL(getMaxNumberLogEntries),
        CALL(getMemoryModuleApproved),
        CALL(getMemoryModuleConfiguration),
        CALL(getMemoryModuleDescription),
        CALL(getMemoryModuleFormFactor),
        CALL(getMemoryModuleFrequency),
        CALL(getMemoryModuleFrequencyMax),
        CALL(getMemoryModuleInstanceID),
        CALL(getMemoryModuleManufactureDate),
        CALL(getMemoryModuleManufacturer),
        CALL(getMemoryModuleName),
        CALL(getMemoryModulePartNumber),
        CALL(getMemoryModuleSerialNumber),
        CALL(getMemoryModuleSize),
        CALL(getMemoryModuleSocketDesignation),
        CALL(getMemoryModuleStatus),
        CALL(getMemoryModuleType),
        CALL(getMemoryModuleVersion),
        CALL(getMemoryModuleVoltage),
        CALL(getNetworkInfoIfDefaultGateway),
        CALL(getNetworkInfoIfIpAddress),
        CALL(getNetworkInfoIfIpSubnetMask),
        CALL(getNetworkInfoIfMacAddress),
        CALL(getNetworkInfoIfUseDHCP),
        CALL(getNetworkInfoNumberInterfaces),
        CALL(getNumberBladeControllers),
        CALL(getNumberCPUs),
        CALL(getNumberCoresPerPhysicalCPU),
        CALL(getNumberCpuCoresEnabled),
        CALL(getNumberFans),
        CALL(getNumberLogicalCPUs),
        CALL(getNumberMMBServiceProcessorContainers),
        CALL(getNumberMemoryModules),
        CALL(getNumberMicroControllers),
        CALL(getNumberPowerSupplies),
        CALL(getNumberServiceProcessorContainers),
        CALL(getNumberSystemBoards),
        CALL(getNumberTempSensors),
        CALL(getNumberVoltages),
        CALL(getOSProductName),
        CALL(getOSVersion),
        CALL(getOperatingSystemDMTFType),
        CALL(getPciBusInfoDeviceList),
        CALL(getPowerConsumptionComponentDesignation),
        CALL(getPowerConsumptionCurrentValue),
        CALL(getPowerConsumptionLimitStatus),
        CALL(getPowerConsumptionNumberClassComponents),
        CALL(getPowerConsumptionSupportedComponentClasses),
        CALL(getPowerSupplyDescription),
        CALL(getPowerSupplyDesignation),
        CALL(getPowerSupplyInstanceID),
        CALL(getPowerSupplyLoad),
        CALL(getPowerSupplyManufactureDate),
        CALL(getPowerSupplyManufacturer),
        CALL(getPowerSupplyModel),
        CALL(getPowerSupplyName),
        CALL(getPowerSupplyNominal),
        CALL(getPowerSupplyPartNumber),
        CALL(getPowerSupplyRedundancyConfigurationStatus),
        CALL(getPowerSupplyRedundancyThresholdStatus),
        CALL(getPowerSupplySerialNumber),
        CALL(getPowerSupplyStatus),
        CALL(getPowerSupplyVersion),
        CALL(getSCSIControllers),
        CALL(getServiceProcessorContainerDescription),
        CALL(getServiceProcessorContainerInstanceID),
        CALL(getServiceProcessorContainerManufactureDate),
        CALL(getServiceProcessorContainerManufacturer),
        CALL(getServiceProcessorContainerModel),
        CALL(getServiceProcessorContainerName),
        CALL(getServiceProcessorContainerPartNumber),
        CALL(getServiceProcessorContainerSerialNumber),
        CALL(getServiceProcessorContainerVersion),
        CALL(getStatusTreeNodeAssociationKey),
        CALL(getStatusTreeNodeCSSStatus),
        CALL(getStatusTreeNodeDesignation),
        CALL(getStatusTreeNodeGELStatus),
        CALL(getStatusTreeNodeGetChild),
        CALL(getStatusTreeNodeIsCSS),
        CALL(getStatusTreeNodeNrChildren),
        CALL(getStatusTreeSystemStatus),
        CALL(getSystemBoardDescription),
        CALL(getSystemBoardDesignation),
        CALL(getSystemBoardInstanceID),
        CALL(getSystemBoardManufactureDate),
        CALL(getSystemBoardManufacturer),
        CALL(getSystemBoardModel),
        CALL(getSystemBoardName),
        CALL(getSystemBoardPartNumber),
        CALL(getSystemBoardSerialNumber),
        CALL(getSystemBoardVersion),
        CALL(getSystemShutdownStatus),
        CALL(getSystemTime),
        CALL(getSystemUUID),
        CALL(getTempSensorDesignation),
        CALL(getTempSensorPurpose),
        CALL(getTempSensorStatus),
        CALL(getUmDiffApplicableErrorTxt),
        CALL(getUmDiffApplicableStatus),
        CALL(getUmDiffBinaryLoaded),
        CALL(getUmDiffComponentId),
        CALL(getUmDiffComponentPath),
        entry<Text, const KOLMKey&>("getUmDiffComponentSubType",
                                    &KOLMCalls::getUmDiffComponentSubType),
        entry<Text, const KOLMKey&, provider::UmDiffAlternate>(
            "getUmDiffComponentSubType@0x3306", &KOLMCalls::getUmDiffComponentSubType),
        CALL(getUmDiffComponentType),
        CALL(getUmDiffComponentVersion),
        CALL(getUmDiffDownloadSize),
        CALL(getUmDiffInstallDuration),
        CALL(getUmDiffInstalledVersion),
        CALL(getUmDiffIsMandatoryComponent),
        CALL(getUmDiffMinStepVersion),
        CALL(getUmDiffNumberComponents),
        CALL(getUmDiffPreRequisitesText),
        CALL(getUmDiffRabVersion),
        CALL(getUmDiffRebootRequired),
        CALL(getUmDiffReleaseNotes),
        CALL(getUmDiffRepos2InstRanking),
        CALL(getUmDiffUpdateVendorSeverity),
        CALL(getUmDiffVendor),
        CALL(getUmInstalledComponentSubType),
        CALL(getUmInstalledComponentType),
        CALL(getUmInstalledComponentVersion),
        CALL(getUmInstalledNumberComponents),
        CALL(getUmInstalledPCIId),
        CALL(getUmInstalledRABVersion),
        CALL(getUmServerConfigCheckStatus),
        CALL(getUmServerLastCheckTime),
        CALL(getUmServerStatus),
        CALL(getUmServerUpdateCheckErrorCode),
        CALL(getUmServerUpdateCheckLogFile),
        CALL(getUmServerUpdateCheckStatus),
        CALL(getUtilizationHistorySystemPowerConsumption),
        CALL(getUtilizationSystemMemory),
        CALL(getVoltageDesignation),
        CALL(getVoltageNominal),
        CALL(getVoltageStatus),
        CALL(getVoltageThresholds),
        CALL(getWANControllers),
        CALL(openControllerCardSession),
        CALL(passThroughRequest),
        CALL(setConfAlarmQORVAId),
        CALL(setConfCIMRecordLogLanguage),
        CALL(setConfCabinetLocation),
        CALL(setConfDisableFanTest),
        CALL(setConfErrorOffRestartTime),
        CALL(setConfFanDailyTestTime),
        CALL(setConfFanFailBehavior),
        CALL(setConfFanFailShutdownDelay),
        CALL(setConfNextBootSource),
        CALL(setConfRebootRetryCountResetDelay),
        CALL(setConfRebootRetryCounter),
        CALL(setConfRetryCounterMax),
        CALL(setConfRetryZeroAction),
        CALL(setConfServerAssetTag),
        CALL(setConfServerMgmtIpAddress),
        CALL(setConfSysShutdownStartDelay),
        CALL(setConfSystemContact),
        CALL(setConfTempCriticalBehavior),
    };
    return table;
}

#undef CALL

const CallEntry* findCall(std::string_view name) {
    const std::vector<CallEntry>& table = callTable();
    const auto found = std::find_if(table.begin(), table.end(),
                                    [&](const CallEntry& call) { return call.name == name; });
    return found != table.end() ? &*found : nullptr;
}

}  // namespace varnock::test
