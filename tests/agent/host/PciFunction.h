#pragma once

#include <string>

namespace varnock::agent {

/// The configuration header of a device of vendor 8086.
inline std::string pciHeader(unsigned device, unsigned baseClass, unsigned subClass) {
    std::string header(64, '\0');
    header[0] = '\x86';
    header[1] = '\x80';
    header[2] = static_cast<char>(device & 0xFF);
    header[3] = static_cast<char>(device >> 8);
    header[8] = 3;
    header[10] = static_cast<char>(subClass);
    header[11] = static_cast<char>(baseClass);
    return header;
}

}  // namespace varnock::agent
