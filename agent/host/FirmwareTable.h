#pragma once

#include <filesystem>
#include <optional>

#include "agent/host/Smbios.h"

namespace varnock::agent {

/// The firmware's table as the kernel shows it in /sys/firmware/dmi/tables, which is for root
/// alone.
std::optional<SmbiosTable> tableOfKernel(const std::filesystem::path& root);
/// The firmware's table in the physical memory of this machine, where a kernel without those files
/// lets root map it. Firmware that speaks UEFI alone does not leave it where it can be found.
std::optional<SmbiosTable> tableInMemory();

}  // namespace varnock::agent
