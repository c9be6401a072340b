#include "cli/registry/RegistryEdit.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "cli/registry/RegistryLines.h"

namespace varnockctl {
namespace {

/// The lines of a key. The root is the first section.
struct Section {
    std::string path;
    std::string name;
    std::size_t parent = 0;
    std::size_t begin = 0;  ///< of its line
    std::size_t body = 0;   ///< the line after that
    std::size_t end = 0;    ///< of the empty line that ends it, or the end of the file
    std::size_t next = 0;   ///< the line after that
    std::vector<RegistryLine> values;
    std::vector<std::size_t> subkeys;
};

/// A part of the text and what replaces it.
struct Edit {
    std::size_t begin;
    std::size_t end;
    std::string text;
};

std::string parentOf(const std::string& path) {
    const std::size_t separator = path.rfind('\\');
    return separator != path.npos ? path.substr(0, separator) : std::string();
}

/// The line of a value.
std::string lineOf(const RegistryEntry& value) {
    CRegistryNode alone;
    putRegistryValue(alone, value);
    std::string line = registryText(alone);
    line.pop_back();  // the empty line that ends the key
    return line;
}

class Editor {
  public:
    Editor(const std::string& text, const std::vector<RegistryChange>& changes, CRegistryNode& tree)
        : text_(text), changes_(changes), tree_(tree) {
        scan();
        for (const RegistryChange& change : changes) {
            auto& keys = change.sign == '-' ? removed_ : added_;
            if (!change.entry.name) {
                keys.insert(change.entry.key);
            } else {
                values_[{change.entry.key, *change.entry.name}] |= change.sign == '-' ? 1U : 2U;
            }
        }
    }

    std::string run() {
        for (const RegistryChange& change : changes_) {
            const RegistryEntry& entry = change.entry;
            if (!entry.name && change.sign == '-') {
                removeKey(entry.key);
            } else if (!entry.name) {
                addKey(entry.key);
            } else if (!removed_.contains(entry.key) && !added_.contains(entry.key)) {
                changeValue(change);
            }
        }
        return applied();
    }

  private:
    void scan();
    void open(const RegistryLine& line);
    void close(std::size_t end, std::size_t next);
    const Section* sectionOf(const std::string& path) const;
    void insert(std::size_t at, const Section& section, std::string text);
    void removeKey(const std::string& path);
    void addKey(const std::string& path);
    void changeValue(const RegistryChange& change);
    std::string applied();

    const std::string& text_;
    const std::vector<RegistryChange>& changes_;
    CRegistryNode& tree_;
    std::set<std::string> removed_;
    std::set<std::string> added_;
    std::map<std::pair<std::string, std::string>, unsigned int> values_;  ///< 1 removed, 2 added
    std::vector<Section> sections_;
    std::map<std::string, std::size_t> last_;  ///< the section of each path that counts
    std::vector<std::size_t> open_;            ///< the sections that the end of the file ends
    std::vector<Edit> edits_;
};

void Editor::open(const RegistryLine& line) {
    const std::size_t parent = open_.back();
    Section section;
    section.name = line.name;
    const std::string& above = sections_[parent].path;
    section.path = above.empty() ? section.name : above + '\\' + section.name;
    section.parent = parent;
    section.begin = line.begin;
    section.body = line.next;
    open_.push_back(sections_.size());
    sections_[parent].subkeys.push_back(sections_.size());
    last_[section.path] = sections_.size();
    sections_.push_back(std::move(section));
}

void Editor::close(std::size_t end, std::size_t next) {
    sections_[open_.back()].end = end;
    sections_[open_.back()].next = next;
    open_.pop_back();
}

void Editor::scan() {
    sections_.emplace_back();
    last_[""] = 0;
    open_.push_back(0);
    for (std::size_t offset = 0; offset < text_.size() && !open_.empty();) {
        const RegistryLine line = registryLineAt(text_, offset);
        if (line.kind == RegistryLine::Kind::end) {
            close(line.begin, line.next);
        } else if (line.kind == RegistryLine::Kind::key) {
            open(line);
        } else if (line.isRead()) {
            sections_[open_.back()].values.push_back(line);
        }
        offset = line.next;
    }
    for (const std::size_t index : open_) {
        sections_[index].end = sections_[index].next = text_.size();
    }
}

const Section* Editor::sectionOf(const std::string& path) const {
    const auto found = last_.find(path);
    return found != last_.end() ? &sections_[found->second] : nullptr;
}

/// Inserts lines that belong to a section. At the end of a file that ends too early, the keys below
/// the section are ended first.
void Editor::insert(std::size_t at, const Section& section, std::string text) {
    if (at == text_.size()) {
        const auto self = std::find(open_.begin(), open_.end(),
                                    static_cast<std::size_t>(&section - sections_.data()));
        if (self != open_.end()) {
            text.insert(0, static_cast<std::size_t>(open_.end() - self - 1), '\n');
        }
        if (!text_.empty() && text_.back() != '\n') {
            text.insert(0, 1, '\n');
        }
    }
    edits_.push_back({at, at, std::move(text)});
}

void Editor::removeKey(const std::string& path) {
    if (removed_.contains(parentOf(path))) {
        return;
    }
    for (const Section& section : sections_) {
        if (section.path == path) {
            edits_.push_back({section.begin, section.next, {}});
        }
    }
}

/// Adds a key with everything below it, behind the last subkey that sorts before it.
void Editor::addKey(const std::string& path) {
    const std::string above = parentOf(path);
    const Section* const parent = sectionOf(above);
    CRegistryNode* const node = findRegistryKey(tree_, path);
    if (added_.contains(above) || parent == nullptr || node == nullptr) {
        return;
    }
    const std::string name = above.empty() ? path : path.substr(above.size() + 1);
    std::size_t at = parent->values.empty() ? parent->body : parent->values.back().next;
    for (const std::size_t subkey : parent->subkeys) {
        if (sections_[subkey].name < name) {
            at = std::max(at, sections_[subkey].next);
        }
    }
    insert(at, *parent, "[" + name + "]\n" + registryText(*node));
}

void Editor::changeValue(const RegistryChange& change) {
    const RegistryEntry& entry = change.entry;
    const Section* const section = sectionOf(entry.key);
    if (section == nullptr) {
        return;
    }
    const bool isReplaced = values_[{entry.key, *entry.name}] == 3;
    const RegistryLine* current = nullptr;
    std::size_t at = section->body;
    for (const RegistryLine& line : section->values) {
        if (line.name == *entry.name) {
            current = &line;
        }
        if (line.name < *entry.name) {
            at = std::max(at, line.next);
        }
        if (change.sign == '-' && !isReplaced && line.name == *entry.name) {
            edits_.push_back({line.begin, line.next, {}});
        }
    }
    if (change.sign == '-') {
        return;
    }
    if (isReplaced && current != nullptr) {
        edits_.push_back({current->begin, current->next, lineOf(entry)});
    } else {
        insert(at, *section, lineOf(entry));
    }
}

std::string Editor::applied() {
    std::stable_sort(edits_.begin(), edits_.end(),
                     [](const Edit& a, const Edit& b) { return a.begin < b.begin; });
    std::string out;
    std::size_t done = 0;
    for (const Edit& edit : edits_) {
        if (edit.begin >= done) {
            out.append(text_, done, edit.begin - done);
            done = edit.end;
        }
        out += edit.text;
    }
    return out.append(text_, done);
}

}  // namespace

std::string editedRegistry(const std::string& text, const std::vector<RegistryChange>& changes,
                           CRegistryNode& tree) {
    return text.empty() ? registryText(tree) : Editor(text, changes, tree).run();
}

}  // namespace varnockctl
