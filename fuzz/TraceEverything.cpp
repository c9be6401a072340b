// Part of every fuzz program: the library traces at the highest level into a private file, so that
// texts of the input pass through the trace as well.
#include <cstdlib>
#include <string>

#include "fuzz/Fuzzing.h"
#include "runtime/Debug.h"
#include "tests/support/DebugTestAccess.h"

namespace {

constexpr unsigned int kTraceFile = 2;
constexpr unsigned int kHighestLevel = 255;
constexpr long kFileSize = 1L << 20;

const bool kTraces = [] {
    const std::string path = std::string(secure_getenv("QX_LOG_RINGBUF_DIR")) + "/trace";
    varnock::fuzz::require(Debug.InitRingBuffer(path.c_str(), kFileSize) == 1,
                           "the trace file cannot be opened");
    varnock::test::DebugTestAccess::set(Debug, {kTraceFile, kHighestLevel, kHighestLevel, 1});
    return true;
}();

}  // namespace
