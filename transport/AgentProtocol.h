#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

/// The protocol of the agent's sockets: statuses, frames, registration and events. The library, the
/// development agent and the command line share these definitions. docs/wire-format.md has a
/// byte-level example.
namespace varnock {

/// The status of a command, "ST" in its record. The agent sets it unless noted otherwise; a number
/// that is not listed is also a failure.
enum class CommandStatus : std::uint32_t {
    success = 0,
    failed = 1,            ///< the agent failed the command
    invalid = 2,           ///< the agent refused an argument
    noChannel = 3,         ///< no request channel; set by the client
    wrongState = 4,        ///< not possible in this state
    hungUp = 6,            ///< the connection broke; set by the client
    transferFailed = 9,    ///< the same, within a frame; set by the client
    successToo = 12,       ///< success; the client reports it as 0
    timedOut = 15,         ///< the agent did not answer in time; set by the client
    noMemory = 17,         ///< or the record is too long for a frame; set by both sides
    notAvailable = 19,     ///< an ordinary negative answer: the machine does not have it
    successOfRecord = 21,  ///< success for the record, a failure for typed calls
    missing = 22,          ///< there is no status in the reply
    notAllowed = 24,
    noSuchObject = 25,          ///< an ordinary negative answer
    successUndefined = 255,     ///< as 21
    accessDenied = 0x00040009,  ///< the client raises "access denied"
};

constexpr std::uint32_t toNumber(CommandStatus status) {
    return static_cast<std::uint32_t>(status);
}
constexpr bool operator==(std::uint32_t number, CommandStatus status) {
    return number == toNumber(status);
}

/// @name Frames
/// A 32-bit length word in host byte order, then that many bytes: the text of a record and its NUL.
/// @{

/// The bytes of the length word.
inline constexpr std::size_t kFrameHeader = sizeof(std::uint32_t);
/// The longest text of a request with its NUL, and the longest frame of a reply.
inline constexpr std::size_t kFrameLimit = 0x100000;

/// The length of the frame of a text.
constexpr std::size_t frameSize(std::string_view text) {
    return kFrameHeader + text.size() + 1;
}
/// Writes the frame of a text. REQUIRES: space for frameSize() bytes.
inline void writeFrame(char* out, std::string_view text) {
    const auto length = static_cast<std::uint32_t>(text.size() + 1);
    std::memcpy(out, &length, kFrameHeader);
    std::memcpy(out + kFrameHeader, text.data(), text.size());
    out[kFrameHeader + text.size()] = '\0';
}
/// @}

/// @name Registration
/// The first command on a connection. The reply returns its byte block with the agent's descriptor
/// in place of the client's.
/// @{

inline constexpr std::uint32_t kRegisterOpcode = 0xFFA0;
/// The channels, by the operation extension of their registration.
enum class Channel : std::uint32_t { request = 0x1100, event = 0x1200 };
/// The byte block: the client's name, padded with zeros, and at offset 68 the descriptor of the
/// sender's end as a 32-bit word; zeros elsewhere.
inline constexpr std::size_t kRegistrationSize = 224;
inline constexpr std::size_t kRegistrationNameSize = 64;
inline constexpr std::size_t kRegistrationDescriptor = 68;
/// @}

/// The events passed to a listener, by operation code. The data is the sequence number of the log
/// entry.
enum class EventOpcode : std::uint32_t { systemMessageLog = 0x0B11, driverMonitorLog = 0x181B };

constexpr bool operator==(std::uint32_t number, EventOpcode event) {
    return number == static_cast<std::uint32_t>(event);
}

}  // namespace varnock
