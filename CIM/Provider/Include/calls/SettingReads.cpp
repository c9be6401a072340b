// Reading configuration items. Setting calls with more than one item are in SettingChoices.cpp.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Addresses and ports of the management controller
Bytes Kolm::getConfBMCGateway(const KOLMKey& key) {
    return engine_.settingBytes({"getConfBMCGateway", 0x1442, inCabinet(key)});
}
Setting<uint16> Kolm::getConfBMCHttpPort(const KOLMKey& key) {
    return engine_.settingWord({"getConfBMCHttpPort", 0x1420, inCabinet(key)});
}
Setting<uint16> Kolm::getConfBMCHttpsPort(const KOLMKey& key) {
    return engine_.settingWord({"getConfBMCHttpsPort", 0x1421, inCabinet(key)});
}
Bytes Kolm::getConfBMCIpAddr(const KOLMKey& key) {
    return engine_.settingBytes({"getConfBMCIpAddr", 0x1440, inCabinet(key)});
}
Setting<boolean> Kolm::getConfBMCIpv4Enabled(const KOLMKey& key) {
    return engine_.settingFlag({"getConfBMCIpv4Enabled", 0x1A21, inCabinet(key)});
}
Setting<boolean> Kolm::getConfBMCIpv6Enabled(const KOLMKey& key) {
    return engine_.settingFlag({"getConfBMCIpv6Enabled", 0x1A22, inCabinet(key)});
}
Text Kolm::getConfBMCMACAddr(const KOLMKey& key) {
    return engine_.settingMacText({"getConfBMCMACAddr", 0x1445, inCabinet(key)});
}
Bytes Kolm::getConfBMCNetmask(const KOLMKey& key) {
    return engine_.settingBytes({"getConfBMCNetmask", 0x1441, inCabinet(key)});
}
Setting<uint16> Kolm::getConfBMCSshPort(const KOLMKey& key) {
    return engine_.settingWord({"getConfBMCSshPort", 0x1423, inCabinet(key)});
}
Setting<uint16> Kolm::getConfBMCTelnetPort(const KOLMKey& key) {
    return engine_.settingWord({"getConfBMCTelnetPort", 0x1422, inCabinet(key)});
}
Setting<boolean> Kolm::getConfBMCUseDHCP(const KOLMKey& key) {
    return engine_.settingFlag({"getConfBMCUseDHCP", 0x1446, inCabinet(key)});
}
Bytes Kolm::getConfBmcIpv6Address(const KOLMKey& key) {
    return engine_.settingBytes({"getConfBmcIpv6Address", 0x1A25, inCabinet(key)});
}
Setting<uint8> Kolm::getConfBmcIpv6AddressPrefixLength(const KOLMKey& key) {
    return engine_.settingByte({"getConfBmcIpv6AddressPrefixLength", 0x1A27, component(key)});
}
Setting<uint8> Kolm::getConfBmcIpv6AddressType(const KOLMKey& key) {
    return engine_.settingByte({"getConfBmcIpv6AddressType", 0x1A24, component(key)});
}
Bytes Kolm::getConfBmcIpv6GatewayAddress(const KOLMKey& key) {
    return engine_.settingBytes({"getConfBmcIpv6GatewayAddress", 0x1A2A, component(key)});
}
Setting<uint8> Kolm::getConfBmcIpv6NumberOfAddresses(const KOLMKey& key) {
    return engine_.settingByte({"getConfBmcIpv6NumberOfAddresses", 0x1A23, inCabinet(key)});
}
Setting<uint8> Kolm::getConfBmcIpv6StaticAddrSrc(const KOLMKey& key) {
    return engine_.settingByte({"getConfBmcIpv6StaticAddrSrc", 0x1A36, component(key)});
}

// Fans and temperatures
Setting<uint8> Kolm::getConfCriticalTempThresh(const KOLMKey& key) {
    return engine_.settingByte({"getConfCriticalTempThresh", 0x0091, component(key)});
}
Setting<uint8> Kolm::getConfDisableFanTest() {
    return engine_.settingByte({"getConfDisableFanTest", 0x0084, wholeSystem()});
}
Setting<uint16> Kolm::getConfFanDailyTestTime() {
    return engine_.settingWord({"getConfFanDailyTestTime", 0x0080, wholeSystem()});
}
Setting<uint8> Kolm::getConfFanFailBehavior(const KOLMKey& key) {
    return engine_.settingByte({"getConfFanFailBehavior", 0x0071, component(key)});
}
Setting<uint16> Kolm::getConfFanFailShutdownDelay(const KOLMKey& key) {
    return engine_.settingWord({"getConfFanFailShutdownDelay", 0x0072, component(key)});
}
Setting<uint8> Kolm::getConfTempCriticalBehavior(const KOLMKey& key) {
    return engine_.settingByte({"getConfTempCriticalBehavior", 0x0073, component(key)});
}
Setting<uint8> Kolm::getConfWarningTempThresh(const KOLMKey& key) {
    return engine_.settingByte({"getConfWarningTempThresh", 0x0090, component(key)});
}

// Power
Setting<uint32> Kolm::getConfPSUNumberRequired() {
    return engine_.settingDword({"getConfPSUNumberRequired", 0x1A0D, wholeSystem()});
}
Setting<uint8> Kolm::getConfPSURedundancyMode() {
    return engine_.settingByte({"getConfPSURedundancyMode", 0x1A0C, wholeSystem()});
}
Setting<uint16> Kolm::getConfPowerLimitModePeriod(const KOLMKey& key) {
    return engine_.settingWord({"getConfPowerLimitModePeriod", 0x1A0A, component(key)});
}
Setting<uint16> Kolm::getConfPowerLimitModeThreshold(const KOLMKey& key) {
    return engine_.settingWord({"getConfPowerLimitModeThreshold", 0x1A09, component(key)});
}

// Shutdown, restart and boot
Setting<uint16> Kolm::getConfErrorOffRestartTime() {
    return engine_.settingWord({"getConfErrorOffRestartTime", 0x0032, wholeSystem()});
}
Setting<uint8> Kolm::getConfNextBootSource() {
    return engine_.settingByte({"getConfNextBootSource", 0x0011, wholeSystem()});
}
Setting<uint16> Kolm::getConfRebootRetryCountResetDelay() {
    return engine_.settingWord({"getConfRebootRetryCountResetDelay", 0x0036, wholeSystem()});
}
Setting<uint8> Kolm::getConfRebootRetryCounter() {
    return engine_.settingByte({"getConfRebootRetryCounter", 0x0030, wholeSystem()});
}
Setting<uint8> Kolm::getConfRetryCounterMax() {
    return engine_.settingByte({"getConfRetryCounterMax", 0x0033, wholeSystem()});
}
Setting<uint8> Kolm::getConfRetryZeroAction() {
    return engine_.settingByte({"getConfRetryZeroAction", 0x0031, wholeSystem()});
}
Setting<uint32> Kolm::getConfSysShutdownStartDelay() {
    return engine_.settingDword({"getConfSysShutdownStartDelay", 0x1700, wholeSystem()});
}

// System information
Setting<uint16> Kolm::getConfCIMRecordLogLanguage(const KOLMKey& key) {
    return engine_.settingWord({"getConfCIMRecordLogLanguage", 0x000E, inCabinet(key)});
}
Text Kolm::getConfCabinetLocation() {
    return engine_.settingText({"getConfCabinetLocation", 0x0200, wholeSystem()});
}
Text Kolm::getConfServerAssetTag() {
    return engine_.settingText({"getConfServerAssetTag", 0x0210, wholeSystem()});
}
Text Kolm::getConfServerMgmtIpAddress() {
    return engine_.settingText({"getConfServerMgmtIpAddress", 0x000C, wholeSystem()});
}
Text Kolm::getConfSystemContact() {
    return engine_.settingText({"getConfSystemContact", 0x0204, wholeSystem()});
}
Text Kolm::getConfSystemName() {
    return engine_.settingText({"getConfSystemName", 0x0201, wholeSystem()});
}
Setting<sint32> Kolm::getConfTimeZone() {
    return engine_.settingNumber({"getConfTimeZone", 0x020E, wholeSystem()});
}

}  // namespace varnock::calls
