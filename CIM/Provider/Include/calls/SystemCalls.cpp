// The node: actions, operating system, log, driver monitor, identification, network.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Actions
void Kolm::doRequestShutdownAndOff() {
    engine_.actionWithZero({"doRequestShutdownAndOff", 0x0205, 0, wholeSystem()});
}
void Kolm::doRequestShutdownAndReset() {
    engine_.actionWithZero({"doRequestShutdownAndReset", 0x0206, 0, wholeSystem()});
}
void Kolm::doShutdownRequestCancelled() {
    engine_.action({"doShutdownRequestCancelled", 0x0209, 0, wholeSystem()});
}

// Agent and operating system
Text Kolm::getAgentVersion(const KOLMKey& key) {
    return engine_.componentText({"AgentVersion", 0xA303, inCabinet(key)});
}
uint32 Kolm::getBootTime(const KOLMKey& key) {
    return engine_.dword({"getBootTime", 0x0118, 0, inCabinet(key)});
}
Text Kolm::getOSProductName(const KOLMKey& key) {
    return engine_.componentText({"getOSProductName", 0xA708, wholeSystem(key.cabinetNr)});
}
Text Kolm::getOSVersion(const KOLMKey& key) {
    return engine_.componentText({"getOSVersion", 0xA703, wholeSystem(key.cabinetNr)});
}
uint32 Kolm::getOperatingSystemDMTFType(const KOLMKey& key) {
    return engine_.dword({"getOperatingSystemDMTFType", 0x0C70, 0, inCabinet(key)});
}
uint8 Kolm::getSystemShutdownStatus() {
    return engine_.byte({"getSystemShutdownStatus", 0x020F, 0, wholeSystem()});
}
uint32 Kolm::getSystemTime(const KOLMKey& key) {
    return engine_.dword({"getSystemTime", 0xE104, 0, inCabinet(key)});
}
Text Kolm::getSystemUUID() {
    return engine_.componentText({"getSystemUUID", 0x1510, wholeSystem()});
}
uint32 Kolm::getUtilizationSystemMemory(uint32 objectId) {
    return engine_.dword({"getUtilizationSystemMemory", 0x0920, 0, wholeSystem(objectId)});
}

// Message log
uint8 Kolm::getLogAvailable(const KOLMKey& key) {
    return engine_.byte({"getLogAvailable", 0x0B01, 0, inCabinet(key, 1)});
}
Text Kolm::getLogMessageActionSummary(const KOLMKey& key) {
    return engine_.text({"getLogMessageActionSummary", 0x0B23, key.opCodeExt, inCabinet(key)});
}
Text Kolm::getLogMessageCauseRead(const KOLMKey& key) {
    return engine_.stream({"getLogMessageCauseRead", 0x0B1A, key.opCodeExt, inCabinet(key)}, lines);
}
uint32 Kolm::getLogMessageNrEntries(const KOLMKey& key) {
    return engine_.dword({"getLogMessageNrEntries", 0x0B13, 0, inCabinet(key)});
}
Text Kolm::getLogMessageResolutionRead(const KOLMKey& key) {
    return engine_.stream({"getLogMessageResolutionRead", 0x0B17, key.opCodeExt, inCabinet(key)},
                          lines);
}
std::vector<uint16> Kolm::getLogMessageTextLanguages(const KOLMKey& key) {
    return engine_.stream({"getLogMessageTextLanguages", 0x0B20, 0, inCabinet(key)}, words);
}
uint32 Kolm::getMaxNumberLogEntries(const KOLMKey& key) {
    return engine_.dword({"getMaxNumberLogEntries", 0x0B0C, 0, inCabinet(key, 1)});
}

// Driver monitor
uint8 Kolm::getDrvMonComponentStatusByAddress(const KOLMKey& key) {
    return engine_.byte({"getDrvMonComponentStatusByAddress", 0x1808, 0, inCabinet(key)});
}
uint32 Kolm::getDrvMonEventId(const KOLMKey& key) {
    return engine_.dword({"getDrvMonEventId", 0x1817, 0, component(key)});
}
Text Kolm::getDrvMonEventMessageText(const KOLMKey& key) {
    return engine_.text({"getDrvMonEventMessageText", 0x1815, key.opCodeExt, component(key)});
}
uint8 Kolm::getDrvMonEventSeverity(const KOLMKey& key) {
    return engine_.byte({"getDrvMonEventSeverity", 0x1816, 0, component(key)});
}
uint32 Kolm::getDrvMonEventTimestamp(const KOLMKey& key) {
    return engine_.dword({"getDrvMonEventTimestamp", 0x181A, 0, component(key)});
}
uint32 Kolm::getDrvMonNumberEvents(const KOLMKey& key) {
    return engine_.dword({"getDrvMonNumberEvents", 0x1810, 0, inCabinet(key)});
}

// Identification
Text Kolm::getIdentificationAdminURLIpv4() {
    return engine_.text({"getIdentificationAdminURLIpv4", 0xE20D, 0, wholeSystem()});
}
Text Kolm::getIdentificationAdminURLIpv6() {
    return engine_.text({"getIdentificationAdminURLIpv6", 0xE20D, 0x0001, wholeSystem()});
}
Text Kolm::getIdentificationAdminURLasFQDN() {
    return engine_.text({"getIdentificationAdminURLasFQDN", 0xE20E, 0, wholeSystem()});
}
uint32 Kolm::getIdentificationCabinetNumber() {
    return engine_.word({"getIdentificationCabinetNumber", 0xE204, 0, cabinet(0)}, throwException);
}
uint8 Kolm::getIdentificationCabinetType(uint32 cabinetNr) {
    return engine_.byte({"getIdentificationCabinetType", 0xE20A, 0, cabinet(cabinetNr)});
}
uint32 Kolm::getIdentificationChassisCabinetNumber(uint32 cabinetNr) {
    return engine_.dword({"getIdentificationChassisCabinetNumber", 0xE209, 0, cabinet(cabinetNr)});
}
Bytes Kolm::getIdentificationParentGateway(const KOLMKey& key) {
    return engine_.bytes({"getIdentificationParentGateway", 0xE224, 0, inCabinet(key)});
}
Bytes Kolm::getIdentificationParentIpAddress(const KOLMKey& key) {
    return engine_.bytes({"getIdentificationParentIpAddress", 0xE222, 0, inCabinet(key)});
}
Text Kolm::getIdentificationParentMacAddress(const KOLMKey& key) {
    return engine_.macText({"getIdentificationParentMacAddress", 0xE226, 0, component(key)});
}
Bytes Kolm::getIdentificationParentNetmask(const KOLMKey& key) {
    return engine_.bytes({"getIdentificationParentNetmask", 0xE223, 0, inCabinet(key)});
}
uint8 Kolm::getIdentificationParentUseDHCP(const KOLMKey& key) {
    return engine_.byte({"getIdentificationParentUseDHCP", 0xE225, 0, inCabinet(key)});
}

// Network interfaces
Bytes Kolm::getNetworkInfoIfDefaultGateway(const KOLMKey& key) {
    return engine_.bytes({"getNetworkInfoIfDefaultGateway", 0x1708, key.opCodeExt, component(key)});
}
Bytes Kolm::getNetworkInfoIfIpAddress(const KOLMKey& key) {
    return engine_.bytes({"getNetworkInfoIfIpAddress", 0x1703, key.opCodeExt, component(key)});
}
Bytes Kolm::getNetworkInfoIfIpSubnetMask(const KOLMKey& key) {
    return engine_.bytes({"getNetworkInfoIfIpSubnetMask", 0x1704, key.opCodeExt, component(key)});
}
Text Kolm::getNetworkInfoIfMacAddress(const KOLMKey& key) {
    return engine_.macText({"getNetworkInfoIfMacAddress", 0x1707, 0, component(key)});
}
uint8 Kolm::getNetworkInfoIfUseDHCP(const KOLMKey& key) {
    return engine_.byte({"getNetworkInfoIfUseDHCP", 0x1706, 0, component(key)});
}
uint8 Kolm::getNetworkInfoNumberInterfaces(const KOLMKey& key) {
    return engine_.byte({"getNetworkInfoNumberInterfaces", 0x1700, 0, inCabinet(key)});
}

}  // namespace varnock::calls
