#pragma once

#include "transport/channel/ClientOptions.h"

/// The request channel of a thread. Internal, not installed.
namespace varnock {

/// A thread's connection to the agent, in thread-specific data, which closes it when the thread
/// ends.
struct RequestChannel {
    int fd = -1;
    unsigned int timeout = 30000;  ///< milliseconds that a request waits at least
    unsigned int retries = 10;
    int process = 0;  ///< where it was opened
};

/// The most milliseconds that a request waits.
inline constexpr unsigned int kLongestTimeout = 180000;

/// The calling thread's channel, made if necessary; null when there can be none.
RequestChannel* getThreadSpecificDataJson();
/// Closes and frees a channel; also the end of every thread that had one.
void destroyThreadSpecificDataJson(void* channel);
/// Connects and registers unless that is done. Returns the descriptor or kNotOpened.
int openRequestChannel(RequestChannel* channel);
/// Registers the calling thread's channel; closes it when that fails.
bool initRequestChannel(RequestChannel& channel, const ClientOptions* options,
                        unsigned int timeoutMs);
void closeRequestChannel(RequestChannel& channel);
/// SendRequest() for a frame that may take `frameRoom` bytes and a reply that may take `replyRoom`.
int sendRequest(unsigned int* frame, unsigned int frameRoom, unsigned int replyRoom,
                unsigned int timeoutMs);

}  // namespace varnock
