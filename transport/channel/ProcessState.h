#pragma once

#include <mutex>
#include <shared_mutex>

/// What the channels of one process share. Internal, not installed.
namespace varnock {

/// Locks the client name and the event channel. Held for assignments only.
std::unique_lock<std::mutex> lockChannels();

/// Guards the thread-specific-data key of the request channels: shared for using it, exclusive for
/// making and deleting it.
extern std::shared_mutex keyLock;

/// The id of this process. Channels remember it: what was opened before a fork() belongs to the
/// parent, whose replies and events would otherwise reach the child.
int currentProcess();

}  // namespace varnock
