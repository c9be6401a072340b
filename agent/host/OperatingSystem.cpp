#include "agent/host/OperatingSystem.h"

#include <grp.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <string_view>
#include <vector>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

struct Distribution {
    std::string_view id;
    unsigned type;
};

/// CIM_OperatingSystem.OSType, the values for 64-bit machines.
constexpr Distribution kDistributions[] = {
    {"rhel", 80},    {"opensuse-leap", 83}, {"opensuse-tumbleweed", 83},
    {"sles", 85},    {"ubuntu", 94},        {"debian", 96},
    {"centos", 107}, {"ol", 109},
};
constexpr unsigned kLinux64 = 101;

/// The value of a line NAME=value with the quoting of a shell.
std::string unquoted(std::string_view value) {
    if (value.size() < 2 || (value.front() != '"' && value.front() != '\'') ||
        value.back() != value.front()) {
        return std::string(value);
    }
    const bool escapes = value.front() == '"';
    value = value.substr(1, value.size() - 2);
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (escapes && value[i] == '\\' && i + 1 < value.size()) {
            ++i;
        }
        text += value[i];
    }
    return text;
}

std::string valueOf(std::string_view content, const std::string& name) {
    while (!content.empty()) {
        const std::size_t end = std::min(content.find('\n'), content.size());
        const std::string line = trimmed(content.substr(0, end));
        content.remove_prefix(std::min(end + 1, content.size()));
        if (line.rfind(name + '=', 0) == 0) {
            return unquoted(std::string_view(line).substr(name.size() + 1));
        }
    }
    return {};
}

bool isHexText(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    });
}

}  // namespace

std::optional<std::string> OperatingSystem::release(const std::string& name) const {
    auto content = readFile(root_ / "etc/os-release");
    if (!content) {
        content = readFile(root_ / "usr/lib/os-release");
    }
    std::string value = content ? valueOf(*content, name) : std::string();
    return value.empty() ? std::nullopt : std::optional(std::move(value));
}

std::optional<std::string> OperatingSystem::productName() const {
    const auto pretty = release("PRETTY_NAME");
    return pretty ? pretty : release("NAME");
}

std::optional<std::string> OperatingSystem::version() const {
    for (const char* name : {"VERSION", "VERSION_ID"}) {
        if (auto version = release(name)) {
            return version;
        }
    }
    utsname system{};
    return uname(&system) == 0 ? std::optional<std::string>(system.release) : std::nullopt;
}

unsigned OperatingSystem::dmtfType() const {
    const std::string id = release("ID").value_or("");
    for (const Distribution& distribution : kDistributions) {
        if (id == distribution.id) {
            return distribution.type;
        }
    }
    return kLinux64;
}

std::optional<std::string> OperatingSystem::machineId() const {
    constexpr std::size_t kDigits = 32;
    auto id = readLine(root_ / "etc/machine-id");
    if (!id || id->size() != kDigits || !isHexText(*id)) {
        return std::nullopt;
    }
    for (const std::size_t dash : {20U, 16U, 12U, 8U}) {
        id->insert(dash, 1, '-');
    }
    return id;
}

std::optional<std::string> hostName() {
    utsname system{};
    if (uname(&system) != 0 || system.nodename[0] == '\0') {
        return std::nullopt;
    }
    return system.nodename;
}

std::optional<std::string> ownGroup() {
    constexpr std::size_t kBufferSize = 65536;
    std::vector<char> buffer(kBufferSize);
    group entry{};
    group* found = nullptr;
    if (getgrgid_r(getegid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr) {
        return std::nullopt;
    }
    return found->gr_name;
}

unsigned systemTime() {
    return static_cast<unsigned>(time(nullptr));
}

std::optional<unsigned> timeZoneHours() {
    constexpr long kHour = 3600;
    const time_t now = time(nullptr);
    tm local{};
    if (localtime_r(&now, &local) == nullptr || local.tm_gmtoff % kHour != 0) {
        return std::nullopt;
    }
    return static_cast<unsigned>(local.tm_gmtoff / kHour);
}

}  // namespace varnock::agent
