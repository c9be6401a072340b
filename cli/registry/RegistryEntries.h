#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/output/Json.h"
#include "runtime/RegistryNode.h"

/// The registry as lists of entries that can be shown and compared. Functions with a node argument
/// need the registry's lock, or a program with a single thread.
namespace varnockctl {

/// A value of a key, or a key itself.
struct RegistryEntry {
    std::string key;                  ///< the full path, with backslashes
    std::optional<std::string> name;  ///< of the value; nothing: the entry is the key itself
    unsigned int type = REGISTRY_KEY;
    std::string data;  ///< texts without the NUL, numbers as 4 bytes

    bool operator==(const RegistryEntry&) const = default;

    /// "string", "expand", "binary", "number" or "key".
    const char* typeName() const;
    /// The value as text: texts unchanged, numbers decimal, bytes hexadecimal.
    std::string text() const;
    /// {"key", "name", "type", "value"}; numbers as numbers, null for members that a key does not
    /// have.
    Json toJson(JsonAllocator& allocator) const;
};

/// The type with this name, 0 if there is none.
unsigned int registryType(std::string_view name);

/// The data of a value given as text; nothing if the text does not fit the type.
[[nodiscard]] std::optional<std::string> parseRegistryData(unsigned int type,
                                                           const std::string& text);

/// The path with backslashes, and with the full name of the root key instead of an abbreviation.
std::string normalRegistryPath(const std::string& path);
/// A root key: its abbreviation and its whole name.
using RegistryRoot = std::pair<const char*, const char*>;
/// The five root keys.
std::span<const RegistryRoot> registryRoots();
/// True for the names of the five root keys.
bool isRegistryRoot(const std::string& name);

/// The key at a path with backslashes or slashes below a node; null if there is none.
CRegistryNode* findRegistryKey(CRegistryNode& root, const std::string& path);
/// The same; creates missing keys. Null if a part of the path is a value. Throws Failure (usage)
/// for names that the file cannot hold.
[[nodiscard]] CRegistryNode* createRegistryKey(CRegistryNode& root, const std::string& path);
/// The value of a key; nothing if there is none.
std::optional<RegistryEntry> findRegistryValue(CRegistryNode& node, const std::string& key,
                                               const std::string& name);

/// The values of the key and everything below it, in the order of the file. `path` is the path of
/// the key, empty for the root. Throws Failure if the paths would need too much memory.
std::vector<RegistryEntry> registryEntries(CRegistryNode& node, const std::string& path);

/// Adds everything below `added` to `root`; values of the same name are replaced. False if
/// a key of one tree is a value of the other.
[[nodiscard]] bool mergeRegistry(CRegistryNode& root, CRegistryNode& added);

/// Sets a value. Throws Failure (usage) if the file could not store it unchanged.
void putRegistryValue(CRegistryNode& node, const RegistryEntry& value);

/// Reads the text of a registry file into a node. Invalid lines are skipped.
void parseRegistry(const std::string& text, CRegistryNode& root);
/// The text of a registry file that holds the tree.
std::string registryText(CRegistryNode& root);

/// One side of a difference.
struct RegistryChange {
    char sign;  ///< - or +
    RegistryEntry entry;
};

/// The entries to remove from and to add to the first list to get the second one.
std::vector<RegistryChange> registryChanges(const std::vector<RegistryEntry>& before,
                                            const std::vector<RegistryEntry>& after);

}  // namespace varnockctl
