#include <algorithm>

#include "cli/Commands.h"
#include "cli/Interrupts.h"
#include "cli/TextMatch.h"
#include "cli/output/Failure.h"
#include "cli/registry/RegistryCheck.h"
#include "cli/registry/RegistryEntries.h"
#include "cli/registry/RegistryFile.h"
#include "tools/Console.h"
#include "tools/Printable.h"

namespace varnockctl {
namespace {

/// The registry as read from the file, for reading only.
struct Snapshot {
    Snapshot() : file(readRegistryFile()) {
        if (file.isBackup) {
            say(systemFile("registry") + ": not found; reading " + file.path);
        }
        parseRegistry(file.text, root);
    }

    /// Throws Failure if there is no such key.
    CRegistryNode& key(const std::string& path) {
        CRegistryNode* const node = findRegistryKey(root, path);
        if (node == nullptr) {
            throw Failure(ExitStatus::notAvailable, "no key " + path);
        }
        return *node;
    }

    RegistryFile file;
    CRegistryNode root;
};

Failure noValue(const std::string& key, const std::string& name) {
    return {ExitStatus::notAvailable, "no value " + name + " in " + key};
}

std::string shownValue(const RegistryEntry& entry) {
    return *entry.name + "  " + entry.typeName() + "  " + entry.text();
}

Answer entriesAnswer(const std::string& file, const std::vector<RegistryEntry>& entries) {
    Answer answer;
    answer.shown = "entries";
    auto& allocator = answer.document.GetAllocator();
    Json rows(rapidjson::kArrayType);
    for (const RegistryEntry& entry : entries) {
        rows.PushBack(entry.toJson(allocator), allocator);
    }
    answer.document.SetObject();
    add(answer.document, "file", file, allocator);
    add(answer.document, "entries", std::move(rows), allocator);
    return answer;
}

/// Indents each level by two blanks; the first key is shown with its full path.
std::string treeText(const std::vector<RegistryEntry>& entries) {
    const auto depthOf = [](const std::string& key) {
        return static_cast<std::size_t>(std::count(key.begin(), key.end(), '\\'));
    };
    const std::size_t top = entries.empty() ? 0 : depthOf(entries.front().key);
    std::string text;
    for (const RegistryEntry& entry : entries) {
        const std::size_t depth = depthOf(entry.key) - top;
        text.append(2 * (entry.name ? depth + 1 : depth), ' ');
        const std::size_t begin = depth == 0 ? 0 : entry.key.rfind('\\') + 1;
        text += varnock::printable(entry.name ? shownValue(entry) : entry.key.substr(begin)) + '\n';
    }
    return text;
}

/// The values and direct subkeys of a key.
std::vector<RegistryEntry> directEntries(CRegistryNode& node, const std::string& key) {
    std::vector<RegistryEntry> entries = registryEntries(node, key);
    std::erase_if(entries, [&](const RegistryEntry& entry) {
        return entry.name ? entry.key != key
                          : entry.key == key || entry.key.rfind('\\') != key.size();
    });
    return entries;
}

Answer valueAnswer(const RegistryEntry& entry) {
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    static_cast<Json&>(answer.document) = entry.toJson(allocator);
    answer.table = varnock::printable(entry.text()) + '\n';
    return answer;
}

void requireRootKey(const std::string& key) {
    if (!isRegistryRoot(key.substr(0, key.find('\\')))) {
        throw Failure(ExitStatus::usage,
                      "\"" + key +
                          "\" does not begin with a root key: HKEY_LOCAL_MACHINE (HKLM), "
                          "HKEY_CURRENT_USER (HKCU), HKEY_USERS (HKU), HKEY_CLASSES_ROOT (HKCR) or "
                          "HKEY_CURRENT_CONFIG (HKCC)");
    }
}

Json changeJson(const RegistryChange& change, JsonAllocator& allocator) {
    Json row(rapidjson::kObjectType);
    add(row, "change", std::string(1, change.sign), allocator);
    const Json entry = change.entry.toJson(allocator);
    for (const auto& member : entry.GetObject()) {
        row.AddMember(Json(member.name, allocator), Json(member.value, allocator), allocator);
    }
    return row;
}

std::string changeLine(const RegistryChange& change) {
    const RegistryEntry& entry = change.entry;
    const std::string line = entry.key + (entry.name ? "  " + shownValue(entry) : "");
    return std::string(1, change.sign) + ' ' + varnock::printable(line) + '\n';
}

Answer changesAnswer(const std::vector<RegistryChange>& changes, bool isSaved) {
    Answer answer;
    answer.shown = "changes";
    auto& allocator = answer.document.GetAllocator();
    Json rows(rapidjson::kArrayType);
    for (const RegistryChange& change : changes) {
        rows.PushBack(changeJson(change, allocator), allocator);
        answer.table += changeLine(change);
    }
    answer.document.SetObject();
    add(answer.document, "file", systemFile("registry"), allocator);
    add(answer.document, "saved", Json(isSaved), allocator);
    add(answer.document, "changes", std::move(rows), allocator);
    return answer;
}

std::string problemText(const RegistryFile& file, const RegistryProblem& problem) {
    return varnock::printable(file.path + ":" + std::to_string(problem.line) + ": " +
                              problem.problem +
                              (problem.text.empty() ? "" : ": \"" + problem.text + "\""));
}

/// A save writes only what was read, so lines that were not read as intended would be lost.
void refuseLosses(const RegistryFile& file, bool force) {
    for (const RegistryProblem& problem : checkRegistry(file.text)) {
        if (problem.loses && !force) {
            throw Failure(ExitStatus::unintelligible,
                          problemText(file, problem) +
                              "; saving would lose this. See varnockctl registry check, and "
                              "--force");
        }
    }
}

using TreeChange = std::function<void(CRegistryNode& root)>;

std::vector<RegistryChange> makeChanges(CRegistryNode& root, const TreeChange& change) {
    const std::vector<RegistryEntry> before = registryEntries(root, "");
    change(root);
    return registryChanges(before, registryEntries(root, ""));
}

/// Changes the registry, or a copy of it with --dry-run.
Answer changeRegistry(const Options& options, const std::string& what, bool force,
                      const TreeChange& change) {
    if (options.dryRun) {
        Snapshot registry;
        refuseLosses(registry.file, force);
        return changesAnswer(makeChanges(registry.root, change), false);
    }
    confirm(options, what);
    std::vector<RegistryChange> changes;
    // Once the lock is held, the rest is short: an interrupted command completes it and reports the
    // result.
    std::optional<Interrupts> saving;
    changeRegistryFile([&](CRegistryNode& root) {
        saving.emplace();
        refuseLosses(readRegistryFile(), force);
        changes = makeChanges(root, change);
        return !changes.empty();
    });
    if (changes.empty()) {
        say("nothing to change");
    }
    return changesAnswer(changes, !changes.empty());
}

CRegistryNode& createKey(CRegistryNode& root, const std::string& key) {
    CRegistryNode* const node = createRegistryKey(root, key);
    if (node == nullptr) {
        throw Failure(ExitStatus::usage, key + ": a part of this path is empty or a value");
    }
    return *node;
}

/// The type of a new value: as given, else as before, else derived from the text.
unsigned int typeFor(const RegistryArguments& arguments,
                     const std::optional<RegistryEntry>& before) {
    if (!arguments.type.empty()) {
        return registryType(arguments.type);
    }
    if (before) {
        return before->type;
    }
    return parseRegistryData(REGISTRY_NUMBER, arguments.value) ? REGISTRY_NUMBER : REGISTRY_STRING;
}

RegistryEntry wantedValue(const std::string& key, const RegistryArguments& arguments,
                          unsigned int type) {
    RegistryEntry entry{key, arguments.name, type, {}};
    const auto data = parseRegistryData(type, arguments.value);
    if (!data) {
        throw Failure(ExitStatus::usage,
                      "\"" + arguments.value + "\" is not a " + entry.typeName() +
                          (type == REGISTRY_NUMBER ? " from -2147483648 to 4294967295"
                                                   : " value in hexadecimal bytes"));
    }
    entry.data = *data;
    return entry;
}

void deleteEntry(CRegistryNode& root, const std::string& key,
                 const std::optional<std::string>& name) {
    if (name) {
        CRegistryNode* const node = findRegistryKey(root, key);
        if (node == nullptr || !findRegistryValue(*node, key, *name)) {
            throw noValue(key, *name);
        }
        node->erase(name->c_str());
        return;
    }
    const std::size_t separator = key.rfind('\\');
    const bool isTop = separator == key.npos;
    CRegistryNode* const parent = isTop ? &root : findRegistryKey(root, key.substr(0, separator));
    if (parent == nullptr || findRegistryKey(root, key) == nullptr) {
        throw Failure(ExitStatus::notAvailable, "no key " + key);
    }
    parent->erase(key.substr(isTop ? 0 : separator + 1).c_str());
}

}  // namespace

Answer registryTree(const RegistryArguments& arguments) {
    Snapshot registry;
    const std::string key = normalRegistryPath(arguments.key);
    const auto entries = registryEntries(registry.key(key), key);
    Answer answer = entriesAnswer(registry.file.path, entries);
    answer.table = treeText(entries);
    return answer;
}

Answer registryGet(const RegistryArguments& arguments) {
    Snapshot registry;
    const std::string key = normalRegistryPath(arguments.key);
    CRegistryNode& node = registry.key(key);
    if (!arguments.name) {
        return entriesAnswer(registry.file.path, directEntries(node, key));
    }
    const auto entry = findRegistryValue(node, key, *arguments.name);
    if (!entry) {
        throw noValue(key, *arguments.name);
    }
    return valueAnswer(*entry);
}

Answer registryFind(const RegistryArguments& arguments) {
    Snapshot registry;
    const std::string key = normalRegistryPath(arguments.key);
    auto entries = registryEntries(registry.key(key), key);
    std::erase_if(entries, [&](const RegistryEntry& entry) {
        const auto isIn = [&](const std::string& text) {
            return containsIgnoringCase(text, arguments.pattern);
        };
        return entry.name ? !isIn(*entry.name) && !isIn(entry.text())
                          : !isIn(entry.key.substr(entry.key.rfind('\\') + 1));
    });
    if (entries.empty()) {
        throw Failure(ExitStatus::notAvailable,
                      "nothing has \"" + arguments.pattern + "\" in its name or value");
    }
    return entriesAnswer(registry.file.path, entries);
}

Answer registryExport(const RegistryArguments& arguments) {
    Snapshot registry;
    const std::string key = normalRegistryPath(arguments.key);
    CRegistryNode& node = registry.key(key);
    Answer answer = entriesAnswer(registry.file.path, registryEntries(node, key));
    CRegistryNode exported;
    // Into an empty key nothing can conflict.
    static_cast<void>(mergeRegistry(createKey(exported, key), node));
    answer.table = registryText(exported);
    answer.isFile = true;
    return answer;
}

Answer registryCheck(const RegistryArguments& arguments) {
    const RegistryFile file =
        arguments.file.empty() ? readRegistryFile() : readRegistryFile(arguments.file);
    const auto problems = checkRegistry(file.text);
    Answer answer;
    answer.shown = "problems";
    auto& allocator = answer.document.GetAllocator();
    Json rows(rapidjson::kArrayType);
    for (const RegistryProblem& problem : problems) {
        Json row(rapidjson::kObjectType);
        add(row, "line", Json(static_cast<std::uint64_t>(problem.line)), allocator);
        add(row, "problem", problem.problem, allocator);
        add(row, "text", problem.text.empty() ? Json() : text(problem.text, allocator), allocator);
        add(row, "loses", Json(problem.loses), allocator);
        rows.PushBack(row, allocator);
        answer.table += problemText(file, problem) + '\n';
    }
    if (problems.empty()) {
        answer.table = varnock::printable(file.path) + ": no problem\n";
    }
    answer.status = problems.empty() ? ExitStatus::done : ExitStatus::partial;
    answer.document.SetObject();
    add(answer.document, "file", file.path, allocator);
    add(answer.document, "problems", std::move(rows), allocator);
    if (file.isBackup) {
        say(systemFile("registry") + ": not found; reading " + file.path);
        answer.status = ExitStatus::partial;
    }
    return answer;
}

Answer registrySet(const Options& options, const RegistryArguments& arguments) {
    const std::string key = normalRegistryPath(arguments.key);
    requireRootKey(key);
    return changeRegistry(options, "registry set", arguments.force, [&](CRegistryNode& root) {
        CRegistryNode& node = createKey(root, key);
        const auto before = findRegistryValue(node, key, *arguments.name);
        void* subkey = nullptr;
        if (node.find(arguments.name->c_str(), subkey) == REGISTRY_KEY) {
            throw Failure(ExitStatus::usage, *arguments.name + " is a key in " + key);
        }
        putRegistryValue(node, wantedValue(key, arguments, typeFor(arguments, before)));
    });
}

Answer registryDelete(const Options& options, const RegistryArguments& arguments) {
    const std::string key = normalRegistryPath(arguments.key);
    if (!arguments.name && (key.empty() || isRegistryRoot(key))) {
        throw Failure(ExitStatus::usage, key + ": a root key cannot be deleted");
    }
    return changeRegistry(options, "registry delete", arguments.force,
                          [&](CRegistryNode& root) { deleteEntry(root, key, arguments.name); });
}

Answer registryImport(const Options& options, const RegistryArguments& arguments) {
    const RegistryFile file = readRegistryFile(arguments.file);
    refuseLosses(file, arguments.force);
    CRegistryNode added;
    parseRegistry(file.text, added);
    for (const RegistryEntry& entry : registryEntries(added, "")) {
        requireRootKey(entry.key);
    }
    return changeRegistry(options, "registry import", arguments.force, [&](CRegistryNode& root) {
        if (!mergeRegistry(root, added)) {
            throw Failure(ExitStatus::usage,
                          "a key of " + file.path + " is a value in the registry, or vice versa");
        }
    });
}

}  // namespace varnockctl
