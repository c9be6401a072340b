#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "agent/host/Processors.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/PrivateFile.h"
#include "hardware/CpuInfo.h"

// Reads any bytes as the kernel's list of processors: the library, which is compared with a simple
// model of the format, and the agent.

namespace {

using varnock::fuzz::PrivateFile;
using varnock::fuzz::require;
using Record = _Cpu_Data_From_OS_;

constexpr std::size_t kLongestPiece = 511;

/// A file tree with the list at the place where the agent looks for it.
struct Tree {
    Tree() {
        std::filesystem::create_directories(root + "/proc");
        setenv("QX_CPUINFO_FILE", file.path().c_str(), 1);
    }
    const std::string root = secure_getenv("TMPDIR");
    const PrivateFile file{"proc/cpuinfo"};
};

std::string trimmed(const std::string& text) {
    constexpr const char* kSpace = " \t\n\v\f\r";
    const std::size_t begin = text.find_first_not_of(kSpace);
    return begin == text.npos ? "" : text.substr(begin, text.find_last_not_of(kSpace) + 1 - begin);
}

std::vector<Record> model(std::string_view file) {
    std::vector<Record> records;
    while (!file.empty()) {
        const std::size_t newline = file.substr(0, kLongestPiece).find('\n');
        const std::size_t length = newline != file.npos ? newline + 1 : kLongestPiece;
        const std::string line = std::string(file.substr(0, length)).c_str();
        file.remove_prefix(std::min(length, file.size()));
        const std::size_t colon = line.find(':');
        if (colon == line.npos) {
            continue;
        }
        const std::string value = trimmed(line.substr(colon + 1));
        // Blanks before a key count.
        const std::string key = trimmed("|" + line.substr(0, colon)).substr(1);
        if (value.empty()) {
            continue;
        }
        const auto number = static_cast<std::uint32_t>(std::strtol(value.c_str(), nullptr, 10));
        if (key == "processor") {
            records.emplace_back().processor = static_cast<std::int32_t>(number);
        }
        if (records.empty()) {
            continue;
        }
        Record& record = records.back();
        record.family = key == "cpu family" ? number : record.family;
        record.model = key == "model" ? number : record.model;
        record.stepping = key == "stepping" || key == "revision" ? number : record.stepping;
        record.speed = key == "cpu MHz" ? number : record.speed;
        record.cacheSize = key == "cache size" ? number : record.cacheSize;
        record.cores = key == "cpu cores" ? number : record.cores;
        record.apicId = key == "apicid" ? number : record.apicId;
        record.initialApicId = key == "initial apicid" ? number : record.initialApicId;
        record.modelName = key == "model name" ? value : record.modelName;
        record.vendorId = key == "vendor_id" || key == "vendor" ? value : record.vendorId;
    }
    return records;
}

bool isSame(const Record& one, const Record& other) {
    return one.processor == other.processor && one.family == other.family &&
           one.model == other.model && one.stepping == other.stepping && one.speed == other.speed &&
           one.cacheSize == other.cacheSize && one.cores == other.cores &&
           one.apicId == other.apicId && one.initialApicId == other.initialApicId &&
           one.modelName == other.modelName && one.vendorId == other.vendorId;
}

void checkGetters(const std::vector<Record>& expected) {
    const CCpuInfoOS info;
    const auto count = static_cast<unsigned int>(expected.size());
    require(info.GetNumberLogicalCPUsFromOS() == count, "GetNumberLogicalCPUsFromOS");
    for (unsigned int i = 0; i <= count; ++i) {
        const Record record = i < count ? expected[i] : Record();
        require(info.GetCpuFamilyFromOS(i) == record.family, "GetCpuFamilyFromOS");
        require(info.GetCpuModelFromOS(i) == record.model, "GetCpuModelFromOS");
        require(info.GetCpuStepFromOS(i) == record.stepping, "GetCpuStepFromOS");
        require(info.GetCpuSpeedFromOS(i) == record.speed, "GetCpuSpeedFromOS");
        require(info.GetCpuNrCoresFromOS(i) == record.cores, "GetCpuNrCoresFromOS");
        require(info.GetCpuApicIdFromOS(i) == record.apicId, "GetCpuApicIdFromOS");
        std::string manufacturer;
        require(info.GetCpuManufacturerFromOS(i, manufacturer) == (i < count),
                "GetCpuManufacturerFromOS");
        require(manufacturer.empty() == (i >= count), "the manufacturer");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Tree tree;
    const std::string list(reinterpret_cast<const char*>(data), size);
    tree.file.write(list);
    const std::vector<Record> expected = model(list);
    std::vector<Record> records;
    require(CCpuInfoOS::GetCpuDataFromOS(records) == !expected.empty(), "the result");
    require(std::equal(records.begin(), records.end(), expected.begin(), expected.end(), isSame),
            "the records");
    checkGetters(expected);

    const varnock::agent::Processors processors(tree.root);
    for (const unsigned int cpu : {0U, 1U, 7U}) {
        static_cast<void>(processors.megahertz(cpu));
        static_cast<void>(processors.apicId(cpu));
        const auto stepping = processors.info(cpu, "stepping");
        require(!processors.stepping(cpu) || stepping, "a stepping without its line");
    }
    return 0;
}
