#pragma once

#include <optional>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/calls/CallEngine.h"
#include "CIM/Provider/Include/calls/IdentityCache.h"

namespace varnock::calls {

/// The catalogue of typed calls over one client. The bodies stand in files by family: one row of a
/// table for a call that is one command, and a file by its subject for each of the others.
///
/// Thread-safety: as provider::KOLMCalls says; the time zone does not change after construction.
class Kolm final : public provider::KOLMCalls {
  public:
    explicit Kolm(provider::KOLMClient* client);
    ~Kolm() override;

    // SystemCalls.cpp
    void doRequestShutdownAndOff() override;
    void doRequestShutdownAndReset() override;
    void doShutdownRequestCancelled() override;
    Text getAgentVersion(const KOLMKey& key) override;
    uint32 getBootTime(const KOLMKey& key) override;
    uint8 getDrvMonComponentStatusByAddress(const KOLMKey& key) override;
    uint32 getDrvMonEventId(const KOLMKey& key) override;
    Text getDrvMonEventMessageText(const KOLMKey& key) override;
    uint8 getDrvMonEventSeverity(const KOLMKey& key) override;
    uint32 getDrvMonEventTimestamp(const KOLMKey& key) override;
    uint32 getDrvMonNumberEvents(const KOLMKey& key) override;
    Text getIdentificationAdminURLIpv4() override;
    Text getIdentificationAdminURLIpv6() override;
    Text getIdentificationAdminURLasFQDN() override;
    uint32 getIdentificationCabinetNumber() override;
    uint8 getIdentificationCabinetType(uint32 cabinetNr) override;
    uint32 getIdentificationChassisCabinetNumber(uint32 cabinetNr) override;
    Bytes getIdentificationParentGateway(const KOLMKey& key) override;
    Bytes getIdentificationParentIpAddress(const KOLMKey& key) override;
    Text getIdentificationParentMacAddress(const KOLMKey& key) override;
    Bytes getIdentificationParentNetmask(const KOLMKey& key) override;
    uint8 getIdentificationParentUseDHCP(const KOLMKey& key) override;
    uint8 getLogAvailable(const KOLMKey& key) override;
    Text getLogMessageActionSummary(const KOLMKey& key) override;
    Text getLogMessageCauseRead(const KOLMKey& key) override;
    uint32 getLogMessageNrEntries(const KOLMKey& key) override;
    Text getLogMessageResolutionRead(const KOLMKey& key) override;
    std::vector<uint16> getLogMessageTextLanguages(const KOLMKey& key) override;
    uint32 getMaxNumberLogEntries(const KOLMKey& key) override;
    Bytes getNetworkInfoIfDefaultGateway(const KOLMKey& key) override;
    Bytes getNetworkInfoIfIpAddress(const KOLMKey& key) override;
    Bytes getNetworkInfoIfIpSubnetMask(const KOLMKey& key) override;
    Text getNetworkInfoIfMacAddress(const KOLMKey& key) override;
    uint8 getNetworkInfoIfUseDHCP(const KOLMKey& key) override;
    uint8 getNetworkInfoNumberInterfaces(const KOLMKey& key) override;
    Text getOSProductName(const KOLMKey& key) override;
    Text getOSVersion(const KOLMKey& key) override;
    uint32 getOperatingSystemDMTFType(const KOLMKey& key) override;
    uint8 getSystemShutdownStatus() override;
    uint32 getSystemTime(const KOLMKey& key) override;
    Text getSystemUUID() override;
    uint32 getUtilizationSystemMemory(uint32 objectId) override;

    // CabinetCalls.cpp
    Text getBladeControllerModel(const KOLMKey& key) override;
    Text getCabinetModel(const KOLMKey& key) override;
    Text getChassisDescription(const KOLMKey& key) override;
    Text getChassisInstanceID(const KOLMKey& key) override;
    Date getChassisManufactureDate(const KOLMKey& key) override;
    Text getChassisManufacturer(const KOLMKey& key) override;
    Text getChassisModel(const KOLMKey& key) override;
    Text getChassisName(const KOLMKey& key) override;
    Text getChassisPartNumber(const KOLMKey& key) override;
    Text getChassisSerialNumber(const KOLMKey& key) override;
    Text getChassisVersion(const KOLMKey& key) override;
    Text getControllerModel() override;
    uint8 getFrontDoorStatus() override;
    uint8 getHousingOpenStatus() override;
    uint8 getLVDExtenders(uint32 cabinetNr) override;
    Text getMMBServiceProcessorContainerDescription(const KOLMKey& key) override;
    Text getMMBServiceProcessorContainerInstanceID(const KOLMKey& key) override;
    Date getMMBServiceProcessorContainerManufactureDate(const KOLMKey& key) override;
    Text getMMBServiceProcessorContainerManufacturer(const KOLMKey& key) override;
    Text getMMBServiceProcessorContainerModel(const KOLMKey& key) override;
    Text getMMBServiceProcessorContainerName(const KOLMKey& key) override;
    Text getMMBServiceProcessorContainerPartNumber(const KOLMKey& key) override;
    Text getMMBServiceProcessorContainerSerialNumber(const KOLMKey& key) override;
    Text getMMBServiceProcessorContainerVersion(const KOLMKey& key) override;
    uint8 getManagementControllerStatus() override;
    uint8 getNumberBladeControllers(uint32 cabinetNr) override;
    uint8 getNumberMMBServiceProcessorContainers(uint32 cabinetNr) override;
    uint8 getNumberMicroControllers(uint32 cabinetNr) override;
    uint8 getNumberServiceProcessorContainers(uint32 cabinetNr) override;
    Text getServiceProcessorContainerDescription(const KOLMKey& key) override;
    Text getServiceProcessorContainerInstanceID(const KOLMKey& key) override;
    Date getServiceProcessorContainerManufactureDate(const KOLMKey& key) override;
    Text getServiceProcessorContainerManufacturer(const KOLMKey& key) override;
    Text getServiceProcessorContainerModel(const KOLMKey& key) override;
    Text getServiceProcessorContainerName(const KOLMKey& key) override;
    Text getServiceProcessorContainerPartNumber(const KOLMKey& key) override;
    Text getServiceProcessorContainerSerialNumber(const KOLMKey& key) override;
    Text getServiceProcessorContainerVersion(const KOLMKey& key) override;

    // ProcessorCalls.cpp
    uint32 getBootCPU(const KOLMKey& key) override;
    Text getCPUBrandName(const KOLMKey& key) override;
    uint32 getCPUCacheSize(const KOLMKey& key) override;
    uint8 getCPUConfigurationStatus(const KOLMKey& key) override;
    uint16 getCPUCurrentSpeed(const KOLMKey& key) override;
    Text getCPUDescription(const KOLMKey& key) override;
    uint16 getCPUFamily(const KOLMKey& key) override;
    Text getCPUInstanceID(const KOLMKey& key) override;
    Date getCPUManufactureDate(const KOLMKey& key) override;
    Text getCPUManufacturer(const KOLMKey& key) override;
    Text getCPUModelName(const KOLMKey& key) override;
    Text getCPUName(const KOLMKey& key) override;
    Text getCPUPartNumber(const KOLMKey& key) override;
    Text getCPUSerialNumber(const KOLMKey& key) override;
    Text getCPUSocketDesignation(const KOLMKey& key) override;
    uint8 getCPUStatus(const KOLMKey& key) override;
    uint16 getCPUStepping(const KOLMKey& key) override;
    Text getCPUVersion(const KOLMKey& key) override;
    uint32 getCpuApicId(const KOLMKey& key) override;
    uint8 getCpuMultithreadEnabled(const KOLMKey& key) override;
    uint8 getCpuUsage(const KOLMKey& key) override;
    uint8 getEnabledLogicalCPUsPerPhysical(const KOLMKey& key) override;
    uint32 getGetPhysicalCpuNr(const KOLMKey& key) override;
    uint8 getLogicalCPUsPerPhysical(const KOLMKey& key) override;
    uint32 getNumberCPUs(uint32 cabinetNr) override;
    uint8 getNumberCoresPerPhysicalCPU(const KOLMKey& key) override;
    uint8 getNumberCpuCoresEnabled(const KOLMKey& key) override;
    uint8 getNumberLogicalCPUs(const KOLMKey& key) override;

    // BoardCalls.cpp
    uint8 getMemoryModuleApproved(const KOLMKey& key) override;
    uint8 getMemoryModuleConfiguration(const KOLMKey& key) override;
    Text getMemoryModuleDescription(const KOLMKey& key) override;
    Text getMemoryModuleFormFactor(const KOLMKey& key) override;
    uint32 getMemoryModuleFrequency(const KOLMKey& key) override;
    uint32 getMemoryModuleFrequencyMax(const KOLMKey& key) override;
    Text getMemoryModuleInstanceID(const KOLMKey& key) override;
    Date getMemoryModuleManufactureDate(const KOLMKey& key) override;
    Text getMemoryModuleManufacturer(const KOLMKey& key) override;
    Text getMemoryModuleName(const KOLMKey& key) override;
    Text getMemoryModulePartNumber(const KOLMKey& key) override;
    Text getMemoryModuleSerialNumber(const KOLMKey& key) override;
    uint32 getMemoryModuleSize(const KOLMKey& key) override;
    Text getMemoryModuleSocketDesignation(const KOLMKey& key) override;
    uint8 getMemoryModuleStatus(const KOLMKey& key) override;
    uint8 getMemoryModuleType(const KOLMKey& key) override;
    Text getMemoryModuleVersion(const KOLMKey& key) override;
    Text getMemoryModuleVoltage(const KOLMKey& key) override;
    uint32 getNumberMemoryModules(uint32 cabinetNr) override;
    uint8 getNumberSystemBoards(uint32 cabinetNr) override;
    Text getSystemBoardDescription(const KOLMKey& key) override;
    Text getSystemBoardDesignation(const KOLMKey& key) override;
    Text getSystemBoardInstanceID(const KOLMKey& key) override;
    Date getSystemBoardManufactureDate(const KOLMKey& key) override;
    Text getSystemBoardManufacturer(const KOLMKey& key) override;
    Text getSystemBoardModel(const KOLMKey& key) override;
    Text getSystemBoardName(const KOLMKey& key) override;
    Text getSystemBoardPartNumber(const KOLMKey& key) override;
    Text getSystemBoardSerialNumber(const KOLMKey& key) override;
    Text getSystemBoardVersion(const KOLMKey& key) override;

    // SensorCalls.cpp
    uint16 getCurrentFanSpeed(const KOLMKey& key) override;
    uint8 getCurrentTemperature(const KOLMKey& key) override;
    uint16 getCurrentVoltage(const KOLMKey& key) override;
    Text getFanDescription(const KOLMKey& key) override;
    Text getFanDesignation(const KOLMKey& key) override;
    Text getFanInstanceID(const KOLMKey& key) override;
    Date getFanManufacturerDate(const KOLMKey& key) override;
    Text getFanManufacturer(const KOLMKey& key) override;
    Text getFanName(const KOLMKey& key) override;
    Text getFanPartNumber(const KOLMKey& key) override;
    uint8 getFanQuality(const KOLMKey& key) override;
    Text getFanSerialNumber(const KOLMKey& key) override;
    uint8 getFanStatus(const KOLMKey& key) override;
    Text getFanVersion(const KOLMKey& key) override;
    uint8 getNumberFans(uint32 cabinetNr) override;
    uint8 getNumberTempSensors(uint32 cabinetNr) override;
    uint8 getNumberVoltages(uint32 cabinetNr) override;
    Text getTempSensorDesignation(const KOLMKey& key) override;
    uint8 getTempSensorPurpose(const KOLMKey& key) override;
    uint8 getTempSensorStatus(const KOLMKey& key) override;
    Text getVoltageDesignation(const KOLMKey& key) override;
    uint16 getVoltageNominal(const KOLMKey& key) override;
    uint8 getVoltageStatus(const KOLMKey& key) override;
    std::vector<uint16> getVoltageThresholds(const KOLMKey& key) override;

    // PowerCalls.cpp
    uint8 getNumberPowerSupplies(uint32 cabinetNr) override;
    Text getPowerConsumptionComponentDesignation(const KOLMKey& key) override;
    uint32 getPowerConsumptionCurrentValue(const KOLMKey& key) override;
    uint8 getPowerConsumptionLimitStatus(const KOLMKey& key) override;
    uint32 getPowerConsumptionNumberClassComponents(const KOLMKey& key) override;
    std::vector<uint32> getPowerConsumptionSupportedComponentClasses(uint32 cabinetNr) override;
    Text getPowerSupplyDescription(const KOLMKey& key) override;
    Text getPowerSupplyDesignation(const KOLMKey& key) override;
    Text getPowerSupplyInstanceID(const KOLMKey& key) override;
    uint32 getPowerSupplyLoad(const KOLMKey& key) override;
    Date getPowerSupplyManufactureDate(const KOLMKey& key) override;
    Text getPowerSupplyManufacturer(const KOLMKey& key) override;
    Text getPowerSupplyModel(const KOLMKey& key) override;
    Text getPowerSupplyName(const KOLMKey& key) override;
    uint32 getPowerSupplyNominal(const KOLMKey& key) override;
    Text getPowerSupplyPartNumber(const KOLMKey& key) override;
    uint8 getPowerSupplyRedundancyConfigurationStatus() override;
    uint8 getPowerSupplyRedundancyThresholdStatus() override;
    Text getPowerSupplySerialNumber(const KOLMKey& key) override;
    uint8 getPowerSupplyStatus(const KOLMKey& key) override;
    Text getPowerSupplyVersion(const KOLMKey& key) override;

    // UpdateCalls.cpp
    Text getUmDiffApplicableErrorTxt(const KOLMKey& key) override;
    uint8 getUmDiffApplicableStatus(const KOLMKey& key) override;
    uint8 getUmDiffBinaryLoaded(const KOLMKey& key) override;
    Text getUmDiffComponentId(const KOLMKey& key) override;
    Text getUmDiffComponentSubType(const KOLMKey& key, provider::UmDiffAlternate) override;
    Text getUmDiffComponentPath(const KOLMKey& key) override;
    Text getUmDiffComponentSubType(const KOLMKey& key) override;
    Text getUmDiffComponentType(const KOLMKey& key) override;
    Text getUmDiffComponentVersion(const KOLMKey& key) override;
    uint32 getUmDiffDownloadSize(const KOLMKey& key) override;
    uint32 getUmDiffInstallDuration(const KOLMKey& key) override;
    Text getUmDiffInstalledVersion(const KOLMKey& key) override;
    uint8 getUmDiffIsMandatoryComponent(const KOLMKey& key) override;
    Text getUmDiffMinStepVersion(const KOLMKey& key) override;
    uint32 getUmDiffNumberComponents(const KOLMKey& key) override;
    Text getUmDiffPreRequisitesText(const KOLMKey& key) override;
    Text getUmDiffRabVersion(const KOLMKey& key) override;
    uint8 getUmDiffRebootRequired(const KOLMKey& key) override;
    Text getUmDiffReleaseNotes(const KOLMKey& key) override;
    uint8 getUmDiffRepos2InstRanking(const KOLMKey& key) override;
    uint8 getUmDiffUpdateVendorSeverity(const KOLMKey& key) override;
    Text getUmDiffVendor(const KOLMKey& key) override;
    Text getUmInstalledComponentSubType(const KOLMKey& key) override;
    Text getUmInstalledComponentType(const KOLMKey& key) override;
    Text getUmInstalledComponentVersion(const KOLMKey& key) override;
    uint32 getUmInstalledNumberComponents(const KOLMKey& key) override;
    Text getUmInstalledPCIId(const KOLMKey& key) override;
    Text getUmInstalledRABVersion(const KOLMKey& key) override;
    uint8 getUmServerConfigCheckStatus(const KOLMKey& key) override;
    uint32 getUmServerLastCheckTime(const KOLMKey& key) override;
    uint8 getUmServerStatus() override;
    uint32 getUmServerUpdateCheckErrorCode(const KOLMKey& key) override;
    Text getUmServerUpdateCheckLogFile(const KOLMKey& key) override;
    uint8 getUmServerUpdateCheckStatus(const KOLMKey& key) override;

    // SettingReads.cpp
    Bytes getConfBMCGateway(const KOLMKey& key) override;
    Setting<uint16> getConfBMCHttpPort(const KOLMKey& key) override;
    Setting<uint16> getConfBMCHttpsPort(const KOLMKey& key) override;
    Bytes getConfBMCIpAddr(const KOLMKey& key) override;
    Setting<boolean> getConfBMCIpv4Enabled(const KOLMKey& key) override;
    Setting<boolean> getConfBMCIpv6Enabled(const KOLMKey& key) override;
    Text getConfBMCMACAddr(const KOLMKey& key) override;
    Bytes getConfBMCNetmask(const KOLMKey& key) override;
    Setting<uint16> getConfBMCSshPort(const KOLMKey& key) override;
    Setting<uint16> getConfBMCTelnetPort(const KOLMKey& key) override;
    Setting<boolean> getConfBMCUseDHCP(const KOLMKey& key) override;
    Bytes getConfBmcIpv6Address(const KOLMKey& key) override;
    Setting<uint8> getConfBmcIpv6AddressPrefixLength(const KOLMKey& key) override;
    Setting<uint8> getConfBmcIpv6AddressType(const KOLMKey& key) override;
    Bytes getConfBmcIpv6GatewayAddress(const KOLMKey& key) override;
    Setting<uint8> getConfBmcIpv6NumberOfAddresses(const KOLMKey& key) override;
    Setting<uint8> getConfBmcIpv6StaticAddrSrc(const KOLMKey& key) override;
    Setting<uint16> getConfCIMRecordLogLanguage(const KOLMKey& key) override;
    Text getConfCabinetLocation() override;
    Setting<uint8> getConfCriticalTempThresh(const KOLMKey& key) override;
    Setting<uint8> getConfDisableFanTest() override;
    Setting<uint16> getConfErrorOffRestartTime() override;
    Setting<uint16> getConfFanDailyTestTime() override;
    Setting<uint8> getConfFanFailBehavior(const KOLMKey& key) override;
    Setting<uint16> getConfFanFailShutdownDelay(const KOLMKey& key) override;
    Setting<uint8> getConfNextBootSource() override;
    Setting<uint32> getConfPSUNumberRequired() override;
    Setting<uint8> getConfPSURedundancyMode() override;
    Setting<uint16> getConfPowerLimitModePeriod(const KOLMKey& key) override;
    Setting<uint16> getConfPowerLimitModeThreshold(const KOLMKey& key) override;
    Setting<uint16> getConfRebootRetryCountResetDelay() override;
    Setting<uint8> getConfRebootRetryCounter() override;
    Setting<uint8> getConfRetryCounterMax() override;
    Setting<uint8> getConfRetryZeroAction() override;
    Text getConfServerAssetTag() override;
    Text getConfServerMgmtIpAddress() override;
    Setting<uint32> getConfSysShutdownStartDelay() override;
    Text getConfSystemContact() override;
    Text getConfSystemName() override;
    Setting<uint8> getConfTempCriticalBehavior(const KOLMKey& key) override;
    Setting<sint32> getConfTimeZone() override;
    Setting<uint8> getConfWarningTempThresh(const KOLMKey& key) override;

    // SettingWrites.cpp
    void setConfCIMRecordLogLanguage(const KOLMKey& key, uint16 value) override;
    void setConfCabinetLocation(const KOLMKey& key, const cimple::String& value) override;
    void setConfDisableFanTest(const KOLMKey& key, uint8 value) override;
    void setConfErrorOffRestartTime(const KOLMKey& key, uint16 value) override;
    void setConfFanDailyTestTime(const KOLMKey& key, uint16 value) override;
    void setConfFanFailBehavior(const KOLMKey& key, uint8 value) override;
    void setConfFanFailShutdownDelay(const KOLMKey& key, uint16 value) override;
    void setConfNextBootSource(const KOLMKey& key, uint8 value) override;
    void setConfRebootRetryCountResetDelay(const KOLMKey& key, uint16 value) override;
    void setConfRebootRetryCounter(const KOLMKey& key, uint8 value) override;
    void setConfRetryCounterMax(const KOLMKey& key, uint8 value) override;
    void setConfRetryZeroAction(const KOLMKey& key, uint8 value) override;
    void setConfServerAssetTag(const KOLMKey& key, const cimple::String& value) override;
    void setConfServerMgmtIpAddress(const KOLMKey& key, const cimple::String& value) override;
    void setConfSysShutdownStartDelay(const KOLMKey& key, uint32 value) override;
    void setConfSystemContact(const KOLMKey& key, const cimple::String& value) override;
    void setConfTempCriticalBehavior(const KOLMKey& key, uint8 value) override;

    // SettingChoices.cpp
    Setting<boolean> getConfMessageLogNoWrap(const KOLMKey& key) override;
    Setting<sint32> getConfWatchdogBehavior(const KOLMKey& key) override;
    Setting<sint32> getConfWatchdogEnable(const KOLMKey& key) override;
    boolean getConfWatchdogPresent(const KOLMKey& key) override;
    Setting<sint32> getConfWatchdogTime(const KOLMKey& key) override;

    // LogCalls.cpp
    void doClearLog(const KOLMKey& key) override;
    std::vector<provider::LogMessage> getLogMessageReadChunk(const KOLMKey& key) override;

    // CabinetList.cpp
    std::vector<uint32> getCabNrs() override;

    // ComponentRelation.cpp
    KOLMKey getComponentRelationParent(const KOLMKey& key) override;

    // ScanCalls.cpp
    std::vector<KOLMKey> getControllerCardKeys(uint32 cabinetNr) override;
    std::vector<provider::IdentityInfo> getIdentityInfo(const KOLMKey& key) override;
    void openControllerCardSession(uint32 cabinetNr) override;

    // ControllerCalls.cpp
    Text getControllerComponentID(const KOLMKey& key) override;
    Text getControllerLocationKey(const KOLMKey& key) override;
    std::vector<KOLMKey> getLANControllers(uint32 cabinetNr) override;
    Text getLocationKey(const KOLMKey& key) override;
    std::vector<KOLMKey> getSCSIControllers(uint32 cabinetNr) override;
    std::vector<KOLMKey> getWANControllers(uint32 cabinetNr) override;

    // ElementCalls.cpp
    Text getElementDescription(const KOLMKey& key) override;
    Text getElementInstanceID(const KOLMKey& key) override;
    Date getElementManufactureDate(const KOLMKey& key) override;
    Text getElementManufacturer(const KOLMKey& key) override;
    Text getElementName(const KOLMKey& key) override;
    Text getElementPartNumber(const KOLMKey& key) override;
    Text getElementSerialNumber(const KOLMKey& key) override;
    Text getElementVersion(const KOLMKey& key) override;

    // AlarmIdentity.cpp
    Text getConfAlarmQORVAId() override;
    void setConfAlarmQORVAId(const KOLMKey& key, const cimple::String& value) override;

    // PciCalls.cpp
    bool getDeviceInfoReadBusConfig(const KOLMKey& key, provider::PciDeviceInfo& info) override;
    std::vector<uint32> getPciBusInfoDeviceList(uint32 cabinetNr) override;

    // PowerHistory.cpp
    std::vector<provider::PowerUsage> getUtilizationHistorySystemPowerConsumption(
        const KOLMKey& key) override;

    // StatusTreeCalls.cpp
    Text getStatusTreeNodeAssociationKey(const KOLMKey& key, const cimple::String& name) override;
    uint8 getStatusTreeNodeCSSStatus(const KOLMKey& key, const cimple::String& name) override;
    Text getStatusTreeNodeDesignation(const KOLMKey& key, const cimple::String& name) override;
    uint8 getStatusTreeNodeGELStatus(const KOLMKey& key, const cimple::String& name) override;
    Text getStatusTreeNodeGetChild(const KOLMKey& key, const cimple::String& name) override;
    uint8 getStatusTreeNodeIsCSS(const KOLMKey& key, const cimple::String& name) override;
    uint32 getStatusTreeNodeNrChildren(const KOLMKey& key, const cimple::String& name) override;
    uint8 getStatusTreeSystemStatus() override;

    // Kolm.cpp
    int passThroughRequest(SipJson& record) override;

  private:
    /// A text of the element table: what the cache calls it and, for the classes outside of the
    /// cache, the attribute that the agent is asked for.
    struct ElementText {
        const char* call;
        const char* label;
        unsigned int index;
        std::optional<unsigned int> attribute;
    };

    Text elementText(const ElementText& wanted, const KOLMKey& key) const;
    std::vector<KOLMKey> cachedControllers(const char* call, uint32 cabinetNr,
                                           unsigned int componentClass) const;
    Text cachedControllerText(const char* call, const KOLMKey& key, unsigned int index) const;

    CallEngine engine_;
    IdentityCache identities_;
    uint32 timeZoneMinutes_ = 0;
};

}  // namespace varnock::calls
