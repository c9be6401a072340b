#pragma once

#include <cimple/Array.h>
#include <cimple/Datetime.h>
#include <cimple/Property.h>
#include <cimple/String.h>
#include <cimple/config.h>

#include <vector>

#include "CIM/Provider/Include/KOLMKey.h"
#include "CIM/Provider/Include/Records.h"
#include "CIM/Provider/Include/ShPtr.h"
#include "util/Export.h"

class SipJson;

namespace provider {

class KOLMClient;

/// Selects the first of the two operations named getUmDiffComponentSubType().
struct UmDiffAlternate {};

/// The catalogue of typed hardware calls. Each sends one agent command, or a short sequence of
/// them, and decodes the reply. newKOLMCalls() makes the object.
///
/// Arguments: a counting call takes a cabinet number, most others a key. The key's cabinetNr and
/// objectId address the component; its opCodeExt matters only where a comment names it. Calls about
/// the whole system take nothing, and the setters among them ignore their key.
///
/// Results: when the request fails, or the reply has no data of the expected kind, a number is 0, a
/// property null and a list empty, and a failed request is traced at level 1. Numbers are cut to
/// the width of their type. Values that a comment calls coded are the agent's own numbers. A setter
/// takes what the getter of its name gives.
///
/// Exceptions: an operation whose comment says that it throws raises BaseException when the request
/// fails. A tolerated status is 19 or 25, an ordinary negative answer: such a call gives 0. From
/// every operation that sends, the client's own exceptions pass through unchanged, such as
/// CimErrorException when the agent refuses access. No standard exception leaves a call: lack of
/// memory counts as a failed request.
///
/// Thread-safety: any thread may call any operation, as far as the client's request() allows it.
/// Each call uses a record of its own; the controllers that openControllerCardSession() reads are
/// kept under a lock.
///
/// The order of the operations is binding: users reach them by their position, which the numbers in
/// the comments count. It is alphabetical, capitals first, with two exceptions that stay:
/// getFanManufacturerDate() and the first getUmDiffComponentSubType(). New operations go behind the
/// last one.
class VARNOCK_EXPORT KOLMCalls {
  public:
    /// A text; null when the agent has none.
    using Text = cimple::Property<cimple::String>;
    /// A day as a CIM datetime; null when the agent has none that can be understood.
    using Date = cimple::Property<cimple::Datetime>;
    /// An address as the agent sends it, 4 or 16 bytes as a rule; null when it has none.
    using Bytes = cimple::Property<cimple::Array<cimple::uint8>>;

    KOLMCalls() = default;
    KOLMCalls(const KOLMCalls&) = delete;
    KOLMCalls& operator=(const KOLMCalls&) = delete;

    // 0

    /// Clears the system log, then the message log. Stops at the first that fails; failures are
    /// only traced.
    virtual void doClearLog(const KOLMKey& key) = 0;
    /// Asks for a shutdown and power-off. A failure is only traced.
    virtual void doRequestShutdownAndOff() = 0;
    /// Asks for a shutdown and restart. A failure is only traced.
    virtual void doRequestShutdownAndReset() = 0;
    /// Tells that a requested shutdown was called off. A failure is only traced.
    virtual void doShutdownRequestCancelled() = 0;
    /// Version text of the management agent.
    virtual Text getAgentVersion(const KOLMKey& key) = 0;
    /// Model name of a blade controller.
    virtual Text getBladeControllerModel(const KOLMKey& key) = 0;
    /// Number of the processor that the system booted on.
    virtual cimple::uint32 getBootCPU(const KOLMKey& key) = 0;
    /// Time of the last boot, in seconds since the epoch.
    virtual cimple::uint32 getBootTime(const KOLMKey& key) = 0;
    /// Brand name of a processor.
    virtual Text getCPUBrandName(const KOLMKey& key) = 0;
    /// Size of a processor's cache in KiB; key.opCodeExt is the level of the cache.
    /// Throws unless the failed status is 19 or 25.
    virtual cimple::uint32 getCPUCacheSize(const KOLMKey& key) = 0;

    // 10

    /// Configuration status of a processor, coded.
    virtual cimple::uint8 getCPUConfigurationStatus(const KOLMKey& key) = 0;
    /// Clock of a processor in MHz.
    virtual cimple::uint16 getCPUCurrentSpeed(const KOLMKey& key) = 0;
    /// Description of a processor.
    virtual Text getCPUDescription(const KOLMKey& key) = 0;
    /// Family number of a processor.
    virtual cimple::uint16 getCPUFamily(const KOLMKey& key) = 0;
    /// Always null; sends nothing.
    virtual Text getCPUInstanceID(const KOLMKey& key) = 0;
    /// Date of manufacture of a processor.
    virtual Date getCPUManufactureDate(const KOLMKey& key) = 0;
    /// Manufacturer of a processor.
    virtual Text getCPUManufacturer(const KOLMKey& key) = 0;
    /// Model name of a processor, by another command than getCPUName().
    virtual Text getCPUModelName(const KOLMKey& key) = 0;
    /// Name of a processor as a component.
    virtual Text getCPUName(const KOLMKey& key) = 0;
    /// Part number of a processor.
    virtual Text getCPUPartNumber(const KOLMKey& key) = 0;

    // 20

    /// Serial number of a processor.
    virtual Text getCPUSerialNumber(const KOLMKey& key) = 0;
    /// Label of the socket that a processor sits in.
    virtual Text getCPUSocketDesignation(const KOLMKey& key) = 0;
    /// Status of a processor, coded. Throws unless the failed status is 19 or 25.
    virtual cimple::uint8 getCPUStatus(const KOLMKey& key) = 0;
    /// Stepping number of a processor.
    virtual cimple::uint16 getCPUStepping(const KOLMKey& key) = 0;
    /// Version of a processor.
    virtual Text getCPUVersion(const KOLMKey& key) = 0;
    /// Cabinet numbers: the server's own first, then the storage extensions in the agent's order.
    /// Empty when the agent gives no number. Throws.
    virtual std::vector<cimple::uint32> getCabNrs() = 0;
    /// Model name of a cabinet.
    virtual Text getCabinetModel(const KOLMKey& key) = 0;
    /// Description of the chassis.
    virtual Text getChassisDescription(const KOLMKey& key) = 0;
    /// Always null; sends nothing.
    virtual Text getChassisInstanceID(const KOLMKey& key) = 0;
    /// Date of manufacture of the chassis.
    virtual Date getChassisManufactureDate(const KOLMKey& key) = 0;

    // 30

    /// Manufacturer of the chassis.
    virtual Text getChassisManufacturer(const KOLMKey& key) = 0;
    /// Model name of the chassis; the same text as its name.
    virtual Text getChassisModel(const KOLMKey& key) = 0;
    /// Name of the chassis.
    virtual Text getChassisName(const KOLMKey& key) = 0;
    /// Part number of the chassis.
    virtual Text getChassisPartNumber(const KOLMKey& key) = 0;
    /// Serial number of the cabinet, which names the computer system.
    virtual Text getChassisSerialNumber(const KOLMKey& key) = 0;
    /// Version of the chassis. Asks the whole system whatever the key's cabinet.
    virtual Text getChassisVersion(const KOLMKey& key) = 0;
    /// The component that holds the key's component: class in opCodeExt, object and cabinet. All
    /// three are 0xFFFFFFFF when there is none. key.opCodeExt is the class asked about.
    virtual KOLMKey getComponentRelationParent(const KOLMKey& key) = 0;
    /// Identity text of the alarm service, found by trying the object numbers from 0; null when
    /// none of the first 19 holds it.
    virtual Text getConfAlarmQORVAId() = 0;
    /// Bytes of the management controller's default gateway address.
    virtual Bytes getConfBMCGateway(const KOLMKey& key) = 0;
    /// HTTP port of the management controller.
    virtual cimple::Property<cimple::uint16> getConfBMCHttpPort(const KOLMKey& key) = 0;

    // 40

    /// HTTPS port of the management controller.
    virtual cimple::Property<cimple::uint16> getConfBMCHttpsPort(const KOLMKey& key) = 0;
    /// Bytes of the management controller's IP address.
    virtual Bytes getConfBMCIpAddr(const KOLMKey& key) = 0;
    /// Whether IPv4 is on in the management controller.
    virtual cimple::Property<cimple::boolean> getConfBMCIpv4Enabled(const KOLMKey& key) = 0;
    /// Whether IPv6 is on in the management controller.
    virtual cimple::Property<cimple::boolean> getConfBMCIpv6Enabled(const KOLMKey& key) = 0;
    /// MAC address of the management controller, twelve hexadecimal digits; null when it is all
    /// zero.
    virtual Text getConfBMCMACAddr(const KOLMKey& key) = 0;
    /// Bytes of the management controller's IP netmask.
    virtual Bytes getConfBMCNetmask(const KOLMKey& key) = 0;
    /// SSH port of the management controller.
    virtual cimple::Property<cimple::uint16> getConfBMCSshPort(const KOLMKey& key) = 0;
    /// Telnet port of the management controller.
    virtual cimple::Property<cimple::uint16> getConfBMCTelnetPort(const KOLMKey& key) = 0;
    /// Whether the management controller gets its address by DHCP.
    virtual cimple::Property<cimple::boolean> getConfBMCUseDHCP(const KOLMKey& key) = 0;
    /// Bytes of the management controller's IPv6 address.
    virtual Bytes getConfBmcIpv6Address(const KOLMKey& key) = 0;

    // 50

    /// Prefix length in bits of the IPv6 address with this object number.
    virtual cimple::Property<cimple::uint8> getConfBmcIpv6AddressPrefixLength(
        const KOLMKey& key) = 0;
    /// Type of the IPv6 address with this object number, coded.
    virtual cimple::Property<cimple::uint8> getConfBmcIpv6AddressType(const KOLMKey& key) = 0;
    /// Bytes of the gateway of the IPv6 address with this object number.
    virtual Bytes getConfBmcIpv6GatewayAddress(const KOLMKey& key) = 0;
    /// How many IPv6 addresses the management controller has.
    virtual cimple::Property<cimple::uint8> getConfBmcIpv6NumberOfAddresses(const KOLMKey& key) = 0;
    /// Source of the static IPv6 address with this object number, coded.
    virtual cimple::Property<cimple::uint8> getConfBmcIpv6StaticAddrSrc(const KOLMKey& key) = 0;
    /// Language number of the log texts.
    virtual cimple::Property<cimple::uint16> getConfCIMRecordLogLanguage(const KOLMKey& key) = 0;
    /// Text that says where the cabinet stands.
    virtual Text getConfCabinetLocation() = 0;
    /// Critical threshold of a temperature sensor, in degrees Celsius.
    virtual cimple::Property<cimple::uint8> getConfCriticalTempThresh(const KOLMKey& key) = 0;
    /// Whether the fan test is off (1) or on (0).
    virtual cimple::Property<cimple::uint8> getConfDisableFanTest() = 0;
    /// Waiting time before the restart after a power-off by error, in the agent's unit.
    virtual cimple::Property<cimple::uint16> getConfErrorOffRestartTime() = 0;

    // 60

    /// Time of day of the fan test, in the agent's unit.
    virtual cimple::Property<cimple::uint16> getConfFanDailyTestTime() = 0;
    /// What the system does when this fan fails, coded.
    virtual cimple::Property<cimple::uint8> getConfFanFailBehavior(const KOLMKey& key) = 0;
    /// Delay of the shutdown after this fan has failed, in the agent's unit.
    virtual cimple::Property<cimple::uint16> getConfFanFailShutdownDelay(const KOLMKey& key) = 0;
    /// Whether the message log stops when it is full instead of overwriting. True at once, without
    /// a request, when key.objectId is not 0.
    virtual cimple::Property<cimple::boolean> getConfMessageLogNoWrap(const KOLMKey& key) = 0;
    /// Source of the next boot, coded.
    virtual cimple::Property<cimple::uint8> getConfNextBootSource() = 0;
    /// How many power supplies the system needs.
    virtual cimple::Property<cimple::uint32> getConfPSUNumberRequired() = 0;
    /// Redundancy mode of the power supplies, coded.
    virtual cimple::Property<cimple::uint8> getConfPSURedundancyMode() = 0;
    /// Period of the power limit with this object number, in the agent's unit.
    virtual cimple::Property<cimple::uint16> getConfPowerLimitModePeriod(const KOLMKey& key) = 0;
    /// Threshold of the power limit with this object number, in the agent's unit.
    virtual cimple::Property<cimple::uint16> getConfPowerLimitModeThreshold(const KOLMKey& key) = 0;
    /// Delay after which the counter of reboot attempts is reset, in the agent's unit.
    virtual cimple::Property<cimple::uint16> getConfRebootRetryCountResetDelay() = 0;

    // 70

    /// Reboot attempts left.
    virtual cimple::Property<cimple::uint8> getConfRebootRetryCounter() = 0;
    /// Largest number of reboot attempts.
    virtual cimple::Property<cimple::uint8> getConfRetryCounterMax() = 0;
    /// What the system does when no reboot attempt is left, coded.
    virtual cimple::Property<cimple::uint8> getConfRetryZeroAction() = 0;
    /// Asset tag of the server.
    virtual Text getConfServerAssetTag() = 0;
    /// IP address of the management server, as text.
    virtual Text getConfServerMgmtIpAddress() = 0;
    /// Delay before a requested shutdown starts, in the agent's unit.
    virtual cimple::Property<cimple::uint32> getConfSysShutdownStartDelay() = 0;
    /// Contact person of the system.
    virtual Text getConfSystemContact() = 0;
    /// Name of the system.
    virtual Text getConfSystemName() = 0;
    /// What the system does when this sensor reaches its critical threshold, coded.
    virtual cimple::Property<cimple::uint8> getConfTempCriticalBehavior(const KOLMKey& key) = 0;
    /// Offset of local time from UTC, in hours; negative to the west.
    virtual cimple::Property<cimple::sint32> getConfTimeZone() = 0;

    // 80

    /// Warning threshold of a temperature sensor, in degrees Celsius.
    virtual cimple::Property<cimple::uint8> getConfWarningTempThresh(const KOLMKey& key) = 0;
    /// What a watchdog does when it runs out, coded. A key.objectId other than 0 selects
    /// one of the two watchdogs, 0 the other; so with all watchdog reads.
    virtual cimple::Property<cimple::sint32> getConfWatchdogBehavior(const KOLMKey& key) = 0;
    /// Whether a watchdog is on, coded.
    virtual cimple::Property<cimple::sint32> getConfWatchdogEnable(const KOLMKey& key) = 0;
    /// Whether there is such a watchdog: true when getConfWatchdogEnable() has a value.
    virtual cimple::boolean getConfWatchdogPresent(const KOLMKey& key) = 0;
    /// Time after which a watchdog runs out, in the agent's unit.
    virtual cimple::Property<cimple::sint32> getConfWatchdogTime(const KOLMKey& key) = 0;
    /// Keys of the controllers that a component scan finds: opCodeExt is the class, 12, 13 or 14,
    /// and objectId the number in the scan. Empty when the agent opens no scan. Throws when it
    /// cannot count.
    virtual std::vector<KOLMKey> getControllerCardKeys(cimple::uint32 cabinetNr) = 0;
    /// Component id of a controller that openControllerCardSession() has read. Throws when it has
    /// not.
    virtual Text getControllerComponentID(const KOLMKey& key) = 0;
    /// Location of a controller that openControllerCardSession() has read. Throws when it has not.
    virtual Text getControllerLocationKey(const KOLMKey& key) = 0;
    /// Model name of the management controller.
    virtual Text getControllerModel() = 0;
    /// Local APIC id of a processor.
    virtual cimple::uint32 getCpuApicId(const KOLMKey& key) = 0;

    // 90

    /// Whether multithreading is on in a processor, coded.
    virtual cimple::uint8 getCpuMultithreadEnabled(const KOLMKey& key) = 0;
    /// Utilisation of a processor in percent; key.opCodeExt selects the measure, 0 for all.
    virtual cimple::uint8 getCpuUsage(const KOLMKey& key) = 0;
    /// Speed of a fan in revolutions per minute.
    virtual cimple::uint16 getCurrentFanSpeed(const KOLMKey& key) = 0;
    /// Reading of a temperature sensor in degrees Celsius.
    virtual cimple::uint8 getCurrentTemperature(const KOLMKey& key) = 0;
    /// Reading of a voltage in millivolts.
    virtual cimple::uint16 getCurrentVoltage(const KOLMKey& key) = 0;
    /// Reads the configuration header of a PCI function and fills `info` from it. key.objectId is
    /// the address: bus in bits 16 to 23, device in 8 to 15, function in 0 to 7. False, with `info`
    /// untouched, when the request fails or the header is not valid.
    virtual bool getDeviceInfoReadBusConfig(const KOLMKey& key, PciDeviceInfo& info) = 0;
    /// Status that the driver monitor gives the cabinet's components, coded.
    virtual cimple::uint8 getDrvMonComponentStatusByAddress(const KOLMKey& key) = 0;
    /// Event id of a driver monitor entry.
    virtual cimple::uint32 getDrvMonEventId(const KOLMKey& key) = 0;
    /// Text of a driver monitor entry; key.opCodeExt selects the language.
    virtual Text getDrvMonEventMessageText(const KOLMKey& key) = 0;
    /// Severity of a driver monitor entry, coded.
    virtual cimple::uint8 getDrvMonEventSeverity(const KOLMKey& key) = 0;

    // 100

    /// Time of a driver monitor entry, in seconds since the epoch.
    virtual cimple::uint32 getDrvMonEventTimestamp(const KOLMKey& key) = 0;
    /// How many entries the driver monitor has.
    virtual cimple::uint32 getDrvMonNumberEvents(const KOLMKey& key) = 0;
    /// Description of an element.
    virtual Text getElementDescription(const KOLMKey& key) = 0;
    /// Instance id of an element of class 12, 13 or 14; null for every other class.
    virtual Text getElementInstanceID(const KOLMKey& key) = 0;
    /// Date of manufacture of an element.
    virtual Date getElementManufactureDate(const KOLMKey& key) = 0;
    /// Manufacturer of an element.
    virtual Text getElementManufacturer(const KOLMKey& key) = 0;
    /// Name of an element.
    virtual Text getElementName(const KOLMKey& key) = 0;
    /// Part number of an element.
    virtual Text getElementPartNumber(const KOLMKey& key) = 0;
    /// Serial number of an element.
    virtual Text getElementSerialNumber(const KOLMKey& key) = 0;
    /// Version of an element.
    virtual Text getElementVersion(const KOLMKey& key) = 0;

    // 110

    /// Logical processors in use in one physical processor.
    virtual cimple::uint8 getEnabledLogicalCPUsPerPhysical(const KOLMKey& key) = 0;
    /// Description of a fan.
    virtual Text getFanDescription(const KOLMKey& key) = 0;
    /// Label of a fan.
    virtual Text getFanDesignation(const KOLMKey& key) = 0;
    /// Always null; sends nothing.
    virtual Text getFanInstanceID(const KOLMKey& key) = 0;
    /// Date of manufacture of a fan.
    virtual Date getFanManufacturerDate(const KOLMKey& key) = 0;
    /// Manufacturer of a fan.
    virtual Text getFanManufacturer(const KOLMKey& key) = 0;
    /// Name of a fan.
    virtual Text getFanName(const KOLMKey& key) = 0;
    /// Part number of a fan.
    virtual Text getFanPartNumber(const KOLMKey& key) = 0;
    /// Quality of a fan in percent.
    virtual cimple::uint8 getFanQuality(const KOLMKey& key) = 0;
    /// Serial number of a fan.
    virtual Text getFanSerialNumber(const KOLMKey& key) = 0;

    // 120

    /// Status of a fan, coded. Throws unless the failed status is 19 or 25.
    virtual cimple::uint8 getFanStatus(const KOLMKey& key) = 0;
    /// Version of a fan.
    virtual Text getFanVersion(const KOLMKey& key) = 0;
    /// Whether the front door is open, coded.
    virtual cimple::uint8 getFrontDoorStatus() = 0;
    /// Number of the physical processor that a logical one belongs to.
    virtual cimple::uint32 getGetPhysicalCpuNr(const KOLMKey& key) = 0;
    /// Whether the housing is open, coded.
    virtual cimple::uint8 getHousingOpenStatus() = 0;
    /// Address of the administration page, with an IPv4 address.
    virtual Text getIdentificationAdminURLIpv4() = 0;
    /// Address of the administration page, with an IPv6 address.
    virtual Text getIdentificationAdminURLIpv6() = 0;
    /// Address of the administration page, with a host name.
    virtual Text getIdentificationAdminURLasFQDN() = 0;
    /// Cabinet number of this node. Throws.
    virtual cimple::uint32 getIdentificationCabinetNumber() = 0;
    /// Type of a cabinet, coded.
    virtual cimple::uint8 getIdentificationCabinetType(cimple::uint32 cabinetNr) = 0;

    // 130

    /// Number of the cabinet that holds this one as a chassis.
    virtual cimple::uint32 getIdentificationChassisCabinetNumber(cimple::uint32 cabinetNr) = 0;
    /// Bytes of the default gateway address of the parent's management controller.
    virtual Bytes getIdentificationParentGateway(const KOLMKey& key) = 0;
    /// Bytes of the IP address of the parent's management controller.
    virtual Bytes getIdentificationParentIpAddress(const KOLMKey& key) = 0;
    /// MAC address of the parent's management controller, twelve hexadecimal digits; null when it
    /// is all zero.
    virtual Text getIdentificationParentMacAddress(const KOLMKey& key) = 0;
    /// Bytes of the IP netmask of the parent's management controller.
    virtual Bytes getIdentificationParentNetmask(const KOLMKey& key) = 0;
    /// Whether the parent's management controller gets its address by DHCP, coded.
    virtual cimple::uint8 getIdentificationParentUseDHCP(const KOLMKey& key) = 0;
    /// What the components of the key's cabinet say about themselves, in the order of the scan;
    /// those without a name or version are left out. Throws when the scan cannot be opened or
    /// counted.
    virtual std::vector<IdentityInfo> getIdentityInfo(const KOLMKey& key) = 0;
    /// Keys of the LAN controllers (class 13) that openControllerCardSession() has read. Sends
    /// nothing.
    virtual std::vector<KOLMKey> getLANControllers(cimple::uint32 cabinetNr) = 0;
    /// How many LVD extenders the cabinet has.
    virtual cimple::uint8 getLVDExtenders(cimple::uint32 cabinetNr) = 0;
    /// Always null; sends nothing.
    virtual Text getLocationKey(const KOLMKey& key) = 0;

    // 140

    /// Whether the message log is available, coded.
    virtual cimple::uint8 getLogAvailable(const KOLMKey& key) = 0;
    /// What to do about the log message with the number key.opCodeExt.
    virtual Text getLogMessageActionSummary(const KOLMKey& key) = 0;
    /// Causes of the log message with the number key.opCodeExt, one a line; null without data.
    virtual Text getLogMessageCauseRead(const KOLMKey& key) = 0;
    /// How many entries the message log has.
    virtual cimple::uint32 getLogMessageNrEntries(const KOLMKey& key) = 0;
    /// Entries of the message log as one reply holds them, beginning at key.objectId; key.opCodeExt
    /// goes with the request. Empty when there are none.
    virtual std::vector<LogMessage> getLogMessageReadChunk(const KOLMKey& key) = 0;
    /// Resolutions of the log message with the number key.opCodeExt, one a line; null without data.
    virtual Text getLogMessageResolutionRead(const KOLMKey& key) = 0;
    /// Language numbers in which the log texts exist; empty when none are known.
    virtual std::vector<cimple::uint16> getLogMessageTextLanguages(const KOLMKey& key) = 0;
    /// Logical processors in one physical processor.
    virtual cimple::uint8 getLogicalCPUsPerPhysical(const KOLMKey& key) = 0;
    /// Description of an MMB service processor container.
    virtual Text getMMBServiceProcessorContainerDescription(const KOLMKey& key) = 0;
    /// Always null; sends nothing.
    virtual Text getMMBServiceProcessorContainerInstanceID(const KOLMKey& key) = 0;

    // 150

    /// Date of manufacture of an MMB service processor container.
    virtual Date getMMBServiceProcessorContainerManufactureDate(const KOLMKey& key) = 0;
    /// Manufacturer of an MMB service processor container.
    virtual Text getMMBServiceProcessorContainerManufacturer(const KOLMKey& key) = 0;
    /// Model name of an MMB service processor container; the same text as its name.
    virtual Text getMMBServiceProcessorContainerModel(const KOLMKey& key) = 0;
    /// Name of an MMB service processor container.
    virtual Text getMMBServiceProcessorContainerName(const KOLMKey& key) = 0;
    /// Part number of an MMB service processor container.
    virtual Text getMMBServiceProcessorContainerPartNumber(const KOLMKey& key) = 0;
    /// Serial number of an MMB service processor container.
    virtual Text getMMBServiceProcessorContainerSerialNumber(const KOLMKey& key) = 0;
    /// Version of an MMB service processor container.
    virtual Text getMMBServiceProcessorContainerVersion(const KOLMKey& key) = 0;
    /// Status of the management controller, coded.
    virtual cimple::uint8 getManagementControllerStatus() = 0;
    /// How many entries the message log can hold.
    virtual cimple::uint32 getMaxNumberLogEntries(const KOLMKey& key) = 0;
    /// Whether a memory module is approved for the system, coded.
    virtual cimple::uint8 getMemoryModuleApproved(const KOLMKey& key) = 0;

    // 160

    /// Configuration of a memory module, coded.
    virtual cimple::uint8 getMemoryModuleConfiguration(const KOLMKey& key) = 0;
    /// Description of a memory module.
    virtual Text getMemoryModuleDescription(const KOLMKey& key) = 0;
    /// Form factor of a memory module.
    virtual Text getMemoryModuleFormFactor(const KOLMKey& key) = 0;
    /// Frequency of a memory module in MHz.
    virtual cimple::uint32 getMemoryModuleFrequency(const KOLMKey& key) = 0;
    /// Largest frequency of a memory module in MHz.
    virtual cimple::uint32 getMemoryModuleFrequencyMax(const KOLMKey& key) = 0;
    /// Always null; sends nothing.
    virtual Text getMemoryModuleInstanceID(const KOLMKey& key) = 0;
    /// Date of manufacture of a memory module.
    virtual Date getMemoryModuleManufactureDate(const KOLMKey& key) = 0;
    /// Manufacturer of a memory module.
    virtual Text getMemoryModuleManufacturer(const KOLMKey& key) = 0;
    /// Name of a memory module.
    virtual Text getMemoryModuleName(const KOLMKey& key) = 0;
    /// Part number of a memory module.
    virtual Text getMemoryModulePartNumber(const KOLMKey& key) = 0;

    // 170

    /// Serial number of a memory module.
    virtual Text getMemoryModuleSerialNumber(const KOLMKey& key) = 0;
    /// Size of a memory module in MiB.
    virtual cimple::uint32 getMemoryModuleSize(const KOLMKey& key) = 0;
    /// Label of the socket that a memory module sits in.
    virtual Text getMemoryModuleSocketDesignation(const KOLMKey& key) = 0;
    /// Status of a memory module, coded. Throws unless the failed status is 19 or 25.
    virtual cimple::uint8 getMemoryModuleStatus(const KOLMKey& key) = 0;
    /// Type of a memory module, coded.
    virtual cimple::uint8 getMemoryModuleType(const KOLMKey& key) = 0;
    /// Version of a memory module.
    virtual Text getMemoryModuleVersion(const KOLMKey& key) = 0;
    /// Voltage of a memory module, as text.
    virtual Text getMemoryModuleVoltage(const KOLMKey& key) = 0;
    /// Bytes of a network interface's default gateway; key.opCodeExt selects one of several.
    virtual Bytes getNetworkInfoIfDefaultGateway(const KOLMKey& key) = 0;
    /// Bytes of a network interface's IP address; key.opCodeExt selects one of several.
    virtual Bytes getNetworkInfoIfIpAddress(const KOLMKey& key) = 0;
    /// Bytes of a network interface's netmask; key.opCodeExt selects one of several.
    virtual Bytes getNetworkInfoIfIpSubnetMask(const KOLMKey& key) = 0;

    // 180

    /// MAC address of a network interface, twelve hexadecimal digits; null when it is all zero.
    virtual Text getNetworkInfoIfMacAddress(const KOLMKey& key) = 0;
    /// Whether a network interface gets its address by DHCP, coded.
    virtual cimple::uint8 getNetworkInfoIfUseDHCP(const KOLMKey& key) = 0;
    /// How many network interfaces the cabinet has.
    virtual cimple::uint8 getNetworkInfoNumberInterfaces(const KOLMKey& key) = 0;
    /// How many blade controllers the cabinet has.
    virtual cimple::uint8 getNumberBladeControllers(cimple::uint32 cabinetNr) = 0;
    /// How many processors the cabinet has.
    virtual cimple::uint32 getNumberCPUs(cimple::uint32 cabinetNr) = 0;
    /// Cores in one physical processor.
    virtual cimple::uint8 getNumberCoresPerPhysicalCPU(const KOLMKey& key) = 0;
    /// Cores in use in a processor.
    virtual cimple::uint8 getNumberCpuCoresEnabled(const KOLMKey& key) = 0;
    /// How many fans the cabinet has.
    virtual cimple::uint8 getNumberFans(cimple::uint32 cabinetNr) = 0;
    /// How many logical processors the cabinet has.
    virtual cimple::uint8 getNumberLogicalCPUs(const KOLMKey& key) = 0;
    /// How many MMB service processor containers the cabinet has.
    virtual cimple::uint8 getNumberMMBServiceProcessorContainers(cimple::uint32 cabinetNr) = 0;

    // 190

    /// How many memory modules the cabinet has.
    virtual cimple::uint32 getNumberMemoryModules(cimple::uint32 cabinetNr) = 0;
    /// How many microcontrollers the cabinet has.
    virtual cimple::uint8 getNumberMicroControllers(cimple::uint32 cabinetNr) = 0;
    /// How many power supplies the cabinet has.
    virtual cimple::uint8 getNumberPowerSupplies(cimple::uint32 cabinetNr) = 0;
    /// How many service processor containers the cabinet has.
    virtual cimple::uint8 getNumberServiceProcessorContainers(cimple::uint32 cabinetNr) = 0;
    /// How many system boards the cabinet has.
    virtual cimple::uint8 getNumberSystemBoards(cimple::uint32 cabinetNr) = 0;
    /// How many temperature sensors the cabinet has.
    virtual cimple::uint8 getNumberTempSensors(cimple::uint32 cabinetNr) = 0;
    /// How many voltages the cabinet has.
    virtual cimple::uint8 getNumberVoltages(cimple::uint32 cabinetNr) = 0;
    /// Product name of the operating system.
    virtual Text getOSProductName(const KOLMKey& key) = 0;
    /// Version text of the operating system.
    virtual Text getOSVersion(const KOLMKey& key) = 0;
    /// Type of the operating system, in the numbers of the CIM schema.
    virtual cimple::uint32 getOperatingSystemDMTFType(const KOLMKey& key) = 0;

    // 200

    /// Keys of the cabinet's PCI devices: 0x05000000 plus the bus from bit 16 on, the device in
    /// bits 8 to 15 and the function in 0 to 7. A bus number above 0xFF runs over into the top
    /// byte. Throws.
    virtual std::vector<cimple::uint32> getPciBusInfoDeviceList(cimple::uint32 cabinetNr) = 0;
    /// Label of a component of power class key.opCodeExt.
    virtual Text getPowerConsumptionComponentDesignation(const KOLMKey& key) = 0;
    /// Power that a component of class key.opCodeExt takes, in watts.
    virtual cimple::uint32 getPowerConsumptionCurrentValue(const KOLMKey& key) = 0;
    /// Limit status of a component of power class key.opCodeExt, coded.
    virtual cimple::uint8 getPowerConsumptionLimitStatus(const KOLMKey& key) = 0;
    /// How many components power class key.opCodeExt has.
    virtual cimple::uint32 getPowerConsumptionNumberClassComponents(const KOLMKey& key) = 0;
    /// Component classes whose power consumption the agent knows; empty when none.
    virtual std::vector<cimple::uint32> getPowerConsumptionSupportedComponentClasses(
        cimple::uint32 cabinetNr) = 0;
    /// Description of a power supply.
    virtual Text getPowerSupplyDescription(const KOLMKey& key) = 0;
    /// Label of a power supply.
    virtual Text getPowerSupplyDesignation(const KOLMKey& key) = 0;
    /// Always null; sends nothing.
    virtual Text getPowerSupplyInstanceID(const KOLMKey& key) = 0;
    /// Load of a power supply in watts.
    virtual cimple::uint32 getPowerSupplyLoad(const KOLMKey& key) = 0;

    // 210

    /// Date of manufacture of a power supply.
    virtual Date getPowerSupplyManufactureDate(const KOLMKey& key) = 0;
    /// Manufacturer of a power supply.
    virtual Text getPowerSupplyManufacturer(const KOLMKey& key) = 0;
    /// Model name of a power supply; the same text as its name.
    virtual Text getPowerSupplyModel(const KOLMKey& key) = 0;
    /// Name of a power supply.
    virtual Text getPowerSupplyName(const KOLMKey& key) = 0;
    /// Nominal power of a power supply in watts.
    virtual cimple::uint32 getPowerSupplyNominal(const KOLMKey& key) = 0;
    /// Part number of a power supply.
    virtual Text getPowerSupplyPartNumber(const KOLMKey& key) = 0;
    /// Redundancy configuration of the power supplies, coded.
    virtual cimple::uint8 getPowerSupplyRedundancyConfigurationStatus() = 0;
    /// Whether the load still leaves redundancy, coded.
    virtual cimple::uint8 getPowerSupplyRedundancyThresholdStatus() = 0;
    /// Serial number of a power supply.
    virtual Text getPowerSupplySerialNumber(const KOLMKey& key) = 0;
    /// Status of a power supply, coded. Throws unless the failed status is 19 or 25.
    virtual cimple::uint8 getPowerSupplyStatus(const KOLMKey& key) = 0;

    // 220

    /// Version of a power supply.
    virtual Text getPowerSupplyVersion(const KOLMKey& key) = 0;
    /// Keys of the SCSI controllers (class 12) that openControllerCardSession() has read. Sends
    /// nothing.
    virtual std::vector<KOLMKey> getSCSIControllers(cimple::uint32 cabinetNr) = 0;
    /// Description of a service processor container.
    virtual Text getServiceProcessorContainerDescription(const KOLMKey& key) = 0;
    /// Always null; sends nothing.
    virtual Text getServiceProcessorContainerInstanceID(const KOLMKey& key) = 0;
    /// Date of manufacture of a service processor container.
    virtual Date getServiceProcessorContainerManufactureDate(const KOLMKey& key) = 0;
    /// Manufacturer of a service processor container.
    virtual Text getServiceProcessorContainerManufacturer(const KOLMKey& key) = 0;
    /// Model name of a service processor container; the same text as its name.
    virtual Text getServiceProcessorContainerModel(const KOLMKey& key) = 0;
    /// Name of a service processor container.
    virtual Text getServiceProcessorContainerName(const KOLMKey& key) = 0;
    /// Part number of a service processor container.
    virtual Text getServiceProcessorContainerPartNumber(const KOLMKey& key) = 0;
    /// Serial number of a service processor container.
    virtual Text getServiceProcessorContainerSerialNumber(const KOLMKey& key) = 0;

    // 230

    /// Version of a service processor container.
    virtual Text getServiceProcessorContainerVersion(const KOLMKey& key) = 0;
    /// Association key of the status tree node `name`.
    virtual Text getStatusTreeNodeAssociationKey(const KOLMKey& key,
                                                 const cimple::String& name) = 0;
    /// CSS status of the status tree node `name`, coded.
    virtual cimple::uint8 getStatusTreeNodeCSSStatus(const KOLMKey& key,
                                                     const cimple::String& name) = 0;
    /// Label of the status tree node `name`.
    virtual Text getStatusTreeNodeDesignation(const KOLMKey& key, const cimple::String& name) = 0;
    /// GEL status of the status tree node `name`, coded.
    virtual cimple::uint8 getStatusTreeNodeGELStatus(const KOLMKey& key,
                                                     const cimple::String& name) = 0;
    /// Name of child number key.objectId of the status tree node `name`.
    virtual Text getStatusTreeNodeGetChild(const KOLMKey& key, const cimple::String& name) = 0;
    /// Whether the status tree node `name` is a CSS node, coded.
    virtual cimple::uint8 getStatusTreeNodeIsCSS(const KOLMKey& key,
                                                 const cimple::String& name) = 0;
    /// How many children the status tree node `name` has.
    virtual cimple::uint32 getStatusTreeNodeNrChildren(const KOLMKey& key,
                                                       const cimple::String& name) = 0;
    /// Status of the whole system, coded.
    virtual cimple::uint8 getStatusTreeSystemStatus() = 0;
    /// Description of a system board.
    virtual Text getSystemBoardDescription(const KOLMKey& key) = 0;

    // 240

    /// Label of a system board.
    virtual Text getSystemBoardDesignation(const KOLMKey& key) = 0;
    /// Always null; sends nothing.
    virtual Text getSystemBoardInstanceID(const KOLMKey& key) = 0;
    /// Date of manufacture of a system board.
    virtual Date getSystemBoardManufactureDate(const KOLMKey& key) = 0;
    /// Manufacturer of a system board.
    virtual Text getSystemBoardManufacturer(const KOLMKey& key) = 0;
    /// Model name of a system board; the same text as its name.
    virtual Text getSystemBoardModel(const KOLMKey& key) = 0;
    /// Name of a system board.
    virtual Text getSystemBoardName(const KOLMKey& key) = 0;
    /// Part number of a system board.
    virtual Text getSystemBoardPartNumber(const KOLMKey& key) = 0;
    /// Serial number of a system board.
    virtual Text getSystemBoardSerialNumber(const KOLMKey& key) = 0;
    /// Version of a system board.
    virtual Text getSystemBoardVersion(const KOLMKey& key) = 0;
    /// Shutdown status of the system, coded.
    virtual cimple::uint8 getSystemShutdownStatus() = 0;

    // 250

    /// Time of the system, in seconds since the epoch.
    virtual cimple::uint32 getSystemTime(const KOLMKey& key) = 0;
    /// UUID of the system.
    virtual Text getSystemUUID() = 0;
    /// Label of a temperature sensor.
    virtual Text getTempSensorDesignation(const KOLMKey& key) = 0;
    /// What a temperature sensor is for, coded. Throws unless the failed status is 19 or 25.
    virtual cimple::uint8 getTempSensorPurpose(const KOLMKey& key) = 0;
    /// Status of a temperature sensor, coded. Throws unless the failed status is 19 or 25.
    virtual cimple::uint8 getTempSensorStatus(const KOLMKey& key) = 0;
    /// Why an available update cannot be applied.
    virtual Text getUmDiffApplicableErrorTxt(const KOLMKey& key) = 0;
    /// Whether an available update can be applied, coded.
    virtual cimple::uint8 getUmDiffApplicableStatus(const KOLMKey& key) = 0;
    /// Whether the file of an available update has been downloaded, coded.
    virtual cimple::uint8 getUmDiffBinaryLoaded(const KOLMKey& key) = 0;
    /// Component id of an available update.
    virtual Text getUmDiffComponentId(const KOLMKey& key) = 0;
    /// The second subtype of an available update; `UmDiffAlternate{}` selects this operation.
    virtual Text getUmDiffComponentSubType(const KOLMKey& key, UmDiffAlternate) = 0;

    // 260

    /// Path of the component that an available update is for.
    virtual Text getUmDiffComponentPath(const KOLMKey& key) = 0;
    /// Subtype of the component that an available update is for.
    virtual Text getUmDiffComponentSubType(const KOLMKey& key) = 0;
    /// Type of the component that an available update is for.
    virtual Text getUmDiffComponentType(const KOLMKey& key) = 0;
    /// Version of an available update.
    virtual Text getUmDiffComponentVersion(const KOLMKey& key) = 0;
    /// Download size of an available update, in the agent's unit.
    virtual cimple::uint32 getUmDiffDownloadSize(const KOLMKey& key) = 0;
    /// Time that installing an available update takes, in the agent's unit.
    virtual cimple::uint32 getUmDiffInstallDuration(const KOLMKey& key) = 0;
    /// Version that an available update replaces.
    virtual Text getUmDiffInstalledVersion(const KOLMKey& key) = 0;
    /// Whether an available update is mandatory, coded.
    virtual cimple::uint8 getUmDiffIsMandatoryComponent(const KOLMKey& key) = 0;
    /// Least installed version that an available update needs.
    virtual Text getUmDiffMinStepVersion(const KOLMKey& key) = 0;
    /// How many updates are available. Throws unless the failed status is 19 or 25.
    virtual cimple::uint32 getUmDiffNumberComponents(const KOLMKey& key) = 0;

    // 270

    /// What an available update requires first.
    virtual Text getUmDiffPreRequisitesText(const KOLMKey& key) = 0;
    /// Version of the platform package that holds an available update.
    virtual Text getUmDiffRabVersion(const KOLMKey& key) = 0;
    /// Whether an available update needs a reboot, coded.
    virtual cimple::uint8 getUmDiffRebootRequired(const KOLMKey& key) = 0;
    /// Release notes of an available update.
    virtual Text getUmDiffReleaseNotes(const KOLMKey& key) = 0;
    /// How an available update ranks against what is installed, coded.
    virtual cimple::uint8 getUmDiffRepos2InstRanking(const KOLMKey& key) = 0;
    /// Severity that the vendor gives an available update, coded.
    virtual cimple::uint8 getUmDiffUpdateVendorSeverity(const KOLMKey& key) = 0;
    /// Vendor of an available update.
    virtual Text getUmDiffVendor(const KOLMKey& key) = 0;
    /// Subtype of an installed component.
    virtual Text getUmInstalledComponentSubType(const KOLMKey& key) = 0;
    /// Type of an installed component.
    virtual Text getUmInstalledComponentType(const KOLMKey& key) = 0;
    /// Version of an installed component.
    virtual Text getUmInstalledComponentVersion(const KOLMKey& key) = 0;

    // 280

    /// How many installed components update management knows.
    /// Throws unless the failed status is 19 or 25.
    virtual cimple::uint32 getUmInstalledNumberComponents(const KOLMKey& key) = 0;
    /// PCI id of an installed component.
    virtual Text getUmInstalledPCIId(const KOLMKey& key) = 0;
    /// Version of the platform package that an installed component came with.
    virtual Text getUmInstalledRABVersion(const KOLMKey& key) = 0;
    /// Status of the check of the update configuration, coded.
    virtual cimple::uint8 getUmServerConfigCheckStatus(const KOLMKey& key) = 0;
    /// Time of the last check for updates, in seconds since the epoch.
    virtual cimple::uint32 getUmServerLastCheckTime(const KOLMKey& key) = 0;
    /// Status of update management, coded.
    virtual cimple::uint8 getUmServerStatus() = 0;
    /// Error code of the last check for updates.
    virtual cimple::uint32 getUmServerUpdateCheckErrorCode(const KOLMKey& key) = 0;
    /// Log file of the last check for updates.
    virtual Text getUmServerUpdateCheckLogFile(const KOLMKey& key) = 0;
    /// Status of the last check for updates, coded.
    virtual cimple::uint8 getUmServerUpdateCheckStatus(const KOLMKey& key) = 0;
    /// Power consumption samples of the history key.opCodeExt, in the agent's order; entries that
    /// it marks as void are left out. Empty when there are none.
    virtual std::vector<PowerUsage> getUtilizationHistorySystemPowerConsumption(
        const KOLMKey& key) = 0;

    // 290

    /// Utilisation of the system's memory in percent; objectId selects the measure, 0 for all.
    virtual cimple::uint32 getUtilizationSystemMemory(cimple::uint32 objectId) = 0;
    /// Label of a voltage.
    virtual Text getVoltageDesignation(const KOLMKey& key) = 0;
    /// Nominal value of a voltage in millivolts.
    virtual cimple::uint16 getVoltageNominal(const KOLMKey& key) = 0;
    /// Status of a voltage, coded. Throws unless the failed status is 19 or 25.
    virtual cimple::uint8 getVoltageStatus(const KOLMKey& key) = 0;
    /// Thresholds of a voltage in millivolts, in the agent's order; empty when none are known.
    virtual std::vector<cimple::uint16> getVoltageThresholds(const KOLMKey& key) = 0;
    /// Keys of the WAN controllers (class 14) that openControllerCardSession() has read. Sends
    /// nothing.
    virtual std::vector<KOLMKey> getWANControllers(cimple::uint32 cabinetNr) = 0;
    /// Reads the cabinet's controllers (classes 12, 13 and 14) for the element and controller
    /// calls; adds to what was read before. Does nothing when the agent opens no scan. Throws when
    /// it cannot count.
    virtual void openControllerCardSession(cimple::uint32 cabinetNr) = 0;
    /// Sends the caller's record and returns the client's result; the record becomes the reply.
    virtual int passThroughRequest(SipJson& record) = 0;
    /// Not implemented: sends nothing.
    virtual void setConfAlarmQORVAId(const KOLMKey& key, const cimple::String& value) = 0;
    /// Sets the language number of the log texts. The one setter whose failure is only traced.
    virtual void setConfCIMRecordLogLanguage(const KOLMKey& key, cimple::uint16 value) = 0;

    // 300

    /// Sets the text that says where the cabinet stands. Throws.
    virtual void setConfCabinetLocation(const KOLMKey& key, const cimple::String& value) = 0;
    /// Switches the fan test off (1) or on (0). Throws.
    virtual void setConfDisableFanTest(const KOLMKey& key, cimple::uint8 value) = 0;
    /// Sets the waiting time before the restart after a power-off by error. Throws.
    virtual void setConfErrorOffRestartTime(const KOLMKey& key, cimple::uint16 value) = 0;
    /// Sets the time of day of the fan test. Throws.
    virtual void setConfFanDailyTestTime(const KOLMKey& key, cimple::uint16 value) = 0;
    /// Sets what the system does when this fan fails. Throws.
    virtual void setConfFanFailBehavior(const KOLMKey& key, cimple::uint8 value) = 0;
    /// Sets the delay of the shutdown after this fan has failed. Throws.
    virtual void setConfFanFailShutdownDelay(const KOLMKey& key, cimple::uint16 value) = 0;
    /// Sets the source of the next boot. Throws.
    virtual void setConfNextBootSource(const KOLMKey& key, cimple::uint8 value) = 0;
    /// Sets the delay after which the counter of reboot attempts is reset. Throws.
    virtual void setConfRebootRetryCountResetDelay(const KOLMKey& key, cimple::uint16 value) = 0;
    /// Sets the reboot attempts left. Throws.
    virtual void setConfRebootRetryCounter(const KOLMKey& key, cimple::uint8 value) = 0;
    /// Sets the largest number of reboot attempts. Throws.
    virtual void setConfRetryCounterMax(const KOLMKey& key, cimple::uint8 value) = 0;

    // 310

    /// Sets what the system does when no reboot attempt is left. Throws.
    virtual void setConfRetryZeroAction(const KOLMKey& key, cimple::uint8 value) = 0;
    /// Sets the asset tag of the server. Throws.
    virtual void setConfServerAssetTag(const KOLMKey& key, const cimple::String& value) = 0;
    /// Sets the IP address of the management server. Throws.
    virtual void setConfServerMgmtIpAddress(const KOLMKey& key, const cimple::String& value) = 0;
    /// Sets the delay before a requested shutdown starts. Throws.
    virtual void setConfSysShutdownStartDelay(const KOLMKey& key, cimple::uint32 value) = 0;
    /// Sets the contact person of the system. Throws.
    virtual void setConfSystemContact(const KOLMKey& key, const cimple::String& value) = 0;
    /// Sets what the system does when this sensor reaches its critical threshold. Throws.
    virtual void setConfTempCriticalBehavior(const KOLMKey& key, cimple::uint8 value) = 0;

    virtual ~KOLMCalls();
};

/// Makes the calls object of one client and reads the node's time zone through it. The client is
/// not owned and must outlive the object; with a null client every request fails.
/// Throws what the client throws at that request, and std::bad_alloc when memory runs out.
VARNOCK_EXPORT ShPtr<KOLMCalls> newKOLMCalls(KOLMClient* client);

}  // namespace provider
