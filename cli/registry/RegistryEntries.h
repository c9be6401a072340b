#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/output/Json.h"
#include "runtime/RegistryNode.h"

/// The registry as lists of entries that can be shown and compared. Whatever takes a node is used
/// under the registry's lock, or by a program's only thread.
namespace varnockctl {

/// A value of a key, or a key itself.
struct RegistryEntry {
    std::string key;                  ///< the whole path, with backslashes
    std::optional<std::string> name;  ///< of the value; none: the key itself
    unsigned int type = REGISTRY_KEY;
    std::string data;  ///< texts without their NUL, numbers as 4 bytes

    bool operator==(const RegistryEntry&) const = default;

    /// "string", "expand", "binary", "number" or "key".
    const char* typeName() const;
    /// The value as a person reads it: texts as they are, numbers decimal, bytes in hexadecimal.
    std::string text() const;
    /// {"key", "name", "type", "value"}; numbers as numbers, null for what a key does not have.
    Json toJson(JsonAllocator& allocator) const;
};

/// The type of this name, 0 when there is none.
unsigned int registryType(std::string_view name);

/// The data of a value given as text; nothing when the text does not fit the type.
std::optional<std::string> parseRegistryData(unsigned int type, const std::string& text);

/// The path with backslashes, and the root key's whole name for HKLM, HKCU, HKU, HKCR or HKCC.
std::string normalRegistryPath(const std::string& path);
/// True for the names of the five root keys.
bool isRegistryRoot(const std::string& name);

/// The key at a path of backslashes, or of slashes, below a node; null when there is none.
CRegistryNode* findRegistryKey(CRegistryNode& root, const std::string& path);
/// The same, and creates what is missing. Null when a part of the path is a value. Throws Failure
/// (usage) for names that the file cannot hold.
CRegistryNode* createRegistryKey(CRegistryNode& root, const std::string& path);
/// The value of a key; nothing when there is none.
std::optional<RegistryEntry> findRegistryValue(CRegistryNode& node, const std::string& key,
                                               const std::string& name);

/// The values of the key and everything below it, in the order of the file. `path` is the key's
/// own, empty for the root. Throws Failure when the paths would fill the memory.
std::vector<RegistryEntry> registryEntries(CRegistryNode& node, const std::string& path);

/// Adds everything below `added` to `root`; values of the same name are replaced. Returns false
/// when a key of the one is a value of the other.
bool mergeRegistry(CRegistryNode& root, CRegistryNode& added);

/// Sets a value. Throws Failure (usage) when the file would not give it back as it is.
void putRegistryValue(CRegistryNode& node, const RegistryEntry& value);

/// Reads the text of a registry file into a node. Lines that cannot be understood are skipped.
void parseRegistry(const std::string& text, CRegistryNode& root);
/// The text of a registry file that holds the tree.
std::string registryText(CRegistryNode& root);

/// One side of a difference.
struct RegistryChange {
    char sign;  ///< - or +
    RegistryEntry entry;
};

/// What has to be removed from the first list and added to make the second one.
std::vector<RegistryChange> registryChanges(const std::vector<RegistryEntry>& before,
                                            const std::vector<RegistryEntry>& after);

}  // namespace varnockctl
