#include "agent/host/PciDevices.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <system_error>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDevices = "sys/bus/pci/devices";
constexpr std::size_t kPciHeaderSize = 64;

std::string nameOf(PciPlace place) {
    std::array<char, sizeof "0000:00:00.00"> name{};
    std::snprintf(name.data(), name.size(), "0000:%02x:%02x.%x", place.bus, place.device,
                  place.function);
    return name.data();
}

std::optional<PciPlace> placeOf(const std::string& name) {
    PciPlace place{};
    const int fields = std::sscanf(name.c_str(), "0000:%2hhx:%2hhx.%1hhx", &place.bus,
                                   &place.device, &place.function);
    // Formatting the address again shows whether the whole name was a valid address.
    return fields == 3 && nameOf(place) == name ? std::optional(place) : std::nullopt;
}

}  // namespace

std::optional<std::vector<PciPlace>> PciDevices::list() const {
    std::error_code failure;
    std::vector<PciPlace> places;
    for (fs::directory_iterator entry(root_ / kDevices, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        if (const auto place = placeOf(entry->path().filename())) {
            places.push_back(*place);
        }
    }
    if (failure) {
        return std::nullopt;
    }
    std::sort(places.begin(), places.end());
    return places;
}

std::optional<std::vector<unsigned char>> PciDevices::header(PciPlace place) const {
    const auto content = readFile(root_ / kDevices / nameOf(place) / "config", kPciHeaderSize);
    if (!content || content->size() != kPciHeaderSize) {
        return std::nullopt;
    }
    return std::vector<unsigned char>(content->begin(), content->end());
}

}  // namespace varnock::agent
