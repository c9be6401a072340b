#pragma once

#include <shared_mutex>

#include "util/Mutex.h"

/// State shared by the channels of one process. Internal, not installed.
namespace varnock {

/// Guards the client name and the event channel.
extern Mutex channelLock;

/// Holds the channel lock, for assignments only.
class VARNOCK_SCOPED_LOCK ChannelsHeld {
  public:
    ChannelsHeld() VARNOCK_ACQUIRE(channelLock);
    ~ChannelsHeld() VARNOCK_RELEASE() { channelLock.unlock(); }
    ChannelsHeld(const ChannelsHeld&) = delete;
    ChannelsHeld& operator=(const ChannelsHeld&) = delete;
};

class VARNOCK_LOCK KeyLock {
  public:
    constexpr KeyLock() = default;
    void lock() VARNOCK_ACQUIRE() { mutex_.lock(); }
    void unlock() VARNOCK_RELEASE() { mutex_.unlock(); }
    void lock_shared() VARNOCK_ACQUIRE_SHARED() { mutex_.lock_shared(); }
    void unlock_shared() VARNOCK_RELEASE_SHARED() { mutex_.unlock_shared(); }

  private:
    std::shared_mutex mutex_;
};

/// Guards the thread-specific-data key of the request channels.
extern KeyLock keyLock;

/// Holds the key lock to use the key.
class VARNOCK_SCOPED_LOCK KeyInUse {
  public:
    KeyInUse() VARNOCK_ACQUIRE_SHARED(keyLock) { keyLock.lock_shared(); }
    ~KeyInUse() VARNOCK_RELEASE() { keyLock.unlock_shared(); }
    KeyInUse(const KeyInUse&) = delete;
    KeyInUse& operator=(const KeyInUse&) = delete;
};

/// Holds the key lock to create or delete the key.
class VARNOCK_SCOPED_LOCK KeyChange {
  public:
    KeyChange() VARNOCK_ACQUIRE(keyLock) { keyLock.lock(); }
    ~KeyChange() VARNOCK_RELEASE() { keyLock.unlock(); }
    KeyChange(const KeyChange&) = delete;
    KeyChange& operator=(const KeyChange&) = delete;
};

/// The id of this process. Channels store it: a channel opened before a fork() belongs to the
/// parent, whose replies and events the child must not read.
int currentProcess();

}  // namespace varnock
