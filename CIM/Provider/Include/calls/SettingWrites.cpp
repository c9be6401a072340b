// Writing configuration items. Items without a component ignore their key.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Fans and temperatures
void Kolm::setConfDisableFanTest(const KOLMKey&, uint8 value) {
    engine_.setByte({"setConfDisableFanTest", 0x0084, wholeSystem()}, value);
}
void Kolm::setConfFanDailyTestTime(const KOLMKey&, uint16 value) {
    engine_.setWord({"setConfFanDailyTestTime", 0x0080, wholeSystem()}, value);
}
void Kolm::setConfFanFailBehavior(const KOLMKey& key, uint8 value) {
    engine_.setByte({"setConfFanFailBehavior", 0x0071, component(key)}, value);
}
void Kolm::setConfFanFailShutdownDelay(const KOLMKey& key, uint16 value) {
    engine_.setWord({"setConfFanFailShutdownDelay", 0x0072, component(key)}, value);
}
void Kolm::setConfTempCriticalBehavior(const KOLMKey& key, uint8 value) {
    engine_.setByte({"setConfTempCriticalBehavior", 0x0073, component(key)}, value);
}

// Shutdown, restart and boot
void Kolm::setConfErrorOffRestartTime(const KOLMKey&, uint16 value) {
    engine_.setWord({"setConfErrorOffRestartTime", 0x0032, wholeSystem()}, value);
}
void Kolm::setConfNextBootSource(const KOLMKey&, uint8 value) {
    engine_.setByte({"setConfNextBootSource", 0x0011, wholeSystem()}, value);
}
void Kolm::setConfRebootRetryCountResetDelay(const KOLMKey&, uint16 value) {
    engine_.setWord({"setConfRebootRetryCountResetDelay", 0x0036, wholeSystem()}, value);
}
void Kolm::setConfRebootRetryCounter(const KOLMKey&, uint8 value) {
    engine_.setByte({"setConfRebootRetryCounter", 0x0030, wholeSystem()}, value);
}
void Kolm::setConfRetryCounterMax(const KOLMKey&, uint8 value) {
    engine_.setByte({"setConfRetryCounterMax", 0x0033, wholeSystem()}, value);
}
void Kolm::setConfRetryZeroAction(const KOLMKey&, uint8 value) {
    engine_.setByte({"setConfRetryZeroAction", 0x0031, wholeSystem()}, value);
}
void Kolm::setConfSysShutdownStartDelay(const KOLMKey&, uint32 value) {
    engine_.setDword({"setConfSysShutdownStartDelay", 0x1700, wholeSystem()}, value);
}

// System information
// Deliberately the only setter that does not throw: callers set the language incidentally and
// continue without it.
void Kolm::setConfCIMRecordLogLanguage(const KOLMKey& key, uint16 value) {
    engine_.setWord({"setConfCIMRecordLogLanguage", 0x000E, inCabinet(key)}, value, giveDefault);
}
void Kolm::setConfCabinetLocation(const KOLMKey&, const cimple::String& value) {
    engine_.setText({"setConfCabinetLocation", 0x0200, wholeSystem()}, value);
}
void Kolm::setConfServerAssetTag(const KOLMKey&, const cimple::String& value) {
    engine_.setText({"setConfServerAssetTag", 0x0210, wholeSystem()}, value);
}
void Kolm::setConfServerMgmtIpAddress(const KOLMKey&, const cimple::String& value) {
    engine_.setText({"setConfServerMgmtIpAddress", 0x000C, wholeSystem()}, value);
}
void Kolm::setConfSystemContact(const KOLMKey&, const cimple::String& value) {
    engine_.setText({"setConfSystemContact", 0x0204, wholeSystem()}, value);
}

}  // namespace varnock::calls
