#pragma once

#include <filesystem>
#include <optional>

#include "agent/host/Smbios.h"

namespace varnock::agent {

/// The firmware's table from /sys/firmware/dmi/tables, which only root can read.
std::optional<SmbiosTable> tableOfKernel(const std::filesystem::path& root);
/// The firmware's table from physical memory, for kernels without those files that let root map it.
/// UEFI-only firmware does not place the table where it can be found.
std::optional<SmbiosTable> tableInMemory();

}  // namespace varnock::agent
