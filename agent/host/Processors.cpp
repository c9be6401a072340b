#include "agent/host/Processors.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

/// Splits "name : value"; the name is empty for any other line.
std::pair<std::string, std::string> splitLine(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return {};
    }
    return {trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1))};
}

std::string_view cutLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// The integer part of "2445.432".
std::optional<unsigned> wholePart(const std::string& text) {
    return parseDecimal(std::string_view(text).substr(0, text.find('.')));
}

}  // namespace

unsigned configuredProcessors() {
    long count = sysconf(_SC_NPROCESSORS_CONF);
    // Without /sys the C library guesses 1 or 2; the affinity mask is then more reliable.
    cpu_set_t set;
    if (count <= 2 && sched_getaffinity(0, sizeof set, &set) == 0) {
        count = std::max<long>(count, CPU_COUNT(&set));
    }
    return static_cast<unsigned>(std::max(count, 1L));
}

std::filesystem::path Processors::directory(unsigned cpu) const {
    return root_ / "sys/devices/system/cpu" / ("cpu" + std::to_string(cpu));
}

bool Processors::online(unsigned cpu) const {
    // A processor that cannot be taken offline has no such file.
    return readNumber(directory(cpu) / "online").value_or(1) != 0;
}

std::optional<std::string> Processors::info(unsigned cpu, std::string_view name) const {
    const auto content = readFile(root_ / "proc/cpuinfo");
    bool wanted = false;
    std::string_view rest = content ? std::string_view(*content) : std::string_view();
    while (!rest.empty()) {
        const auto [key, value] = splitLine(cutLine(rest));
        if (key == "processor") {
            wanted = parseDecimal(value) == cpu;
        } else if (wanted && key == name && !value.empty()) {
            return value;
        }
    }
    return std::nullopt;
}

std::optional<unsigned> Processors::megahertz(unsigned cpu) const {
    if (const auto kilohertz = readNumber(directory(cpu) / "cpufreq/scaling_cur_freq")) {
        return *kilohertz / 1000;
    }
    const auto text = info(cpu, "cpu MHz");
    return text ? wholePart(*text) : std::nullopt;
}

std::optional<unsigned> Processors::stepping(unsigned cpu) const {
    const auto text = info(cpu, "stepping");
    return text ? parseDecimal(*text) : std::nullopt;
}

std::optional<unsigned> Processors::apicId(unsigned cpu) const {
    const auto text = info(cpu, "apicid");
    return text ? parseDecimal(*text) : std::nullopt;
}

}  // namespace varnock::agent
