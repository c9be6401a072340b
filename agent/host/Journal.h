#pragma once

#include <filesystem>
#include <optional>

#include "agent/host/KernelLog.h"

namespace varnock::agent {

/// The newest entries of the system's journal, at most `most`, the oldest first, with sequence
/// numbers from 1. Nothing if there is no journal or the agent may not read it.
std::optional<LogEntries> readJournal(const std::filesystem::path& root, std::size_t most);

}  // namespace varnock::agent
