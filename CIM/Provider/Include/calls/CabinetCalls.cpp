// Chassis, cabinet and the service processors in it.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Chassis
Text Kolm::getChassisDescription(const KOLMKey& key) {
    return engine_.componentText({"getChassisDescription", 0x010F, inCabinet(key)});
}
Text Kolm::getChassisInstanceID(const KOLMKey&) {
    return engine_.alwaysNull("getChassisInstanceID");
}
Date Kolm::getChassisManufactureDate(const KOLMKey& key) {
    return engine_.componentDate({"getChassisManufactureDate", 0x010B, inCabinet(key)});
}
Text Kolm::getChassisManufacturer(const KOLMKey& key) {
    return engine_.componentText({"getChassisManufacturer", 0x010A, inCabinet(key)});
}
Text Kolm::getChassisModel(const KOLMKey& key) {
    return engine_.componentText({"getChassisModel", 0x0108, inCabinet(key)});
}
Text Kolm::getChassisName(const KOLMKey& key) {
    return engine_.componentText({"getChassisName", 0x0108, inCabinet(key)});
}
Text Kolm::getChassisPartNumber(const KOLMKey& key) {
    return engine_.componentText({"getChassisPartNumber", 0x0101, inCabinet(key)});
}
Text Kolm::getChassisSerialNumber(const KOLMKey& key) {
    return engine_.componentText({"getChassisSerialNumber", 0x0600, inCabinet(key)});
}
/// Deliberately asks the whole system, unlike the other chassis texts, which ask the key's cabinet:
/// agents report the version there.
Text Kolm::getChassisVersion(const KOLMKey&) {
    return engine_.componentText({"getChassisVersion", 0x0105, wholeSystem()});
}

// Cabinet
Text Kolm::getCabinetModel(const KOLMKey& key) {
    return engine_.componentText({"getCabinetModel", 0x0608, inCabinet(key)});
}
uint8 Kolm::getFrontDoorStatus() {
    return engine_.byte({"getFrontDoorStatus", 0x1010, 0, wholeSystem(1)});
}
uint8 Kolm::getHousingOpenStatus() {
    return engine_.byte({"getHousingOpenStatus", 0x1010, 0, wholeSystem()});
}
uint8 Kolm::getLVDExtenders(uint32 cabinetNr) {
    return engine_.byte({"getLVDExtenders", 0x0C21, 0x0018, counting(cabinetNr)});
}
uint8 Kolm::getNumberMicroControllers(uint32 cabinetNr) {
    return engine_.byte({"getNumberMicroControllers", 0x0C21, 0x001C, counting(cabinetNr)});
}

// Controllers
Text Kolm::getBladeControllerModel(const KOLMKey& key) {
    return engine_.componentText({"getBladeControllerModel", 0x1F08, component(key)});
}
Text Kolm::getControllerModel() {
    return engine_.componentText({"getControllerModel", 0x0508, wholeSystem()});
}
uint8 Kolm::getManagementControllerStatus() {
    return engine_.byte({"getManagementControllerStatus", 0x1042, 0x0005, wholeSystem()});
}
uint8 Kolm::getNumberBladeControllers(uint32 cabinetNr) {
    return engine_.byte({"getNumberBladeControllers", 0x0C21, 0x001F, counting(cabinetNr)});
}

// Service processor containers
uint8 Kolm::getNumberServiceProcessorContainers(uint32 cabinetNr) {
    return engine_.byte(
        {"getNumberServiceProcessorContainers", 0x0C21, 0x0005, counting(cabinetNr)});
}
Text Kolm::getServiceProcessorContainerDescription(const KOLMKey& key) {
    return engine_.componentText(
        {"getServiceProcessorContainerDescription", 0x050F, component(key)});
}
Text Kolm::getServiceProcessorContainerInstanceID(const KOLMKey&) {
    return engine_.alwaysNull("getServiceProcessorContainerInstanceID");
}
Date Kolm::getServiceProcessorContainerManufactureDate(const KOLMKey& key) {
    return engine_.componentDate(
        {"getServiceProcessorContainerManufactureDate", 0x050B, component(key)});
}
Text Kolm::getServiceProcessorContainerManufacturer(const KOLMKey& key) {
    return engine_.componentText(
        {"getServiceProcessorContainerManufacturer", 0x050A, component(key)});
}
Text Kolm::getServiceProcessorContainerModel(const KOLMKey& key) {
    return engine_.componentText({"getServiceProcessorContainerModel", 0x0508, component(key)});
}
Text Kolm::getServiceProcessorContainerName(const KOLMKey& key) {
    return engine_.componentText({"getServiceProcessorContainerName", 0x0508, component(key)});
}
Text Kolm::getServiceProcessorContainerPartNumber(const KOLMKey& key) {
    return engine_.componentText(
        {"getServiceProcessorContainerPartNumber", 0x0501, component(key)});
}
Text Kolm::getServiceProcessorContainerSerialNumber(const KOLMKey& key) {
    return engine_.componentText(
        {"getServiceProcessorContainerSerialNumber", 0x0500, component(key)});
}
Text Kolm::getServiceProcessorContainerVersion(const KOLMKey& key) {
    return engine_.componentText({"getServiceProcessorContainerVersion", 0x0505, component(key)});
}

// MMB service processor containers
Text Kolm::getMMBServiceProcessorContainerDescription(const KOLMKey& key) {
    return engine_.componentText(
        {"getMMBServiceProcessorContainerDescription", 0x1F0F, component(key)});
}
Text Kolm::getMMBServiceProcessorContainerInstanceID(const KOLMKey&) {
    return engine_.alwaysNull("getMMBServiceProcessorContainerInstanceID");
}
Date Kolm::getMMBServiceProcessorContainerManufactureDate(const KOLMKey& key) {
    return engine_.componentDate(
        {"getMMBServiceProcessorContainerManufactureDate", 0x1F0B, component(key)});
}
Text Kolm::getMMBServiceProcessorContainerManufacturer(const KOLMKey& key) {
    return engine_.componentText(
        {"getMMBServiceProcessorContainerManufacturer", 0x1F0A, component(key)});
}
Text Kolm::getMMBServiceProcessorContainerModel(const KOLMKey& key) {
    return engine_.componentText({"getMMBServiceProcessorContainerModel", 0x1F08, component(key)});
}
Text Kolm::getMMBServiceProcessorContainerName(const KOLMKey& key) {
    return engine_.componentText({"getMMBServiceProcessorContainerName", 0x1F08, component(key)});
}
Text Kolm::getMMBServiceProcessorContainerPartNumber(const KOLMKey& key) {
    return engine_.componentText(
        {"getMMBServiceProcessorContainerPartNumber", 0x1F01, component(key)});
}
Text Kolm::getMMBServiceProcessorContainerSerialNumber(const KOLMKey& key) {
    return engine_.componentText(
        {"getMMBServiceProcessorContainerSerialNumber", 0x1F00, component(key)});
}
Text Kolm::getMMBServiceProcessorContainerVersion(const KOLMKey& key) {
    return engine_.componentText(
        {"getMMBServiceProcessorContainerVersion", 0x1F05, component(key)});
}
uint8 Kolm::getNumberMMBServiceProcessorContainers(uint32 cabinetNr) {
    return engine_.byte(
        {"getNumberMMBServiceProcessorContainers", 0x0C21, 0x001F, counting(cabinetNr)});
}

}  // namespace varnock::calls
