#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "agent/host/Components.h"
#include "agent/host/Firmware.h"
#include "agent/host/FirmwareTable.h"
#include "agent/host/Smbios.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/PrivateFile.h"

// Reads any bytes as the table of the firmware, from the kernel's files and from physical memory.
// The structures are compared with those of a simple model of the format.
//
// Input: a form, the version (2 bytes), a length (2 bytes, the low one first), then the table. Form
// 0: the bytes of that length before the table are the entry point; 1, 2, 3: a correct entry point
// of version 3, of version 2, of older versions, with that length.

namespace {

using namespace varnock::agent;
using varnock::fuzz::Input;
using varnock::fuzz::PrivateFile;
using varnock::fuzz::require;
using Bytes = std::vector<std::uint8_t>;

/// Where firmware places its entry point.
constexpr off_t kArea = 0xF0000;
constexpr off_t kAreaEnd = 0x100000;
constexpr unsigned int kTableOffset = 0x20;

void put(std::string& bytes, std::size_t offset, std::size_t size, std::uint64_t number) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes[offset + i] = static_cast<char>(number >> (8 * i));
    }
}

/// Makes the bytes from `begin` add up to 0.
void addChecksum(std::string& bytes, std::size_t begin, std::size_t size, std::size_t offset) {
    unsigned int sum = 0;
    for (std::size_t i = begin; i < begin + size; ++i) {
        sum += static_cast<unsigned char>(bytes[i]);
    }
    bytes[offset] = static_cast<char>(256 - sum % 256);
}

std::string entryOfVersion3(unsigned int major, unsigned int minor, unsigned int length) {
    std::string entry = "_SM3_";
    entry.resize(0x18);
    put(entry, 6, 1, entry.size());
    put(entry, 7, 1, major);
    put(entry, 8, 1, minor);
    put(entry, 0x0C, 4, length);
    put(entry, 0x10, 8, kArea + kTableOffset);
    addChecksum(entry, 0, entry.size(), 5);
    return entry;
}

std::string entryBeforeVersion2(unsigned int version, unsigned int length) {
    std::string entry = "_DMI_";
    entry.resize(0x0F);
    put(entry, 6, 2, length);
    put(entry, 8, 4, kArea + kTableOffset);
    put(entry, 0x0E, 1, version);
    addChecksum(entry, 0, entry.size(), 5);
    return entry;
}

std::string entryOfVersion2(unsigned int major, unsigned int minor, unsigned int length) {
    std::string entry = "_SM_";
    entry.resize(0x10);
    entry += entryBeforeVersion2(0x24, length);
    put(entry, 5, 1, entry.size());
    put(entry, 6, 1, major);
    put(entry, 7, 1, minor);
    addChecksum(entry, 0, entry.size(), 4);
    return entry;
}

std::string entryIn(Input& input) {
    const unsigned int form = input.byte() % 4;
    const unsigned int major = input.byte();
    const unsigned int minor = input.byte();
    const unsigned int length = input.word();
    switch (form) {
        case 1:
            return entryOfVersion3(major, minor, length);
        case 2:
            return entryOfVersion2(major, minor, length);
        case 3:
            return entryBeforeVersion2(major, length);
        default:
            return std::string(input.bytes(length));
    }
}

/// A structure of the model.
struct Structure {
    Bytes fields;
    std::vector<std::string> texts;
};

std::vector<Structure> model(const Bytes& table) {
    std::vector<Structure> structures;
    std::size_t at = 0;
    while (table.size() - at >= 4) {
        const std::size_t length = table[at + 1];
        std::size_t end = at + length;
        if (length < 4 || end > table.size()) {
            break;
        }
        Structure next{{table.begin() + static_cast<std::ptrdiff_t>(at),
                        table.begin() + static_cast<std::ptrdiff_t>(end)},
                       {}};
        std::string text;
        bool isWhole = false;
        for (; end < table.size() && !isWhole; ++end) {
            if (table[end] != 0) {
                text.push_back(static_cast<char>(table[end]));
            } else if (!text.empty()) {
                next.texts.push_back(std::exchange(text, {}));
                isWhole = end + 1 < table.size() && table[end + 1] == 0;
                end += isWhole ? 1 : 0;
            } else {
                // Without texts, two zero bytes follow the fields.
                isWhole = end + 1 < table.size() && table[end + 1] == 0;
                end += isWhole ? 1 : 0;
                if (!isWhole) {
                    next.texts.emplace_back();
                }
            }
        }
        if (!isWhole || next.fields[0] == 127) {
            break;
        }
        structures.push_back(next);
        at = end;
    }
    return structures;
}

std::optional<unsigned int> numberAt(const Bytes& fields, std::size_t offset, std::size_t size) {
    if (offset + size > fields.size()) {
        return std::nullopt;
    }
    unsigned int number = 0;
    for (std::size_t i = size; i-- > 0;) {
        number = number << 8 | fields[offset + i];
    }
    return number;
}

void checkStructure(const SmbiosStructure& structure, const Structure& expected) {
    require(structure.type() == expected.fields[0], "the type");
    for (std::size_t offset = 0; offset <= expected.fields.size(); ++offset) {
        require(structure.byte(offset) == numberAt(expected.fields, offset, 1), "a byte");
        require(structure.word(offset) == numberAt(expected.fields, offset, 2), "a word");
        require(structure.dword(offset) == numberAt(expected.fields, offset, 4), "a double word");
        const unsigned int number = numberAt(expected.fields, offset, 1).value_or(0);
        const auto text = structure.text(offset);
        const bool isThere = number >= 1 && number <= expected.texts.size();
        require(isThere || !text, "a text that is not there");
        require(!text || expected.texts[number - 1].find(*text) != std::string::npos, "a text");
    }
}

/// Every fact about the components.
void readComponents(const SmbiosTable& table) {
    static_cast<void>(systems(table));
    static_cast<void>(boards(table));
    static_cast<void>(chassis(table));
    static_cast<void>(processors(table));
    static_cast<void>(memoryModules(table));
    static_cast<void>(biosVersion(table));
    static_cast<void>(systemUuid(table));
}

/// The machine's files and memory.
struct Machine {
    Machine() {
        std::filesystem::create_directories(root + "/sys/firmware/dmi/tables");
        setenv("QX_MEMORY_DEVICE", memory.path().c_str(), 1);
    }
    void fill(const std::string& entry, const std::string& bytes) const {
        entryPoint.write(entry);
        table.write(bytes);
        const varnock::FileDescriptor device(
            open(memory.path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        std::string area = entry;
        area.resize(std::max<std::size_t>(area.size(), kTableOffset));
        area += bytes;
        area.resize(std::min<std::size_t>(area.size(), kAreaEnd - kArea));
        const bool isFilled = ftruncate(device.get(), kArea) == 0 &&
                              ftruncate(device.get(), kAreaEnd) == 0 &&
                              pwrite(device.get(), area.data(), area.size(), kArea) ==
                                  static_cast<ssize_t>(area.size());
        require(isFilled, "cannot fill the memory");
    }

    const std::string root = secure_getenv("TMPDIR");
    const PrivateFile entryPoint{"sys/firmware/dmi/tables/smbios_entry_point"};
    const PrivateFile table{"sys/firmware/dmi/tables/DMI"};
    const PrivateFile memory{"memory"};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Machine machine;
    Input input(data, size);
    const std::string entry = entryIn(input);
    const std::string bytes(input.rest());
    machine.fill(entry, bytes);
    if (const auto table = tableOfKernel(machine.root)) {
        const std::vector<Structure> expected = model({bytes.begin(), bytes.end()});
        require(table->structures().size() == expected.size(), "the number of structures");
        for (std::size_t i = 0; i < expected.size(); ++i) {
            checkStructure(table->structures()[i], expected[i]);
        }
        readComponents(*table);
    }
    if (const auto table = tableInMemory()) {
        readComponents(*table);
    }
    return 0;
}
