#pragma once

#include <stdio.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

// The format of the trace file, which docs/trace-file.md describes. The library writes the file,
// the command line reads it. Internal, shared with the tools.
namespace varnock::tracefile {

// The fields at the beginning have one line each: a label, a value at a fixed column, a bar.

inline constexpr std::size_t kLineLength = 80;   ///< newline included
inline constexpr std::size_t kValueColumn = 35;  ///< behind the label and a blank
inline constexpr std::size_t kValueWidth = 43;
inline constexpr std::size_t kNumberDigits = 16;

enum Field : std::size_t {
    kFilePath,
    kFirstOpen,
    kLastOpen,
    kNumberOpens,
    kWrapCount,
    kRingBufferSize,
    kCurrentWritePosition,
    kFieldCount,
};

inline constexpr std::string_view kLabels[kFieldCount] = {
    "FilePath                         :", "FirstOpen                        :",
    "LastOpen                         :", "NumberOpens    (decimal)         :",
    "WrapCount      (decimal)         :", "RingBufferSize (decimal)         :",
    "CurrentWritePosition (dec bytes) :",
};

/// Where the value of a field begins.
constexpr std::size_t offsetOfValue(std::size_t field) {
    return field * kLineLength + kValueColumn;
}

// The file consists of records of one size. The first one holds the fields.

inline constexpr std::int64_t kRecordSize = 1024;
/// Where entries begin.
inline constexpr std::int64_t kEntriesBegin = kRecordSize;
/// Sizes and positions have 32 bits.
inline constexpr std::int64_t kLargestSize = std::numeric_limits<std::int32_t>::max();

constexpr std::int64_t roundUpToRecords(std::int64_t length) {
    return (length + kRecordSize - 1) / kRecordSize * kRecordSize;
}

/// Where entries continue behind a description that ends at `end`: at a record boundary, more than
/// one and at most two records further on.
constexpr std::int64_t behindDescription(std::int64_t end) {
    return (end + 2 * kRecordSize) / kRecordSize * kRecordSize;
}

// An entry, "Mmm dd hh:mm:ss host application[thread]: message": the time as asctime has it, the
// thread in hexadecimal.

inline constexpr std::size_t kTimeLength = 15;
/// Replaces a time that the calendar does not have.
inline constexpr char kNoTime[] = "mmm dd hh:mm:ss";
inline constexpr std::size_t kThreadDigits = 16;
inline constexpr char kBehindThread[] = "]: ";
/// The size of a buffer for the longest entry.
inline constexpr std::size_t kLongestEntry = 1184;

// Messages that mark a state of the library.

inline constexpr char kDescription[] = "Varnock Agent ";  ///< the beginning of its first line
inline constexpr char kEndOfDescription[] = "# End of header.";
inline constexpr char kEndOfInitialisation[] = "### End of initialization. ###";
inline constexpr char kWorkCycle[] = "### Start of work cycle. (";       ///< the number follows
inline constexpr char kProcessLine[] = "Process PID                : ";  ///< the number follows

/// The path of the file with this letter, cut to `size`.
inline void makePath(char* path, std::size_t size, const char* directory, const char* application,
                     char letter) {
    snprintf(path, size, "%s/log.%s_%c", directory, application, letter);
}

}  // namespace varnock::tracefile
