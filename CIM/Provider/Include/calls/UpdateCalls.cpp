// Update management.

#include "CIM/Provider/Include/calls/Kolm.h"

namespace varnock::calls {

// Available updates
Text Kolm::getUmDiffApplicableErrorTxt(const KOLMKey& key) {
    return engine_.text({"getUmDiffApplicableErrorTxt", 0x330D, 0, component(key)});
}
uint8 Kolm::getUmDiffApplicableStatus(const KOLMKey& key) {
    return engine_.byte({"getUmDiffApplicableStatus", 0x330C, 0, component(key)});
}
uint8 Kolm::getUmDiffBinaryLoaded(const KOLMKey& key) {
    return engine_.byte({"getUmDiffBinaryLoaded", 0x3317, 0, component(key)});
}
Text Kolm::getUmDiffComponentId(const KOLMKey& key) {
    return engine_.text({"getUmDiffComponentId", 0x3316, 0, component(key)});
}
Text Kolm::getUmDiffComponentSubType(const KOLMKey& key, provider::UmDiffAlternate) {
    return engine_.text({"getUmDiffComponentSubType", 0x3306, 0, component(key)});
}
Text Kolm::getUmDiffComponentPath(const KOLMKey& key) {
    return engine_.text({"getUmDiffComponentPath", 0x3301, 0, component(key)});
}
Text Kolm::getUmDiffComponentSubType(const KOLMKey& key) {
    return engine_.text({"getUmDiffComponentSubType", 0x3303, 0, component(key)});
}
Text Kolm::getUmDiffComponentType(const KOLMKey& key) {
    return engine_.text({"getUmDiffComponentType", 0x3302, 0, component(key)});
}
Text Kolm::getUmDiffComponentVersion(const KOLMKey& key) {
    return engine_.text({"getUmDiffComponentVersion", 0x3304, 0, component(key)});
}
uint32 Kolm::getUmDiffDownloadSize(const KOLMKey& key) {
    return engine_.dword({"getUmDiffDownloadSize", 0x3312, 0, component(key)});
}
uint32 Kolm::getUmDiffInstallDuration(const KOLMKey& key) {
    return engine_.dword({"getUmDiffInstallDuration", 0x3311, 0, component(key)});
}
Text Kolm::getUmDiffInstalledVersion(const KOLMKey& key) {
    return engine_.text({"getUmDiffInstalledVersion", 0x3305, 0, component(key)});
}
uint8 Kolm::getUmDiffIsMandatoryComponent(const KOLMKey& key) {
    return engine_.byte({"getUmDiffIsMandatoryComponent", 0x3309, 0, component(key)});
}
Text Kolm::getUmDiffMinStepVersion(const KOLMKey& key) {
    return engine_.text({"getUmDiffMinStepVersion", 0x330E, 0, component(key)});
}
uint32 Kolm::getUmDiffNumberComponents(const KOLMKey& key) {
    return engine_.dword({"getUmDiffNumberComponents", 0x3300, 0, inCabinet(key)},
                         throwUnlessTolerated);
}
Text Kolm::getUmDiffPreRequisitesText(const KOLMKey& key) {
    return engine_.text({"getUmDiffPreRequisitesText", 0x330A, 0, component(key)});
}
Text Kolm::getUmDiffRabVersion(const KOLMKey& key) {
    return engine_.text({"getUmDiffRabVersion", 0x3313, 0, component(key)});
}
uint8 Kolm::getUmDiffRebootRequired(const KOLMKey& key) {
    return engine_.byte({"getUmDiffRebootRequired", 0x3310, 0, component(key)});
}
Text Kolm::getUmDiffReleaseNotes(const KOLMKey& key) {
    return engine_.text({"getUmDiffReleaseNotes", 0x3314, 0, component(key)});
}
uint8 Kolm::getUmDiffRepos2InstRanking(const KOLMKey& key) {
    return engine_.byte({"getUmDiffRepos2InstRanking", 0x3308, 0, component(key)});
}
uint8 Kolm::getUmDiffUpdateVendorSeverity(const KOLMKey& key) {
    return engine_.byte({"getUmDiffUpdateVendorSeverity", 0x330B, 0, component(key)});
}
Text Kolm::getUmDiffVendor(const KOLMKey& key) {
    return engine_.text({"getUmDiffVendor", 0x3315, 0, component(key)});
}

// Installed components
Text Kolm::getUmInstalledComponentSubType(const KOLMKey& key) {
    return engine_.text({"getUmInstalledComponentSubType", 0x3393, 0, component(key)});
}
Text Kolm::getUmInstalledComponentType(const KOLMKey& key) {
    return engine_.text({"getUmInstalledComponentType", 0x3392, 0, component(key)});
}
Text Kolm::getUmInstalledComponentVersion(const KOLMKey& key) {
    return engine_.text({"getUmInstalledComponentVersion", 0x3394, 0, component(key)});
}
uint32 Kolm::getUmInstalledNumberComponents(const KOLMKey& key) {
    return engine_.dword({"getUmInstalledNumberComponents", 0x3390, 0, inCabinet(key)},
                         throwUnlessTolerated);
}
Text Kolm::getUmInstalledPCIId(const KOLMKey& key) {
    return engine_.text({"getUmInstalledPCIId", 0x3395, 0, component(key)});
}
Text Kolm::getUmInstalledRABVersion(const KOLMKey& key) {
    return engine_.text({"getUmInstalledRABVersion", 0x3396, 0, component(key)});
}

// The check for updates
uint8 Kolm::getUmServerConfigCheckStatus(const KOLMKey& key) {
    return engine_.byte({"getUmServerConfigCheckStatus", 0x3334, 0, inCabinet(key)});
}
uint32 Kolm::getUmServerLastCheckTime(const KOLMKey& key) {
    return engine_.dword({"getUmServerLastCheckTime", 0x3332, 0, inCabinet(key)});
}
uint8 Kolm::getUmServerStatus() {
    return engine_.byte({"getUmServerStatus", 0x3330, 0, wholeSystem()});
}
uint32 Kolm::getUmServerUpdateCheckErrorCode(const KOLMKey& key) {
    return engine_.dword({"getUmServerUpdateCheckErrorCode", 0x3337, 0, inCabinet(key)});
}
Text Kolm::getUmServerUpdateCheckLogFile(const KOLMKey& key) {
    return engine_.text({"getUmServerUpdateCheckLogFile", 0x3335, 0, inCabinet(key)});
}
uint8 Kolm::getUmServerUpdateCheckStatus(const KOLMKey& key) {
    return engine_.byte({"getUmServerUpdateCheckStatus", 0x3336, 0, inCabinet(key)});
}

}  // namespace varnock::calls
