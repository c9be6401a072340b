#include <algorithm>
#include <deque>

#include "cli/Commands.h"
#include "cli/Interrupts.h"
#include "cli/TextMatch.h"
#include "cli/output/Failure.h"
#include "cli/registry/RegistryCheck.h"
#include "cli/registry/RegistryEdit.h"
#include "cli/registry/RegistryEntries.h"
#include "cli/registry/RegistryFile.h"
#include "tools/Console.h"
#include "tools/Printable.h"

namespace varnockctl {
namespace {

RegistryFile readFileOrBackup() {
    RegistryFile file = readRegistryFile();
    if (file.isBackup) {
        say(systemFile("registry") + ": not found; reading " + file.path);
    }
    return file;
}

/// A registry file, for reading only.
struct Snapshot {
    Snapshot() : Snapshot(readFileOrBackup()) {}
    explicit Snapshot(RegistryFile read) : file(std::move(read)) { parseRegistry(file.text, root); }

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

Json entryJson(const RegistryEntry& entry, JsonAllocator& allocator) {
    return entry.toJson(allocator);
}

/// Leaves the selected entries.
Answer entriesAnswer(const std::string& file, std::vector<RegistryEntry>& entries,
                     const Selection& selection = {}) {
    selection.apply(entries, entryJson);
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
    selection.judge(answer, entries.empty());
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

void addChanges(Answer& answer, const std::vector<RegistryChange>& changes) {
    answer.shown = "changes";
    auto& allocator = answer.document.GetAllocator();
    Json rows(rapidjson::kArrayType);
    for (const RegistryChange& change : changes) {
        rows.PushBack(changeJson(change, allocator), allocator);
        answer.table += changeLine(change);
    }
    add(answer.document, "changes", std::move(rows), allocator);
}

Answer changesAnswer(const std::vector<RegistryChange>& changes, bool isSaved) {
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    answer.document.SetObject();
    add(answer.document, "file", systemFile("registry"), allocator);
    add(answer.document, "saved", Json(isSaved), allocator);
    addChanges(answer, changes);
    return answer;
}

std::string problemText(const RegistryFile& file, const RegistryProblem& problem) {
    return varnock::printable(file.path + ":" + std::to_string(problem.line) + ": " +
                              problem.problem +
                              (problem.text.empty() ? "" : ": \"" + problem.text + "\""));
}

/// An import writes only what was read, so lines that were not read as intended would be lost.
void refuseLosses(const RegistryFile& file, bool force) {
    for (const RegistryProblem& problem : checkRegistry(file.text)) {
        if (problem.loses && !force) {
            throw Failure(ExitStatus::unintelligible,
                          problemText(file, problem) +
                              "; this would be lost. See varnockctl registry check, and --force");
        }
    }
}

using TreeChange = std::function<void(CRegistryNode& root)>;

/// Changes the text of the registry file and returns the changes. Throws Failure if the text cannot
/// be edited in place; with `force` it is then written whole, and what was not read is lost.
std::vector<RegistryChange> makeChanges(std::string& text, bool force, const TreeChange& change) {
    CRegistryNode tree;
    parseRegistry(text, tree);
    const std::vector<RegistryEntry> before = registryEntries(tree, "");
    change(tree);
    const std::vector<RegistryEntry> after = registryEntries(tree, "");
    auto changes = registryChanges(before, after);
    if (changes.empty()) {
        return changes;
    }
    std::string edited = editedRegistry(text, changes, tree);
    CRegistryNode read;
    parseRegistry(edited, read);
    if (registryEntries(read, "") == after) {
        text = std::move(edited);
    } else if (force) {
        text = registryText(tree);
    } else {
        throw Failure(
            ExitStatus::unintelligible,
            "the registry file cannot be changed in place; see varnockctl registry check, "
            "and --force to write it whole");
    }
    return changes;
}

/// Changes the registry, or a copy of its text with --dry-run.
Answer changeRegistry(const Options& options, const std::string& what, bool force,
                      const TreeChange& change) {
    if (options.dryRun) {
        RegistryFile file = readFileOrBackup();
        return changesAnswer(makeChanges(file.text, force, change), false);
    }
    confirm(options, what);
    std::vector<RegistryChange> changes;
    // Once the lock is held, the rest is short: an interrupted command completes it and reports the
    // result.
    std::optional<Interrupts> saving;
    changeRegistryFile([&](std::string& text) {
        saving.emplace();
        changes = makeChanges(text, force, change);
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

/// One side of a comparison: a key of the registry, or a file.
class DiffSide {
  public:
    /// `argument` is a path that begins with a root key, the name of a file, or empty for the whole
    /// registry.
    explicit DiffSide(const std::string& argument)
        : key(isKey(argument) ? normalRegistryPath(argument) : ""),
          snapshot_(argument.empty() || !key.empty() ? readFileOrBackup()
                                                     : readRegistryFile(argument)) {}

    /// The entries of a key, with their whole path or the path below the key; none without the key.
    std::vector<RegistryEntry> entries(const std::string& path, bool isWhole) const {
        CRegistryNode* const node = findRegistryKey(snapshot_.root, path);
        if (node == nullptr && !key.empty()) {
            throw Failure(ExitStatus::notAvailable, "no key " + path);
        }
        return node != nullptr ? registryEntries(*node, isWhole ? path : "")
                               : std::vector<RegistryEntry>();
    }
    std::string name() const { return key.empty() ? snapshot_.file.path : key; }

    const std::string key;  ///< empty: a whole file

  private:
    static bool isKey(const std::string& argument) {
        const std::string path = normalRegistryPath(argument);
        return isRegistryRoot(path.substr(0, path.find('\\')));
    }

    mutable Snapshot snapshot_;  // looking up a key needs a tree that could be changed
};

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

Json problemJson(const RegistryProblem& problem, JsonAllocator& allocator) {
    Json row(rapidjson::kObjectType);
    add(row, "line", Json(static_cast<std::uint64_t>(problem.line)), allocator);
    add(row, "problem", problem.problem, allocator);
    add(row, "text", problem.text.empty() ? Json() : text(problem.text, allocator), allocator);
    add(row, "loses", Json(problem.loses), allocator);
    return row;
}

}  // namespace

Answer registryTree(const RegistryArguments& arguments) {
    Snapshot registry;
    const std::string key = normalRegistryPath(arguments.key);
    auto entries = registryEntries(registry.key(key), key);
    Answer answer = entriesAnswer(registry.file.path, entries, arguments.selection);
    if (arguments.selection.isWhole()) {
        answer.table = treeText(entries);
    }
    return answer;
}

Answer registryGet(const RegistryArguments& arguments) {
    Snapshot registry;
    const std::string key = normalRegistryPath(arguments.key);
    CRegistryNode& node = registry.key(key);
    if (!arguments.name) {
        auto entries = directEntries(node, key);
        return entriesAnswer(registry.file.path, entries, arguments.selection);
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
    return entriesAnswer(registry.file.path, entries, arguments.selection);
}

Answer registryExport(const RegistryArguments& arguments) {
    Snapshot registry;
    const std::string key = normalRegistryPath(arguments.key);
    CRegistryNode& node = registry.key(key);
    auto entries = registryEntries(node, key);
    Answer answer = entriesAnswer(registry.file.path, entries);
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
    auto problems = checkRegistry(file.text);
    const bool isSound = problems.empty();
    arguments.selection.apply(problems, problemJson);
    Answer answer;
    answer.shown = "problems";
    auto& allocator = answer.document.GetAllocator();
    Json rows(rapidjson::kArrayType);
    for (const RegistryProblem& problem : problems) {
        rows.PushBack(problemJson(problem, allocator), allocator);
        answer.table += problemText(file, problem) + '\n';
    }
    if (isSound) {
        answer.table = varnock::printable(file.path) + ": no problem\n";
    }
    answer.status = isSound ? ExitStatus::done : ExitStatus::partial;
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
    std::deque<Snapshot> added;
    for (const std::string& path : arguments.files) {
        RegistryFile file = readRegistryFile(path);
        refuseLosses(file, arguments.force);
        added.emplace_back(std::move(file));
        for (const RegistryEntry& entry : registryEntries(added.back().root, "")) {
            requireRootKey(entry.key);
        }
    }
    return changeRegistry(options, "registry import", arguments.force, [&](CRegistryNode& root) {
        for (Snapshot& each : added) {
            if (!mergeRegistry(root, each.root)) {
                throw Failure(ExitStatus::usage, "a key of " + each.file.path +
                                                     " is a value in the registry, or vice versa");
            }
        }
    });
}

Answer registryDiff(const RegistryArguments& arguments) {
    const DiffSide from(arguments.from);
    const DiffSide to(arguments.to);
    // The same key of both sides has its whole path; different ones are compared as such.
    const std::string key = from.key.empty() ? to.key : from.key;
    const bool isSameKey = from.key.empty() || to.key.empty() || from.key == to.key;
    auto changes = registryChanges(from.entries(key, isSameKey),
                                   to.entries(to.key.empty() ? key : to.key, isSameKey));
    arguments.selection.apply(changes, changeJson);
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    answer.document.SetObject();
    add(answer.document, "from", from.name(), allocator);
    add(answer.document, "to", to.name(), allocator);
    addChanges(answer, changes);
    arguments.selection.judge(answer, changes.empty());
    return answer;
}

}  // namespace varnockctl
