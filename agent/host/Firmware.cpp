#include "agent/host/Firmware.h"

#include "agent/host/Files.h"

namespace varnock::agent {

std::optional<std::string> Firmware::text(const char* name) const {
    return readLine(root_ / "sys/class/dmi/id" / name);
}

}  // namespace varnock::agent
