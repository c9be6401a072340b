#pragma once

#include <array>
#include <string>

#include "fuzz/Fuzzing.h"
#include "runtime/trace/TraceFileFormat.h"

namespace varnock::fuzz {

/// The bytes of a trace file. The first byte of the input selects the form: an odd number means
/// that the rest is the file; an even one, that the header is made from four lines (number of
/// opens, number of wraps, size, position) and the rest is everything from the first entry on.
inline std::string traceFileIn(Input& input) {
    namespace format = varnock::tracefile;
    if (input.byte() % 2 == 1) {
        return std::string(input.rest());
    }
    std::string file;
    for (std::size_t field = 0; field < format::kFieldCount; ++field) {
        std::string line(format::kLabels[field]);
        line.resize(format::kValueColumn, ' ');
        line += field < format::kNumberOpens ? "Tue Nov 14 22:13:20 2023" : input.line();
        line.resize(format::kLineLength - 2, ' ');
        file += line + "|\n";
    }
    file += std::string(format::kLineLength - 2, '-') + "+\n";
    file.resize(format::kEntriesBegin - 1, ' ');
    return file + '\n' + std::string(input.rest());
}

}  // namespace varnock::fuzz
