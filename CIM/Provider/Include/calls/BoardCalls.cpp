// Memory modules and system boards.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Memory modules
uint8 Kolm::getMemoryModuleApproved(const KOLMKey& key) {
    return engine_.byte({"getMemoryModuleApproved", 0x0705, 0, component(key)});
}
uint8 Kolm::getMemoryModuleConfiguration(const KOLMKey& key) {
    return engine_.byte({"getMemoryModuleConfiguration", 0x0707, 0, component(key)});
}
Text Kolm::getMemoryModuleDescription(const KOLMKey& key) {
    return engine_.componentText({"getMemoryModuleDescription", 0x030F, component(key)});
}
Text Kolm::getMemoryModuleFormFactor(const KOLMKey& key) {
    return engine_.text({"getMemoryModuleFormFactor", 0x070D, 0, component(key)});
}
uint32 Kolm::getMemoryModuleFrequency(const KOLMKey& key) {
    return engine_.dword({"getMemoryModuleFrequency", 0x0709, 0, component(key)});
}
uint32 Kolm::getMemoryModuleFrequencyMax(const KOLMKey& key) {
    return engine_.dword({"getMemoryModuleFrequencyMax", 0x070E, 0, component(key)});
}
Text Kolm::getMemoryModuleInstanceID(const KOLMKey&) {
    return engine_.alwaysNull("getMemoryModuleInstanceID");
}
Date Kolm::getMemoryModuleManufactureDate(const KOLMKey& key) {
    return engine_.componentDate({"getMemoryModuleManufactureDate", 0x030B, component(key)});
}
Text Kolm::getMemoryModuleManufacturer(const KOLMKey& key) {
    return engine_.componentText({"getMemoryModuleManufacturer", 0x030A, component(key)});
}
Text Kolm::getMemoryModuleName(const KOLMKey& key) {
    return engine_.componentText({"getMemoryModuleName", 0x0308, component(key)});
}
Text Kolm::getMemoryModulePartNumber(const KOLMKey& key) {
    return engine_.componentText({"getMemoryModulePartNumber", 0x0301, component(key)});
}
Text Kolm::getMemoryModuleSerialNumber(const KOLMKey& key) {
    return engine_.componentText({"getMemoryModuleSerialNumber", 0x0300, component(key)});
}
uint32 Kolm::getMemoryModuleSize(const KOLMKey& key) {
    return engine_.dword({"getMemoryModuleSize", 0x070A, 0, component(key)});
}
Text Kolm::getMemoryModuleSocketDesignation(const KOLMKey& key) {
    return engine_.text({"getMemoryModuleSocketDesignation", 0x0702, 0, component(key)});
}
uint8 Kolm::getMemoryModuleStatus(const KOLMKey& key) {
    return engine_.byte({"getMemoryModuleStatus", 0x0701, 0, component(key)}, throwUnlessTolerated);
}
uint8 Kolm::getMemoryModuleType(const KOLMKey& key) {
    return engine_.stream({"getMemoryModuleType", 0x0703, 0, component(key)}, firstByte);
}
Text Kolm::getMemoryModuleVersion(const KOLMKey& key) {
    return engine_.componentText({"getMemoryModuleVersion", 0x0305, component(key)});
}
Text Kolm::getMemoryModuleVoltage(const KOLMKey& key) {
    return engine_.text({"getMemoryModuleVoltage", 0x070F, 0, component(key)});
}
uint32 Kolm::getNumberMemoryModules(uint32 cabinetNr) {
    return engine_.dword({"getNumberMemoryModules", 0x0700, 0, counting(cabinetNr)});
}

// System boards
uint8 Kolm::getNumberSystemBoards(uint32 cabinetNr) {
    return engine_.byte({"getNumberSystemBoards", 0x0D00, 0, counting(cabinetNr)},
                        giveDefaultUnlessTolerated);
}
Text Kolm::getSystemBoardDescription(const KOLMKey& key) {
    return engine_.componentText({"getSystemBoardDescription", 0x020F, component(key)});
}
Text Kolm::getSystemBoardDesignation(const KOLMKey& key) {
    return engine_.text({"getSystemBoardDesignation", 0x0D04, 0, component(key)});
}
Text Kolm::getSystemBoardInstanceID(const KOLMKey&) {
    return engine_.alwaysNull("getSystemBoardInstanceID");
}
Date Kolm::getSystemBoardManufactureDate(const KOLMKey& key) {
    return engine_.componentDate({"getSystemBoardManufactureDate", 0x020B, component(key)});
}
Text Kolm::getSystemBoardManufacturer(const KOLMKey& key) {
    return engine_.componentText({"getSystemBoardManufacturer", 0x020A, component(key)});
}
Text Kolm::getSystemBoardModel(const KOLMKey& key) {
    return engine_.componentText({"getSystemBoardModel", 0x0208, component(key)});
}
Text Kolm::getSystemBoardName(const KOLMKey& key) {
    return engine_.componentText({"getSystemBoardName", 0x0208, component(key)});
}
Text Kolm::getSystemBoardPartNumber(const KOLMKey& key) {
    return engine_.componentText({"getSystemBoardPartNumber", 0x0201, component(key)});
}
/// Deliberately traces under the name of another call: readers of the trace know it by that text.
Text Kolm::getSystemBoardSerialNumber(const KOLMKey& key) {
    return engine_.componentText({"getSystemBoardVersion", 0x0200, component(key)});
}
Text Kolm::getSystemBoardVersion(const KOLMKey& key) {
    return engine_.componentText({"getSystemBoardVersion", 0x0205, component(key)});
}

}  // namespace varnock::calls
