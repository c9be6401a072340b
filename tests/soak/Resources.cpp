#include "tests/soak/Resources.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "tests/support/Sanitizers.h"

namespace varnock::soak {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> openDescriptors() {
    std::vector<std::string> open;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        std::string target = fs::read_symlink(entry.path(), error);
        // The number of a socket is another for each connection.
        const std::size_t number = target.find(":[");
        target.erase(std::min(number, target.size()));
        if (!error && !target.ends_with("/fd")) {
            open.push_back(std::move(target));
        }
    }
    std::sort(open.begin(), open.end());
    return open;
}

std::size_t residentMemory() {
    std::ifstream file("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

Resources resourcesNow() {
    Resources now;
    if (!test::kSanitized) {
        malloc_trim(0);
        const struct mallinfo2 info = mallinfo2();
        now.heap = info.uordblks + info.hblkhd;
    }
    now.resident = residentMemory();
    now.descriptors = openDescriptors();
    return now;
}

std::size_t peakMemory() {
    std::ifstream file("/proc/self/status");
    for (std::string word; file >> word;) {
        std::size_t kibibytes = 0;
        if (word == "VmHWM:" && file >> kibibytes) {
            return kibibytes * 1024;
        }
    }
    return 0;
}

std::optional<std::string> leakBetween(const Resources& first, const Resources& last) {
    std::vector<std::string> more;
    std::set_difference(last.descriptors.begin(), last.descriptors.end(), first.descriptors.begin(),
                        first.descriptors.end(), std::back_inserter(more));
    if (!more.empty()) {
        std::string text = "descriptors:";
        for (const std::string& target : more) {
            text += ' ' + target;
        }
        return text;
    }
    if (!test::kSanitized && last.heap > first.heap + kMoreHeap) {
        return std::to_string(last.heap - first.heap) + " bytes of the heap";
    }
    if (!test::kSanitized && last.resident > first.resident + kMoreResident) {
        return std::to_string(last.resident - first.resident) + " bytes of memory";
    }
    return std::nullopt;
}

}  // namespace varnock::soak
