// Fans, temperature sensors and voltages.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Fans
uint16 Kolm::getCurrentFanSpeed(const KOLMKey& key) {
    return engine_.word({"getCurrentFanSpeed", 0x0302, 0, component(key)});
}
Text Kolm::getFanDescription(const KOLMKey& key) {
    return engine_.componentText({"getFanDescription", 0x130F, component(key)});
}
Text Kolm::getFanDesignation(const KOLMKey& key) {
    return engine_.text({"getFanDesignation", 0x0304, 0, component(key)});
}
Text Kolm::getFanInstanceID(const KOLMKey&) {
    return engine_.alwaysNull("getFanInstanceID");
}
Date Kolm::getFanManufacturerDate(const KOLMKey& key) {
    return engine_.componentDate({"getFanManufacturerDate", 0x130B, component(key)});
}
Text Kolm::getFanManufacturer(const KOLMKey& key) {
    return engine_.componentText({"getFanManufacturer", 0x130A, component(key)});
}
Text Kolm::getFanName(const KOLMKey& key) {
    return engine_.componentText({"getFanName", 0x1308, component(key)});
}
Text Kolm::getFanPartNumber(const KOLMKey& key) {
    return engine_.componentText({"getFanPartNumber", 0x1301, component(key)});
}
uint8 Kolm::getFanQuality(const KOLMKey& key) {
    return engine_.stream({"getFanQuality", 0x0313, 0, component(key)}, firstByte);
}
Text Kolm::getFanSerialNumber(const KOLMKey& key) {
    return engine_.componentText({"getFanSerialNumber", 0x1300, component(key)});
}
uint8 Kolm::getFanStatus(const KOLMKey& key) {
    return engine_.byte({"getFanStatus", 0x0301, 0, component(key)}, throwUnlessTolerated);
}
Text Kolm::getFanVersion(const KOLMKey& key) {
    return engine_.componentText({"getFanVersion", 0x1305, component(key)});
}
uint8 Kolm::getNumberFans(uint32 cabinetNr) {
    return engine_.byte({"getNumberFans", 0x0300, 0, counting(cabinetNr)});
}

// Temperature sensors
uint8 Kolm::getCurrentTemperature(const KOLMKey& key) {
    return engine_.byte({"getCurrentTemperature", 0x0402, 0, component(key)});
}
uint8 Kolm::getNumberTempSensors(uint32 cabinetNr) {
    return engine_.byte({"getNumberTempSensors", 0x0400, 0, counting(cabinetNr)});
}
Text Kolm::getTempSensorDesignation(const KOLMKey& key) {
    return engine_.text({"getTempSensorDesignation", 0x0404, 0, component(key)});
}
uint8 Kolm::getTempSensorPurpose(const KOLMKey& key) {
    return engine_.byte({"getTempSensorPurpose", 0x0403, 0, component(key)}, throwUnlessTolerated);
}
uint8 Kolm::getTempSensorStatus(const KOLMKey& key) {
    return engine_.byte({"getTempSensorStatus", 0x0401, 0, component(key)}, throwUnlessTolerated);
}

// Voltages
uint16 Kolm::getCurrentVoltage(const KOLMKey& key) {
    return engine_.word({"getCurrentVoltage", 0x0524, 0, component(key)});
}
uint8 Kolm::getNumberVoltages(uint32 cabinetNr) {
    return engine_.byte({"getNumberVoltages", 0x0520, 0, counting(cabinetNr)});
}
Text Kolm::getVoltageDesignation(const KOLMKey& key) {
    return engine_.text({"getVoltageDesignation", 0x0522, 0, component(key)});
}
uint16 Kolm::getVoltageNominal(const KOLMKey& key) {
    return engine_.word({"getVoltageNominal", 0x0527, 0, component(key)});
}
uint8 Kolm::getVoltageStatus(const KOLMKey& key) {
    return engine_.byte({"getVoltageStatus", 0x0521, 0, component(key)}, throwUnlessTolerated);
}
std::vector<uint16> Kolm::getVoltageThresholds(const KOLMKey& key) {
    return engine_.stream({"getVoltageThresholds", 0x0523, 0, component(key)}, words);
}

}  // namespace varnock::calls
