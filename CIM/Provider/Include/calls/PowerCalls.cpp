// Power supplies and power consumption.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Power supplies
uint8 Kolm::getNumberPowerSupplies(uint32 cabinetNr) {
    return engine_.byte({"getNumberPowerSupplies", 0x0500, 0, counting(cabinetNr)});
}
Text Kolm::getPowerSupplyDescription(const KOLMKey& key) {
    return engine_.componentText({"getPowerSupplyDescription", 0x080F, component(key)});
}
Text Kolm::getPowerSupplyDesignation(const KOLMKey& key) {
    return engine_.text({"getPowerSupplyDesignation", 0x0504, 0, component(key)});
}
Text Kolm::getPowerSupplyInstanceID(const KOLMKey&) {
    return engine_.alwaysNull("getPowerSupplyInstanceID");
}
uint32 Kolm::getPowerSupplyLoad(const KOLMKey& key) {
    return engine_.dword({"getPowerSupplyLoad", 0x0506, 0, component(key)});
}
Date Kolm::getPowerSupplyManufactureDate(const KOLMKey& key) {
    return engine_.componentDate({"getPowerSupplyManufactureDate", 0x080B, component(key)});
}
Text Kolm::getPowerSupplyManufacturer(const KOLMKey& key) {
    return engine_.componentText({"getPowerSupplyManufacturer", 0x080A, component(key)});
}
Text Kolm::getPowerSupplyModel(const KOLMKey& key) {
    return engine_.componentText({"getPowerSupplyModel", 0x0808, component(key)});
}
Text Kolm::getPowerSupplyName(const KOLMKey& key) {
    return engine_.componentText({"getPowerSupplyName", 0x0808, component(key)});
}
uint32 Kolm::getPowerSupplyNominal(const KOLMKey& key) {
    return engine_.dword({"getPowerSupplyNominal", 0x0507, 0, component(key)});
}
Text Kolm::getPowerSupplyPartNumber(const KOLMKey& key) {
    return engine_.componentText({"getPowerSupplyPartNumber", 0x0801, component(key)});
}
uint8 Kolm::getPowerSupplyRedundancyConfigurationStatus() {
    return engine_.byte({"getPowerSupplyRedundancyConfigurationStatus", 0x0513, 0, wholeSystem()});
}
uint8 Kolm::getPowerSupplyRedundancyThresholdStatus() {
    return engine_.byte({"getPowerSupplyRedundancyThresholdStatus", 0x0514, 0, wholeSystem()});
}
Text Kolm::getPowerSupplySerialNumber(const KOLMKey& key) {
    return engine_.componentText({"getPowerSupplySerialNumber", 0x0800, component(key)});
}
uint8 Kolm::getPowerSupplyStatus(const KOLMKey& key) {
    return engine_.byte({"getPowerSupplyStatus", 0x0501, 0, component(key)}, throwUnlessTolerated);
}
Text Kolm::getPowerSupplyVersion(const KOLMKey& key) {
    return engine_.componentText({"getPowerSupplyVersion", 0x0805, component(key)});
}

// Power consumption
Text Kolm::getPowerConsumptionComponentDesignation(const KOLMKey& key) {
    return engine_.text(
        {"getPowerConsumptionComponentDesignation", 0x0532, key.opCodeExt, component(key)});
}
uint32 Kolm::getPowerConsumptionCurrentValue(const KOLMKey& key) {
    return engine_.dword(
        {"getPowerConsumptionCurrentValue", 0x0533, key.opCodeExt, component(key)});
}
uint8 Kolm::getPowerConsumptionLimitStatus(const KOLMKey& key) {
    return engine_.byte({"getPowerConsumptionLimitStatus", 0x0534, key.opCodeExt, component(key)});
}
uint32 Kolm::getPowerConsumptionNumberClassComponents(const KOLMKey& key) {
    return engine_.dword(
        {"getPowerConsumptionNumberClassComponents", 0x0531, key.opCodeExt, inCabinet(key)},
        giveDefaultUnlessTolerated);
}
std::vector<uint32> Kolm::getPowerConsumptionSupportedComponentClasses(uint32 cabinetNr) {
    return engine_.stream(
        {"getPowerConsumptionSupportedComponentClasses", 0x0530, 0, cabinet(cabinetNr)},
        bytesAsNumbers, giveDefaultUnlessTolerated);
}

}  // namespace varnock::calls
