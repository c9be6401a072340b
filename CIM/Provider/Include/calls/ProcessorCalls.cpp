// Processors.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Counts
uint32 Kolm::getBootCPU(const KOLMKey& key) {
    return engine_.dword({"getBootCPU", 0x0611, 0, component(key)});
}
uint8 Kolm::getEnabledLogicalCPUsPerPhysical(const KOLMKey& key) {
    return engine_.byte({"getEnabledLogicalCPUsPerPhysical", 0x061C, 0, component(key)});
}
uint32 Kolm::getGetPhysicalCpuNr(const KOLMKey& key) {
    return engine_.dword({"getGetPhysicalCpuNr", 0x0615, 0, component(key)});
}
uint8 Kolm::getLogicalCPUsPerPhysical(const KOLMKey& key) {
    return engine_.byte({"getLogicalCPUsPerPhysical", 0x0606, 0, component(key)});
}
uint32 Kolm::getNumberCPUs(uint32 cabinetNr) {
    return engine_.dword({"getNumberCPUs", 0x0600, 0, counting(cabinetNr)});
}
uint8 Kolm::getNumberCoresPerPhysicalCPU(const KOLMKey& key) {
    return engine_.byte({"getNumberCoresPerPhysicalCPU", 0x060A, 0, component(key)});
}
uint8 Kolm::getNumberCpuCoresEnabled(const KOLMKey& key) {
    return engine_.byte({"getNumberCpuCoresEnabled", 0x060E, 0, component(key)});
}
uint8 Kolm::getNumberLogicalCPUs(const KOLMKey& key) {
    return engine_.byte({"getNumberLogicalCPUs", 0x0614, 0, inCabinet(key)});
}

// One processor
Text Kolm::getCPUBrandName(const KOLMKey& key) {
    return engine_.text({"getCPUBrandName", 0x060B, 0, component(key)});
}
uint32 Kolm::getCPUCacheSize(const KOLMKey& key) {
    return engine_.dword({"getCPUCacheSize", 0x0607, key.opCodeExt, component(key)},
                         throwUnlessTolerated);
}
uint8 Kolm::getCPUConfigurationStatus(const KOLMKey& key) {
    return engine_.byte({"getCPUConfigurationStatus", 0x0619, 0, component(key)});
}
uint16 Kolm::getCPUCurrentSpeed(const KOLMKey& key) {
    return engine_.stream({"getCPUCurrentSpeed", 0x0603, 0, component(key)}, firstWord);
}
Text Kolm::getCPUDescription(const KOLMKey& key) {
    return engine_.componentText({"getCPUDescription", 0x0A0F, component(key)});
}
uint16 Kolm::getCPUFamily(const KOLMKey& key) {
    return engine_.word({"getCPUFamily", 0x060D, 0, component(key)});
}
Text Kolm::getCPUInstanceID(const KOLMKey&) {
    return engine_.alwaysNull("getCPUInstanceID");
}
Date Kolm::getCPUManufactureDate(const KOLMKey& key) {
    return engine_.componentDate({"getCPUManufactureDate", 0x0A0B, component(key)});
}
Text Kolm::getCPUManufacturer(const KOLMKey& key) {
    return engine_.text({"getCPUManufacturer", 0x0604, 0, component(key)});
}
Text Kolm::getCPUModelName(const KOLMKey& key) {
    return engine_.text({"getCPUModelName", 0x0605, 0, component(key)});
}
/// Deliberately traces under the name of another call: readers of the trace know it by that text.
Text Kolm::getCPUName(const KOLMKey& key) {
    return engine_.componentText({"getCPUModelName", 0x0A08, component(key)});
}
Text Kolm::getCPUPartNumber(const KOLMKey& key) {
    return engine_.componentText({"getCPUPartNumber", 0x0A01, component(key)});
}
Text Kolm::getCPUSerialNumber(const KOLMKey& key) {
    return engine_.componentText({"getCPUSerialNumber", 0x0A00, component(key)});
}
Text Kolm::getCPUSocketDesignation(const KOLMKey& key) {
    return engine_.text({"getCPUSocketDesignation", 0x0602, 0, component(key)});
}
uint8 Kolm::getCPUStatus(const KOLMKey& key) {
    return engine_.byte({"getCPUStatus", 0x0601, 0, component(key)}, throwUnlessTolerated);
}
uint16 Kolm::getCPUStepping(const KOLMKey& key) {
    return engine_.stream({"getCPUStepping", 0x0603, 0, component(key)}, secondWord);
}
Text Kolm::getCPUVersion(const KOLMKey& key) {
    return engine_.componentText({"getCPUVersion", 0x0A05, component(key)});
}
uint32 Kolm::getCpuApicId(const KOLMKey& key) {
    return engine_.dword({"getCpuApicId", 0x0618, 0, component(key)});
}
uint8 Kolm::getCpuMultithreadEnabled(const KOLMKey& key) {
    return engine_.byte({"getCpuMultithreadEnabled", 0x0617, 0, component(key)});
}
uint8 Kolm::getCpuUsage(const KOLMKey& key) {
    return engine_.byte({"getCpuUsage", 0x0612, key.opCodeExt, component(key)});
}

}  // namespace varnock::calls
