#pragma once

#include "transport/channel/ClientOptions.h"

/// The request channel of a thread. Internal, not installed.
namespace varnock {

/// A thread's connection to the agent, in thread-specific data, which closes it when the thread
/// ends.
struct RequestChannel {
    int fd = -1;
    unsigned int timeout = 30000;  ///< minimum wait of a request in milliseconds
    unsigned int retries = 10;
    int process = 0;  ///< that opened it
};

/// The maximum wait of a request in milliseconds.
inline constexpr unsigned int kLongestTimeout = 180000;

/// The calling thread's channel, created if necessary; null if that fails.
[[nodiscard]] RequestChannel* getThreadSpecificDataJson();
/// Closes and frees a channel; also runs at the end of a thread with a channel.
void destroyThreadSpecificDataJson(void* data);
/// Connects and registers unless already done. Returns the descriptor or kNotOpened.
[[nodiscard]] int openRequestChannel(RequestChannel* channel);
/// Registers the calling thread's channel; closes it on failure.
[[nodiscard]] bool initRequestChannel(RequestChannel& channel, const ClientOptions* options,
                                      unsigned int timeoutMs);
void closeRequestChannel(RequestChannel& channel);
/// SendRequest() for a frame of up to `frameRoom` bytes and a reply of up to `replyRoom` bytes.
[[nodiscard]] int sendRequest(unsigned int* frame, unsigned int frameRoom, unsigned int replyRoom,
                              unsigned int timeoutMs);

}  // namespace varnock
