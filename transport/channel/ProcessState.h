#pragma once

#include <mutex>
#include <shared_mutex>

/// State shared by the channels of one process. Internal, not installed.
namespace varnock {

/// Locks the client name and the event channel. Held for assignments only.
std::unique_lock<std::mutex> lockChannels();

/// Guards the thread-specific-data key of the request channels: shared for using it, exclusive for
/// creating and deleting it.
extern std::shared_mutex keyLock;

/// The id of this process. Channels store it: a channel opened before a fork() belongs to the
/// parent, whose replies and events the child must not read.
int currentProcess();

}  // namespace varnock
