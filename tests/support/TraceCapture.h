#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/DebugTestAccess.h"

namespace varnock::test {

/// Captures the trace of the global `Debug` during its lifetime.
///
/// Activates the trace at the given level and directs it to standard error, which goes to memory
/// meanwhile: nothing reaches the terminal, and all other output to standard error is captured too.
/// The destructor restores everything. Captures may nest; the innermost one gets the entries.
///
///     TraceCapture trace;                       // level 255: everything
///     EXPECT_EQ(OpenFile("/nowhere"), -1);
///     EXPECT_TRUE(trace.contains("OpenFile: \"/nowhere\" failed (2)")) << trace.text();
///
///     TraceCapture failures(1);                 // only levels 0 and 1
///     EXPECT_THAT(failures.messages(), testing::ElementsAre("SendRequest: no channel"));
///
/// An entry is a line of its header ("Nov  3 10:11:12 host CIM_Provider[00000000F7A51740]: ") and
/// its message. A message has lost the newlines at its start and end, and is cut to 1024 bytes. A
/// message with newlines inside is several lines, of which the first has a header.
///
/// Thread-safety: any number of threads may trace meanwhile; the capture itself may be used by one
/// thread at a time. The amount of trace output is unlimited: no pipe fills up.
class TraceCapture {
  public:
    explicit TraceCapture(unsigned int level = 255);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    /// All output since the start or the last clear().
    std::string text() const;
    /// text() by lines, without their newlines.
    std::vector<std::string> lines() const;
    /// lines() without their headers.
    std::vector<std::string> messages() const;
    /// True if a message contains `text`.
    bool contains(std::string_view text) const { return count(text) != 0; }
    /// The number of messages that contain `text`.
    std::size_t count(std::string_view text) const;
    /// Discards the captured output.
    void clear();
    /// Changes the level.
    void setLevel(unsigned int level);

  private:
    DebugTestAccess::Switches before_;
    int standardError_;
    int memory_;
    std::size_t begin_ = 0;
};

/// The message of an entry: the line without its header, if it has one.
std::string withoutEntryHeader(const std::string& line);

}  // namespace varnock::test
