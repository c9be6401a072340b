#include "hardware/CpuInfo.h"

#include <cpuid.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <new>
#include <optional>
#include <string_view>

#include "runtime/Debug.h"
#include "runtime/files/FileDescriptor.h"
#include "runtime/files/FileStream.h"
#include "runtime/files/PlatformPaths.h"
#include "util/Ascii.h"

static_assert(offsetof(_Cpu_Data_From_OS_, processor) == 0);
static_assert(offsetof(_Cpu_Data_From_OS_, initialApicId) == 32);
static_assert(offsetof(_Cpu_Data_From_OS_, modelName) == 48);

namespace {

using CpuRecord = _Cpu_Data_From_OS_;
using varnock::FileDescriptor;
using varnock::FileStream;
using varnock::isSpace;

constexpr unsigned int kNotKnown = 0xFFFFFFFF;
constexpr unsigned int kCacheLevelOfFile = 2;
constexpr int kEndOfFile = -1;
constexpr int kKeyAndValue = 2;

using Line = std::array<char, 512>;
/// Larger than the C library's own, which is a quarter of what the kernel gives in one read.
using FileBuffer = std::array<char, 16'384>;

struct NumberKey {
    std::string_view key;
    std::uint32_t CpuRecord::*member;
};

constexpr NumberKey kNumberKeys[] = {
    {"cpu family", &CpuRecord::family},
    {"model", &CpuRecord::model},
    {"stepping", &CpuRecord::stepping},
    {"revision", &CpuRecord::stepping},
    {"cpu MHz", &CpuRecord::speed},
    {"cache size", &CpuRecord::cacheSize},
    {"cpu cores", &CpuRecord::cores},
    {"apicid", &CpuRecord::apicId},
    {"initial apicid", &CpuRecord::initialApicId},
};

std::string_view withoutLeadingSpace(std::string_view text) {
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

std::string_view withoutTrailingSpace(std::string_view text) {
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// A key and a non-empty value, both in the NUL-terminated buffer of their line.
struct Pair {
    std::string_view key;
    std::string_view value;
};

/// The leading integer: 2394 for "2394.000", 512 for "512 KB".
std::uint32_t numberOf(std::string_view value) {
    return static_cast<std::uint32_t>(varnock::toNumber(strtol, value.data(), nullptr, 10));
}

std::optional<Pair> nextPair(FILE* file, Line& buffer) {
    while (fgets(buffer.data(), static_cast<int>(buffer.size()), file) != nullptr) {
        const std::string_view line(buffer.data());
        const size_t colon = line.find(':');
        if (colon == std::string_view::npos) {
            continue;
        }
        const std::string_view value =
            withoutTrailingSpace(withoutLeadingSpace(line.substr(colon + 1)));
        if (!value.empty()) {
            return Pair{withoutTrailingSpace(line.substr(0, colon)), value};
        }
    }
    return std::nullopt;
}

void store(CpuRecord& record, std::string_view key, std::string_view value) {
    if (key == "model name") {
        record.modelName = value;
        return;
    }
    if (key == "vendor_id" || key == "vendor") {
        record.vendorId = value;
        return;
    }
    for (const NumberKey& number : kNumberKeys) {
        if (key == number.key) {
            record.*number.member = numberOf(value);
            return;
        }
    }
}

/// A device may be endless: it is opened, but not read. Opening does not wait for the other end of
/// a pipe. The buffer must outlive the stream.
FileStream openCpuInfo(const char* path, FileBuffer& buffer) {
    FileDescriptor descriptor(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (descriptor && fstat(descriptor.get(), &status) == 0 && !S_ISREG(status.st_mode)) {
        descriptor = FileDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    FileStream stream(descriptor ? fdopen(descriptor.get(), "r") : nullptr);
    if (stream) {
        descriptor.release();
        // The stream is used by this thread only.
        __fsetlocking(stream.get(), FSETLOCKING_BYCALLER);
        setvbuf(stream.get(), buffer.data(), _IOFBF, buffer.size());
    }
    return stream;
}

/// Each "processor" line starts a record; lines before the first are skipped.
std::vector<CpuRecord> readRecords(FILE* file) {
    std::vector<CpuRecord> records;
    Line buffer;
    while (const auto pair = nextPair(file, buffer)) {
        if (pair->key == "processor") {
            records.emplace_back().processor = static_cast<std::int32_t>(numberOf(pair->value));
        } else if (!records.empty()) {
            store(records.back(), pair->key, pair->value);
        }
    }
    return records;
}

}  // namespace

CCpuInfoOS::CCpuInfoOS() {
    try {
        if (GetCpuDataFromOS(records_)) {
            count_ = static_cast<std::uint32_t>(records_.size());
        }
    } catch (const std::bad_alloc&) {
        // The library loads all the same.
        records_.clear();
    }
}

bool CCpuInfoOS::GetCpuDataFromOS(std::vector<CpuRecord>& out) {
    const std::string path = varnock::cpuInfoFile();
    FileBuffer buffer;
    const FileStream file = openCpuInfo(path.c_str(), buffer);
    if (!file) {
        const int error = errno;
        if (Debug.IsOn(2)) {
            Debug.Print(2, "GetCpuDataFromOS: cannont open %s errno=%d, \"%s\"\n", path.c_str(),
                        error, strerror(error));
        }
        return false;
    }
    std::vector<CpuRecord> records = readRecords(file.get());
    if (records.empty()) {
        if (Debug.IsOn(2)) {
            Debug.Print(2, "GetCpuDataFromOS: no suitable data found in %s\n", path.c_str());
        }
        return false;
    }
    out.insert(out.end(), std::make_move_iterator(records.begin()),
               std::make_move_iterator(records.end()));
    return true;
}

int CCpuInfoOS::GetAndPrepareLine(FILE* file, std::string& key, std::string& value) {
    if (file == nullptr) {
        return kEndOfFile;
    }
    Line buffer;
    const auto pair = nextPair(file, buffer);
    if (!pair) {
        return kEndOfFile;
    }
    key = pair->key;
    value = pair->value;
    return kKeyAndValue;
}

unsigned int CCpuInfoOS::field(unsigned int i, std::uint32_t CpuRecord::*member) const {
    return i < count_ ? records_[i].*member : kNotKnown;
}

unsigned int CCpuInfoOS::GetSizeOfCpuDataTableFromOS() const {
    return count_;
}
unsigned int CCpuInfoOS::GetNumberLogicalCPUsFromOS() const {
    return count_;
}
unsigned int CCpuInfoOS::GetCpuFamilyFromOS(unsigned int i) const {
    return field(i, &CpuRecord::family);
}
unsigned int CCpuInfoOS::GetCpuModelFromOS(unsigned int i) const {
    return field(i, &CpuRecord::model);
}
unsigned int CCpuInfoOS::GetCpuStepFromOS(unsigned int i) const {
    return field(i, &CpuRecord::stepping);
}
unsigned int CCpuInfoOS::GetCpuSpeedFromOS(unsigned int i) const {
    return field(i, &CpuRecord::speed);
}
unsigned int CCpuInfoOS::GetCpuNrCoresFromOS(unsigned int i) const {
    return field(i, &CpuRecord::cores);
}
unsigned int CCpuInfoOS::GetCpuApicIdFromOS(unsigned int i) const {
    return field(i, &CpuRecord::apicId);
}
unsigned int CCpuInfoOS::GetCpuApicIdInitialFromOS(unsigned int i) const {
    return field(i, &CpuRecord::initialApicId);
}

unsigned int CCpuInfoOS::GetCpuCacheSizeFromOS(unsigned int i, unsigned int level) const {
    if (i >= count_) {
        return kNotKnown;
    }
    if (level == kCacheLevelOfFile) {
        return records_[i].cacheSize;
    }
    if (Debug.IsOn(3)) {
        Debug.Print(3, "GetCpuCacheSizeFromOS:  : No data for CPU %d CacheLevel %d\n",
                    static_cast<int>(i), static_cast<int>(level));
    }
    return kNotKnown;
}

bool CCpuInfoOS::GetCpuManufacturerFromOS(unsigned int i, std::string& out) const {
    if (i >= count_) {
        return false;
    }
    const std::string& vendor = records_[i].vendorId;
    if (vendor == "GenuineIntel") {
        out = "Intel";
    } else if (vendor == "AuthenticAMD") {
        out = "AMD";
    } else if (vendor == "CyrixInstead") {
        out = "Cyrix";
    } else {
        out = "unknown";
    }
    return true;
}

int cpuRawRead(unsigned int* eax, unsigned int* ebx, unsigned int* ecx, unsigned int* edx) {
    if (eax == nullptr || ebx == nullptr || ecx == nullptr || edx == nullptr) {
        return 0;
    }
    constexpr unsigned int extendedRange = 0x80000000;
    const unsigned int leaf = *eax;
    unsigned int highest = 0;
    __cpuid(leaf >= extendedRange ? extendedRange : 0, highest, *ebx, *ecx, *edx);
    if (leaf > highest) {
        *eax = *ebx = *ecx = *edx = 0;
        return 0;
    }
    // Callers may leave *ecx uninitialised, so it does not select the sub-leaf.
    __cpuid_count(leaf, 0, *eax, *ebx, *ecx, *edx);
    return 1;
}
