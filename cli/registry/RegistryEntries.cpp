#include "cli/registry/RegistryEntries.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <utility>

#include "cli/output/Failure.h"
#include "runtime/registry/RegistryFormat.h"

namespace varnockctl {
namespace {

using namespace varnock::registryformat;

constexpr std::pair<const char*, unsigned int> kTypeNames[] = {{"string", REGISTRY_STRING},
                                                               {"expand", REGISTRY_EXPAND},
                                                               {"binary", REGISTRY_BINARY},
                                                               {"number", REGISTRY_NUMBER},
                                                               {"key", REGISTRY_KEY}};

constexpr RegistryRoot kRootNames[] = {{"HKLM", kLocalMachine},
                                       {"HKCU", kCurrentUser},
                                       {"HKU", kUsers},
                                       {"HKCR", kClassesRoot},
                                       {"HKCC", kCurrentConfig}};

/// Nested keys in a file can give paths with several hundred thousand parts each.
constexpr std::size_t kMaxPathBytes = std::size_t{64} << 20;

using Stream = std::unique_ptr<FILE, decltype(&fclose)>;

std::string rootName(const std::string& name) {
    for (const auto& [abbreviation, whole] : kRootNames) {
        if (name == abbreviation) {
            return whole;
        }
    }
    return name;
}

std::int32_t numberIn(const std::string& data) {
    std::int32_t number = 0;
    memcpy(&number, data.data(), std::min(data.size(), sizeof number));
    return number;
}

std::optional<std::string> parseBytes(const std::string& text) {
    std::string bytes;
    const char* next = text.data();
    const char* const end = next + text.size();
    while (next != end) {
        if (*next == ' ') {
            ++next;
            continue;
        }
        unsigned char byte = 0;
        const auto parsed = std::from_chars(next, std::min(next + 2, end), byte, 16);
        if (parsed.ec != std::errc{}) {
            return std::nullopt;
        }
        bytes += static_cast<char>(byte);
        next = parsed.ptr;
    }
    return bytes;
}

/// -2147483648 to 4294967295, decimal or 0x: signed or unsigned 32 bits.
std::optional<std::string> parseNumberBytes(const std::string& text) {
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const begin = text.data() + (isHexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    std::int64_t value = 0;
    const auto parsed = std::from_chars(begin, end, value, isHexadecimal ? 16 : 10);
    if (parsed.ec != std::errc{} || parsed.ptr != end || value < INT32_MIN || value > UINT32_MAX) {
        return std::nullopt;
    }
    const auto bits = static_cast<std::uint32_t>(value);
    return std::string(reinterpret_cast<const char*>(&bits), sizeof bits);
}

CRegistryNode* subkey(CRegistryNode& node, const std::string& name) {
    void* value = nullptr;
    return node.find(name.c_str(), value) == REGISTRY_KEY ? static_cast<CRegistryNode*>(value)
                                                          : nullptr;
}

void checkKeyName(const std::string& name) {
    if (name.size() > kLongestKeyName || name.find('\n') != name.npos) {
        throw Failure(ExitStatus::usage, "the file cannot hold this key: a name has at most " +
                                             std::to_string(kLongestKeyName) +
                                             " characters and no newline");
    }
}

CRegistryNode* createSubkey(CRegistryNode& node, const std::string& name) {
    void* value = nullptr;
    if (node.find(name.c_str(), value) == 0) {
        checkKeyName(name);
        auto fresh = std::make_unique<CRegistryNode>();
        node.put(name.c_str(), REGISTRY_KEY, fresh.get());
        return fresh.release();
    }
    return subkey(node, name);
}

RegistryEntry valueEntry(const std::string& key, const char* name, unsigned int type,
                         const void* value) {
    unsigned int number = 0;
    const void* data = CRegistryNode::valueData(type, value, number);
    RegistryEntry entry{key, name, type, {}};
    entry.data.assign(static_cast<const char*>(data), CRegistryNode::valueSize(type, value));
    if (type == REGISTRY_STRING || type == REGISTRY_EXPAND) {
        entry.data.pop_back();  // the NUL
    }
    return entry;
}

void put(CRegistryNode& node, const RegistryEntry& value) {
    node.put(value.name->c_str(), value.type,
             CRegistryNode::makeValue(value.type, value.data.data(),
                                      static_cast<unsigned int>(value.data.size())));
}

std::string joined(const std::string& path, const char* name) {
    return path.empty() ? name : path + '\\' + name;
}

}  // namespace

const char* RegistryEntry::typeName() const {
    for (const auto& [known, number] : kTypeNames) {
        if (number == type) {
            return known;
        }
    }
    return "unknown";
}

std::string RegistryEntry::text() const {
    if (type == REGISTRY_NUMBER) {
        return std::to_string(numberIn(data));
    }
    if (type != REGISTRY_BINARY) {
        return data;
    }
    std::string bytes;
    for (const char c : data) {
        char byte[4];
        snprintf(byte, sizeof byte, "%02x", static_cast<unsigned char>(c));
        bytes.append(bytes.empty() ? "" : " ").append(byte);
    }
    return bytes;
}

Json RegistryEntry::toJson(JsonAllocator& allocator) const {
    Json row(rapidjson::kObjectType);
    add(row, "key", key, allocator);
    add(row, "name", name ? varnockctl::text(*name, allocator) : Json(), allocator);
    add(row, "type", typeName(), allocator);
    if (type == REGISTRY_NUMBER) {
        add(row, "value", Json(numberIn(data)), allocator);
    } else {
        add(row, "value", name ? varnockctl::text(text(), allocator) : Json(), allocator);
    }
    return row;
}

unsigned int registryType(std::string_view name) {
    for (const auto& [known, number] : kTypeNames) {
        if (name == known && number != REGISTRY_KEY) {
            return number;
        }
    }
    return 0;
}

std::optional<std::string> parseRegistryData(unsigned int type, const std::string& text) {
    switch (type) {
        case REGISTRY_NUMBER:
            return parseNumberBytes(text);
        case REGISTRY_BINARY:
            return parseBytes(text);
        default:
            return text;
    }
}

CRegistryNode* findRegistryKey(CRegistryNode& root, const std::string& path) {
    CRegistryNode* node = &root;
    for (std::string_view rest = path; node != nullptr && !rest.empty();) {
        node = subkey(*node, std::string(takeComponent(rest)));
    }
    return node;
}

CRegistryNode* createRegistryKey(CRegistryNode& root, const std::string& path) {
    CRegistryNode* node = &root;
    for (std::string_view rest = path; node != nullptr && !rest.empty();) {
        const std::string part(takeComponent(rest));
        node = part.empty() ? nullptr : createSubkey(*node, part);
    }
    return node;
}

std::optional<RegistryEntry> findRegistryValue(CRegistryNode& node, const std::string& key,
                                               const std::string& name) {
    void* value = nullptr;
    const unsigned int type = node.find(name.c_str(), value);
    if (type == 0 || type == REGISTRY_KEY) {
        return std::nullopt;
    }
    return valueEntry(key, name.c_str(), type, value);
}

std::string normalRegistryPath(const std::string& path) {
    std::string normal;
    for (std::string_view rest = path; !rest.empty();) {
        std::string part(takeComponent(rest));
        if (normal.empty()) {
            part = rootName(part);
        }
        normal = joined(normal, part.c_str());
    }
    return normal;
}

std::span<const RegistryRoot> registryRoots() {
    return kRootNames;
}

bool isRegistryRoot(const std::string& name) {
    return std::any_of(std::begin(kRootNames), std::end(kRootNames),
                       [&](const auto& root) { return name == root.second; });
}

std::vector<RegistryEntry> registryEntries(CRegistryNode& node, const std::string& path) {
    std::vector<RegistryEntry> entries;
    std::size_t pathBytes = 0;
    // Keys still to be listed, the next one last. No recursion, because keys may be nested deeply.
    std::vector<std::pair<std::string, CRegistryNode*>> pending{{path, &node}};
    while (!pending.empty()) {
        const auto [key, current] = pending.back();
        pending.pop_back();
        pathBytes += key.size();
        if (pathBytes > kMaxPathBytes) {
            throw Failure(ExitStatus::unintelligible, "the keys are nested too deep to be listed");
        }
        if (!key.empty()) {
            entries.push_back({key, std::nullopt, REGISTRY_KEY, {}});
        }
        const std::size_t firstSubkey = pending.size();
        for (unsigned int i = 0; i < current->entries(); ++i) {
            const char* name = nullptr;
            void* value = nullptr;
            const unsigned int type = current->entryAt(i, name, value);
            if (type == REGISTRY_KEY && value != nullptr) {
                pending.emplace_back(joined(key, name), static_cast<CRegistryNode*>(value));
            } else if (type == REGISTRY_NUMBER || (type != REGISTRY_KEY && value != nullptr)) {
                entries.push_back(valueEntry(key, name, type, value));
            }
        }
        std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(firstSubkey), pending.end());
    }
    return entries;
}

bool mergeRegistry(CRegistryNode& root, CRegistryNode& added) {
    std::vector<std::pair<CRegistryNode*, CRegistryNode*>> pending{{&root, &added}};
    while (!pending.empty()) {
        const auto [to, from] = pending.back();
        pending.pop_back();
        for (unsigned int i = 0; i < from->entries(); ++i) {
            const char* name = nullptr;
            void* value = nullptr;
            const unsigned int type = from->entryAt(i, name, value);
            if (type == REGISTRY_KEY) {
                CRegistryNode* const key = createSubkey(*to, name);
                if (key == nullptr) {
                    return false;
                }
                pending.emplace_back(key, static_cast<CRegistryNode*>(value));
                continue;
            }
            void* existing = nullptr;
            if (to->find(name, existing) == REGISTRY_KEY) {
                return false;
            }
            put(*to, valueEntry({}, name, type, value));
        }
    }
    return true;
}

void putRegistryValue(CRegistryNode& node, const RegistryEntry& value) {
    CRegistryNode written;
    put(written, value);
    CRegistryNode read;
    parseRegistry(registryText(written), read);
    if (findRegistryValue(read, value.key, *value.name) != value) {
        throw Failure(ExitStatus::usage,
                      "the file cannot hold this value: a line has at most " +
                          std::to_string(kLongestLine) +
                          " characters, a name no =, and neither contains a newline");
    }
    put(node, value);
}

void parseRegistry(const std::string& text, CRegistryNode& root) {
    if (text.empty()) {
        return;
    }
    const Stream stream(fmemopen(const_cast<char*>(text.data()), text.size(), "r"), fclose);
    if (!stream) {
        throw std::bad_alloc();
    }
    root.restoreNode(stream.get());
}

std::string registryText(CRegistryNode& root) {
    char* text = nullptr;
    std::size_t size = 0;
    Stream stream(open_memstream(&text, &size), fclose);
    if (!stream) {
        throw std::bad_alloc();
    }
    root.dumpNode(stream.get());
    const bool isWhole = ferror(stream.get()) == 0;
    stream.reset();
    const std::unique_ptr<char, decltype(&free)> owner(text, free);
    if (!isWhole || text == nullptr) {
        throw std::bad_alloc();
    }
    return std::string(text, size);
}

std::vector<RegistryChange> registryChanges(const std::vector<RegistryEntry>& before,
                                            const std::vector<RegistryEntry>& after) {
    using Place = std::pair<std::string, std::optional<std::string>>;
    std::map<Place, std::pair<const RegistryEntry*, const RegistryEntry*>> places;
    for (const RegistryEntry& entry : before) {
        places[{entry.key, entry.name}].first = &entry;
    }
    for (const RegistryEntry& entry : after) {
        places[{entry.key, entry.name}].second = &entry;
    }
    std::vector<RegistryChange> changes;
    for (const auto& [place, sides] : places) {
        const auto [old, fresh] = sides;
        if (old != nullptr && fresh != nullptr && *old == *fresh) {
            continue;
        }
        if (old != nullptr) {
            changes.push_back({'-', *old});
        }
        if (fresh != nullptr) {
            changes.push_back({'+', *fresh});
        }
    }
    return changes;
}

}  // namespace varnockctl
