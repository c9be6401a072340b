#pragma once

#include <cimple/cimple.h>

#include <vector>

#include "CIM/Provider/Include/KOLMClient.h"
#include "CIM/Provider/Include/KOLMKey.h"
#include "CIM/Provider/Include/ShPtr.h"
#include "transport/SipJson.h"
#include "util/Export.h"

namespace provider {

struct IdentityInfo;
struct LogMessage;
struct PowerUsage;
struct PciDeviceInfo;

/// Tells the first getUmDiffComponentSubType() (opcode 0x3306) from the second (0x3303).
struct UmDiffAlternate {};

/// The catalogue of typed hardware calls. The order of the operations is binding.
class VARNOCK_EXPORT KOLMCalls {
  public:
    // 0
    virtual void doClearLog(const KOLMKey& key) = 0;
    virtual void doRequestShutdownAndOff() = 0;
    virtual void doRequestShutdownAndReset() = 0;
    virtual void doShutdownRequestCancelled() = 0;
    virtual cimple::Property<cimple::String> getAgentVersion(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getBladeControllerModel(const KOLMKey& key) = 0;
    virtual cimple::uint32 getBootCPU(const KOLMKey& key) = 0;
    virtual cimple::uint32 getBootTime(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUBrandName(const KOLMKey& key) = 0;
    virtual cimple::uint32 getCPUCacheSize(const KOLMKey& key) = 0;
    // 10
    virtual cimple::uint8 getCPUConfigurationStatus(const KOLMKey& key) = 0;
    virtual cimple::uint16 getCPUCurrentSpeed(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUDescription(const KOLMKey& key) = 0;
    virtual cimple::uint16 getCPUFamily(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUInstanceID(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Datetime> getCPUManufactureDate(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUModelName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUPartNumber(const KOLMKey& key) = 0;
    // 20
    virtual cimple::Property<cimple::String> getCPUSerialNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUSocketDesignation(const KOLMKey& key) = 0;
    virtual cimple::uint8 getCPUStatus(const KOLMKey& key) = 0;
    virtual cimple::uint16 getCPUStepping(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getCPUVersion(const KOLMKey& key) = 0;
    virtual std::vector<cimple::uint32> getCabNrs() = 0;
    virtual cimple::Property<cimple::String> getCabinetModel(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getChassisDescription(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getChassisInstanceID(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Datetime> getChassisManufactureDate(const KOLMKey& key) = 0;
    // 30
    virtual cimple::Property<cimple::String> getChassisManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getChassisModel(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getChassisName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getChassisPartNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getChassisSerialNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getChassisVersion(const KOLMKey& key) = 0;
    virtual KOLMKey getComponentRelationParent(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getConfAlarmQORVAId() = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getConfBMCGateway(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint16> getConfBMCHttpPort(const KOLMKey& key) = 0;
    // 40
    virtual cimple::Property<cimple::uint16> getConfBMCHttpsPort(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getConfBMCIpAddr(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::boolean> getConfBMCIpv4Enabled(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::boolean> getConfBMCIpv6Enabled(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getConfBMCMACAddr(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getConfBMCNetmask(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint16> getConfBMCSshPort(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint16> getConfBMCTelnetPort(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::boolean> getConfBMCUseDHCP(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getConfBmcIpv6Address(const KOLMKey& key) = 0;
    // 50
    virtual cimple::Property<cimple::uint8> getConfBmcIpv6AddressPrefixLength(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint8> getConfBmcIpv6AddressType(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getConfBmcIpv6GatewayAddress(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint8> getConfBmcIpv6NumberOfAddresses(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint8> getConfBmcIpv6StaticAddrSrc(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint16> getConfCIMRecordLogLanguage(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getConfCabinetLocation() = 0;
    virtual cimple::Property<cimple::uint8> getConfCriticalTempThresh(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint8> getConfDisableFanTest() = 0;
    virtual cimple::Property<cimple::uint16> getConfErrorOffRestartTime() = 0;
    // 60
    virtual cimple::Property<cimple::uint16> getConfFanDailyTestTime() = 0;
    virtual cimple::Property<cimple::uint8> getConfFanFailBehavior(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint16> getConfFanFailShutdownDelay(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::boolean> getConfMessageLogNoWrap(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint8> getConfNextBootSource() = 0;
    virtual cimple::Property<cimple::uint32> getConfPSUNumberRequired() = 0;
    virtual cimple::Property<cimple::uint8> getConfPSURedundancyMode() = 0;
    virtual cimple::Property<cimple::uint16> getConfPowerLimitModePeriod(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint16> getConfPowerLimitModeThreshold(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::uint16> getConfRebootRetryCountResetDelay() = 0;
    // 70
    virtual cimple::Property<cimple::uint8> getConfRebootRetryCounter() = 0;
    virtual cimple::Property<cimple::uint8> getConfRetryCounterMax() = 0;
    virtual cimple::Property<cimple::uint8> getConfRetryZeroAction() = 0;
    virtual cimple::Property<cimple::String> getConfServerAssetTag() = 0;
    virtual cimple::Property<cimple::String> getConfServerMgmtIpAddress() = 0;
    virtual cimple::Property<cimple::uint32> getConfSysShutdownStartDelay() = 0;
    virtual cimple::Property<cimple::String> getConfSystemContact() = 0;
    virtual cimple::Property<cimple::String> getConfSystemName() = 0;
    virtual cimple::Property<cimple::uint8> getConfTempCriticalBehavior(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::sint32> getConfTimeZone() = 0;
    // 80
    virtual cimple::Property<cimple::uint8> getConfWarningTempThresh(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::sint32> getConfWatchdogBehavior(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::sint32> getConfWatchdogEnable(const KOLMKey& key) = 0;
    virtual cimple::boolean getConfWatchdogPresent(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::sint32> getConfWatchdogTime(const KOLMKey& key) = 0;
    virtual std::vector<KOLMKey> getControllerCardKeys(cimple::uint32 cabinetNr) = 0;
    virtual cimple::Property<cimple::String> getControllerComponentID(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getControllerLocationKey(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getControllerModel() = 0;
    virtual cimple::uint32 getCpuApicId(const KOLMKey& key) = 0;
    // 90
    virtual cimple::uint8 getCpuMultithreadEnabled(const KOLMKey& key) = 0;
    virtual cimple::uint8 getCpuUsage(const KOLMKey& key) = 0;
    virtual cimple::uint16 getCurrentFanSpeed(const KOLMKey& key) = 0;
    virtual cimple::uint8 getCurrentTemperature(const KOLMKey& key) = 0;
    virtual cimple::uint16 getCurrentVoltage(const KOLMKey& key) = 0;
    virtual bool getDeviceInfoReadBusConfig(const KOLMKey& key, PciDeviceInfo& info) = 0;
    virtual cimple::uint8 getDrvMonComponentStatusByAddress(const KOLMKey& key) = 0;
    virtual cimple::uint32 getDrvMonEventId(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getDrvMonEventMessageText(const KOLMKey& key) = 0;
    virtual cimple::uint8 getDrvMonEventSeverity(const KOLMKey& key) = 0;
    // 100
    virtual cimple::uint32 getDrvMonEventTimestamp(const KOLMKey& key) = 0;
    virtual cimple::uint32 getDrvMonNumberEvents(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getElementDescription(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getElementInstanceID(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Datetime> getElementManufactureDate(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getElementManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getElementName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getElementPartNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getElementSerialNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getElementVersion(const KOLMKey& key) = 0;
    // 110
    virtual cimple::uint8 getEnabledLogicalCPUsPerPhysical(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getFanDescription(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getFanDesignation(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getFanInstanceID(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Datetime> getFanManufacturerDate(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getFanManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getFanName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getFanPartNumber(const KOLMKey& key) = 0;
    virtual cimple::uint8 getFanQuality(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getFanSerialNumber(const KOLMKey& key) = 0;
    // 120
    virtual cimple::uint8 getFanStatus(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getFanVersion(const KOLMKey& key) = 0;
    virtual cimple::uint8 getFrontDoorStatus() = 0;
    virtual cimple::uint32 getGetPhysicalCpuNr(const KOLMKey& key) = 0;
    virtual cimple::uint8 getHousingOpenStatus() = 0;
    virtual cimple::Property<cimple::String> getIdentificationAdminURLIpv4() = 0;
    virtual cimple::Property<cimple::String> getIdentificationAdminURLIpv6() = 0;
    virtual cimple::Property<cimple::String> getIdentificationAdminURLasFQDN() = 0;
    virtual cimple::uint32 getIdentificationCabinetNumber() = 0;
    virtual cimple::uint8 getIdentificationCabinetType(cimple::uint32 cabinetNr) = 0;
    // 130
    virtual cimple::uint32 getIdentificationChassisCabinetNumber(cimple::uint32 cabinetNr) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getIdentificationParentGateway(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getIdentificationParentIpAddress(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getIdentificationParentMacAddress(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getIdentificationParentNetmask(const KOLMKey& key) = 0;
    virtual cimple::uint8 getIdentificationParentUseDHCP(const KOLMKey& key) = 0;
    virtual std::vector<IdentityInfo> getIdentityInfo(const KOLMKey& key) = 0;
    virtual std::vector<KOLMKey> getLANControllers(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getLVDExtenders(cimple::uint32 cabinetNr) = 0;
    virtual cimple::Property<cimple::String> getLocationKey(const KOLMKey& key) = 0;
    // 140
    virtual cimple::uint8 getLogAvailable(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getLogMessageActionSummary(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getLogMessageCauseRead(const KOLMKey& key) = 0;
    virtual cimple::uint32 getLogMessageNrEntries(const KOLMKey& key) = 0;
    virtual std::vector<LogMessage> getLogMessageReadChunk(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getLogMessageResolutionRead(const KOLMKey& key) = 0;
    virtual std::vector<cimple::uint16> getLogMessageTextLanguages(const KOLMKey& key) = 0;
    virtual cimple::uint8 getLogicalCPUsPerPhysical(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMMBServiceProcessorContainerDescription(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMMBServiceProcessorContainerInstanceID(const KOLMKey& key) = 0;
    // 150
    virtual cimple::Property<cimple::Datetime> getMMBServiceProcessorContainerManufactureDate(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMMBServiceProcessorContainerManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMMBServiceProcessorContainerModel(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMMBServiceProcessorContainerName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMMBServiceProcessorContainerPartNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMMBServiceProcessorContainerSerialNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMMBServiceProcessorContainerVersion(const KOLMKey& key) = 0;
    virtual cimple::uint8 getManagementControllerStatus() = 0;
    virtual cimple::uint32 getMaxNumberLogEntries(const KOLMKey& key) = 0;
    virtual cimple::uint8 getMemoryModuleApproved(const KOLMKey& key) = 0;
    // 160
    virtual cimple::uint8 getMemoryModuleConfiguration(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModuleDescription(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModuleFormFactor(const KOLMKey& key) = 0;
    virtual cimple::uint32 getMemoryModuleFrequency(const KOLMKey& key) = 0;
    virtual cimple::uint32 getMemoryModuleFrequencyMax(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModuleInstanceID(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Datetime> getMemoryModuleManufactureDate(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModuleManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModuleName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModulePartNumber(const KOLMKey& key) = 0;
    // 170
    virtual cimple::Property<cimple::String> getMemoryModuleSerialNumber(const KOLMKey& key) = 0;
    virtual cimple::uint32 getMemoryModuleSize(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModuleSocketDesignation(const KOLMKey& key) = 0;
    virtual cimple::uint8 getMemoryModuleStatus(const KOLMKey& key) = 0;
    virtual cimple::uint8 getMemoryModuleType(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModuleVersion(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getMemoryModuleVoltage(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getNetworkInfoIfDefaultGateway(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getNetworkInfoIfIpAddress(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Array<cimple::uint8>> getNetworkInfoIfIpSubnetMask(const KOLMKey& key) = 0;
    // 180
    virtual cimple::Property<cimple::String> getNetworkInfoIfMacAddress(const KOLMKey& key) = 0;
    virtual cimple::uint8 getNetworkInfoIfUseDHCP(const KOLMKey& key) = 0;
    virtual cimple::uint8 getNetworkInfoNumberInterfaces(const KOLMKey& key) = 0;
    virtual cimple::uint8 getNumberBladeControllers(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint32 getNumberCPUs(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getNumberCoresPerPhysicalCPU(const KOLMKey& key) = 0;
    virtual cimple::uint8 getNumberCpuCoresEnabled(const KOLMKey& key) = 0;
    virtual cimple::uint8 getNumberFans(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getNumberLogicalCPUs(const KOLMKey& key) = 0;
    virtual cimple::uint8 getNumberMMBServiceProcessorContainers(cimple::uint32 cabinetNr) = 0;
    // 190
    virtual cimple::uint32 getNumberMemoryModules(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getNumberMicroControllers(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getNumberPowerSupplies(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getNumberServiceProcessorContainers(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getNumberSystemBoards(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getNumberTempSensors(cimple::uint32 cabinetNr) = 0;
    virtual cimple::uint8 getNumberVoltages(cimple::uint32 cabinetNr) = 0;
    virtual cimple::Property<cimple::String> getOSProductName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getOSVersion(const KOLMKey& key) = 0;
    virtual cimple::uint32 getOperatingSystemDMTFType(const KOLMKey& key) = 0;
    // 200
    virtual std::vector<cimple::uint32> getPciBusInfoDeviceList(cimple::uint32 cabinetNr) = 0;
    virtual cimple::Property<cimple::String> getPowerConsumptionComponentDesignation(const KOLMKey& key) = 0;
    virtual cimple::uint32 getPowerConsumptionCurrentValue(const KOLMKey& key) = 0;
    virtual cimple::uint8 getPowerConsumptionLimitStatus(const KOLMKey& key) = 0;
    virtual cimple::uint32 getPowerConsumptionNumberClassComponents(const KOLMKey& key) = 0;
    virtual std::vector<cimple::uint32> getPowerConsumptionSupportedComponentClasses(cimple::uint32 cabinetNr) = 0;
    virtual cimple::Property<cimple::String> getPowerSupplyDescription(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getPowerSupplyDesignation(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getPowerSupplyInstanceID(const KOLMKey& key) = 0;
    virtual cimple::uint32 getPowerSupplyLoad(const KOLMKey& key) = 0;
    // 210
    virtual cimple::Property<cimple::Datetime> getPowerSupplyManufactureDate(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getPowerSupplyManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getPowerSupplyModel(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getPowerSupplyName(const KOLMKey& key) = 0;
    virtual cimple::uint32 getPowerSupplyNominal(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getPowerSupplyPartNumber(const KOLMKey& key) = 0;
    virtual cimple::uint8 getPowerSupplyRedundancyConfigurationStatus() = 0;
    virtual cimple::uint8 getPowerSupplyRedundancyThresholdStatus() = 0;
    virtual cimple::Property<cimple::String> getPowerSupplySerialNumber(const KOLMKey& key) = 0;
    virtual cimple::uint8 getPowerSupplyStatus(const KOLMKey& key) = 0;
    // 220
    virtual cimple::Property<cimple::String> getPowerSupplyVersion(const KOLMKey& key) = 0;
    virtual std::vector<KOLMKey> getSCSIControllers(cimple::uint32 cabinetNr) = 0;
    virtual cimple::Property<cimple::String> getServiceProcessorContainerDescription(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getServiceProcessorContainerInstanceID(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Datetime> getServiceProcessorContainerManufactureDate(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getServiceProcessorContainerManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getServiceProcessorContainerModel(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getServiceProcessorContainerName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getServiceProcessorContainerPartNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getServiceProcessorContainerSerialNumber(const KOLMKey& key) = 0;
    // 230
    virtual cimple::Property<cimple::String> getServiceProcessorContainerVersion(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getStatusTreeNodeAssociationKey(const KOLMKey& key, const cimple::String& name) = 0;
    virtual cimple::uint8 getStatusTreeNodeCSSStatus(const KOLMKey& key, const cimple::String& name) = 0;
    virtual cimple::Property<cimple::String> getStatusTreeNodeDesignation(const KOLMKey& key, const cimple::String& name) = 0;
    virtual cimple::uint8 getStatusTreeNodeGELStatus(const KOLMKey& key, const cimple::String& name) = 0;
    virtual cimple::Property<cimple::String> getStatusTreeNodeGetChild(const KOLMKey& key, const cimple::String& name) = 0;
    virtual cimple::uint8 getStatusTreeNodeIsCSS(const KOLMKey& key, const cimple::String& name) = 0;
    virtual cimple::uint32 getStatusTreeNodeNrChildren(const KOLMKey& key, const cimple::String& name) = 0;
    virtual cimple::uint8 getStatusTreeSystemStatus() = 0;
    virtual cimple::Property<cimple::String> getSystemBoardDescription(const KOLMKey& key) = 0;
    // 240
    virtual cimple::Property<cimple::String> getSystemBoardDesignation(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getSystemBoardInstanceID(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::Datetime> getSystemBoardManufactureDate(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getSystemBoardManufacturer(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getSystemBoardModel(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getSystemBoardName(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getSystemBoardPartNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getSystemBoardSerialNumber(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getSystemBoardVersion(const KOLMKey& key) = 0;
    virtual cimple::uint8 getSystemShutdownStatus() = 0;
    // 250
    virtual cimple::uint32 getSystemTime(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getSystemUUID() = 0;
    virtual cimple::Property<cimple::String> getTempSensorDesignation(const KOLMKey& key) = 0;
    virtual cimple::uint8 getTempSensorPurpose(const KOLMKey& key) = 0;
    virtual cimple::uint8 getTempSensorStatus(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffApplicableErrorTxt(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmDiffApplicableStatus(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmDiffBinaryLoaded(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffComponentId(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffComponentSubType(const KOLMKey& key, UmDiffAlternate) = 0;
    // 260
    virtual cimple::Property<cimple::String> getUmDiffComponentPath(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffComponentSubType(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffComponentType(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffComponentVersion(const KOLMKey& key) = 0;
    virtual cimple::uint32 getUmDiffDownloadSize(const KOLMKey& key) = 0;
    virtual cimple::uint32 getUmDiffInstallDuration(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffInstalledVersion(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmDiffIsMandatoryComponent(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffMinStepVersion(const KOLMKey& key) = 0;
    virtual cimple::uint32 getUmDiffNumberComponents(const KOLMKey& key) = 0;
    // 270
    virtual cimple::Property<cimple::String> getUmDiffPreRequisitesText(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffRabVersion(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmDiffRebootRequired(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffReleaseNotes(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmDiffRepos2InstRanking(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmDiffUpdateVendorSeverity(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmDiffVendor(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmInstalledComponentSubType(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmInstalledComponentType(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmInstalledComponentVersion(const KOLMKey& key) = 0;
    // 280
    virtual cimple::uint32 getUmInstalledNumberComponents(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmInstalledPCIId(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmInstalledRABVersion(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmServerConfigCheckStatus(const KOLMKey& key) = 0;
    virtual cimple::uint32 getUmServerLastCheckTime(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmServerStatus() = 0;
    virtual cimple::uint32 getUmServerUpdateCheckErrorCode(const KOLMKey& key) = 0;
    virtual cimple::Property<cimple::String> getUmServerUpdateCheckLogFile(const KOLMKey& key) = 0;
    virtual cimple::uint8 getUmServerUpdateCheckStatus(const KOLMKey& key) = 0;
    virtual std::vector<PowerUsage> getUtilizationHistorySystemPowerConsumption(const KOLMKey& key) = 0;
    // 290
    virtual cimple::uint32 getUtilizationSystemMemory(cimple::uint32 objectId) = 0;
    virtual cimple::Property<cimple::String> getVoltageDesignation(const KOLMKey& key) = 0;
    virtual cimple::uint16 getVoltageNominal(const KOLMKey& key) = 0;
    virtual cimple::uint8 getVoltageStatus(const KOLMKey& key) = 0;
    virtual std::vector<cimple::uint16> getVoltageThresholds(const KOLMKey& key) = 0;
    virtual std::vector<KOLMKey> getWANControllers(cimple::uint32 cabinetNr) = 0;
    virtual void openControllerCardSession(cimple::uint32 cabinetNr) = 0;
    virtual int passThroughRequest(SipJson& record) = 0;
    virtual void setConfAlarmQORVAId(const KOLMKey& key, const cimple::String& value) = 0;
    virtual void setConfCIMRecordLogLanguage(const KOLMKey& key, cimple::uint16 value) = 0;
    // 300
    virtual void setConfCabinetLocation(const KOLMKey& key, const cimple::String& value) = 0;
    virtual void setConfDisableFanTest(const KOLMKey& key, cimple::uint8 value) = 0;
    virtual void setConfErrorOffRestartTime(const KOLMKey& key, cimple::uint16 value) = 0;
    virtual void setConfFanDailyTestTime(const KOLMKey& key, cimple::uint16 value) = 0;
    virtual void setConfFanFailBehavior(const KOLMKey& key, cimple::uint8 value) = 0;
    virtual void setConfFanFailShutdownDelay(const KOLMKey& key, cimple::uint16 value) = 0;
    virtual void setConfNextBootSource(const KOLMKey& key, cimple::uint8 value) = 0;
    virtual void setConfRebootRetryCountResetDelay(const KOLMKey& key, cimple::uint16 value) = 0;
    virtual void setConfRebootRetryCounter(const KOLMKey& key, cimple::uint8 value) = 0;
    virtual void setConfRetryCounterMax(const KOLMKey& key, cimple::uint8 value) = 0;
    // 310
    virtual void setConfRetryZeroAction(const KOLMKey& key, cimple::uint8 value) = 0;
    virtual void setConfServerAssetTag(const KOLMKey& key, const cimple::String& value) = 0;
    virtual void setConfServerMgmtIpAddress(const KOLMKey& key, const cimple::String& value) = 0;
    virtual void setConfSysShutdownStartDelay(const KOLMKey& key, cimple::uint32 value) = 0;
    virtual void setConfSystemContact(const KOLMKey& key, const cimple::String& value) = 0;
    virtual void setConfTempCriticalBehavior(const KOLMKey& key, cimple::uint8 value) = 0;

    virtual ~KOLMCalls();
};

VARNOCK_EXPORT ShPtr<KOLMCalls> newKOLMCalls(KOLMClient* client);

}  // namespace provider
