#include "runtime/RegistryNode.h"

#include <stdlib.h>
#include <string.h>

#include <charconv>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "runtime/Registry.h"
#include "runtime/files/LineReader.h"
#include "runtime/registry/RegistryFormat.h"
#include "runtime/registry/RegistryWarnings.h"
#include "util/Ascii.h"

namespace {

using varnock::LineReader;
using namespace varnock::registryformat;

constexpr std::size_t kCountSize = sizeof(std::uint32_t);

struct Marker {
    const char* text;
    unsigned int type;
};
/// In the order of the search.
constexpr Marker kMarkers[] = {{kStringMarker, REGISTRY_STRING},
                               {kExpandMarker, REGISTRY_EXPAND},
                               {kNumberMarker, REGISTRY_NUMBER},
                               {kBinaryMarker, REGISTRY_BINARY}};

void* typeSlot(unsigned int type) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(type));
}

unsigned int typeOf(const void* slot) {
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(slot));
}

void* numberSlot(std::uint32_t number) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(number));
}

bool isArray(unsigned int type) {
    return type == REGISTRY_STRING || type == REGISTRY_EXPAND || type == REGISTRY_BINARY;
}

// The memory of a value that is an array.

std::size_t sizeBeforeData(unsigned int type) {
    return type == REGISTRY_BINARY ? kCountSize : 0;
}

std::size_t memorySize(unsigned int type, std::size_t dataSize) {
    return sizeBeforeData(type) + dataSize + 1;
}

void fillMemory(void* memory, unsigned int type, const void* data, std::uint32_t size) {
    auto* const begin = static_cast<unsigned char*>(memory);
    auto* const place = begin + sizeBeforeData(type);
    if (place != begin) {
        memcpy(begin, &size, kCountSize);
    }
    if (size != 0) {
        memcpy(place, data, size);
    }
    place[size] = 0;
}

/// Keys that were removed or replaced. Guarded by CRegistry::MSpinlock.
constinit CRegistryNode* discarded = nullptr;

/// Clears the root pointer of a key that leaves the tree. A missing root key is entered again with
/// that pointer.
void forgetRoot(const CRegistryNode* node) {
    for (CRegistryNode** root :
         {&CRegistry::MLocalMachine, &CRegistry::MCurrentUser, &CRegistry::MUsers,
          &CRegistry::MClassesRoot, &CRegistry::MCurrentConfig}) {
        if (*root == node) {
            *root = nullptr;
        }
    }
}

/// The marker at the beginning of a text; null if it begins with none.
const Marker* markerAt(const char* text) {
    for (const Marker& marker : kMarkers) {
        if (strncmp(text, marker.text, strlen(marker.text)) == 0) {
            return &marker;
        }
    }
    return nullptr;
}

std::string parseBytes(const char* text) {
    std::string bytes;
    for (;;) {
        char* end = nullptr;
        const long number = varnock::toNumber(strtol, text, &end, 16);
        if (end == text) {
            return bytes;
        }
        bytes += static_cast<char>(number);
        text = end;
    }
}

/// Adds a warning. Keeps the first ones only: a hostile file could cause millions.
void warn(CRegistryNode::Warnings& warnings, const char* what, const char* text) {
    constexpr std::size_t most = 100;
    if (warnings.size() < most) {
        warnings.push_back(std::string("CRegistry: WARNING: ") + what + ": \"" + text + "\"\n");
    }
}

bool holds(std::string_view text, char c) {
    return text.find(c) != text.npos;
}

/// Appends marker and data of a value to its line. REQUIRES: value is not null, unless it is a
/// number.
void appendValue(std::string& line, unsigned int type, const void* value) {
    static constexpr char digits[] = "0123456789abcdef";
    if (type == REGISTRY_NUMBER) {
        char number[16];
        const auto bits = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(value));
        char* const end =
            std::to_chars(number, number + sizeof number, static_cast<std::int32_t>(bits)).ptr;
        line.append(kNumberMarker).append(number, end);
    } else if (type == REGISTRY_BINARY) {
        unsigned int unused = 0;
        const auto* bytes =
            static_cast<const unsigned char*>(CRegistryNode::valueData(type, value, unused));
        line.append(kBinaryMarker);
        for (unsigned int i = 0; i < CRegistryNode::valueSize(type, value); ++i) {
            const char shown[] = {digits[bytes[i] >> 4], digits[bytes[i] & 0xF], ' '};
            line.append(shown, sizeof shown);
        }
    } else {
        line.append(type == REGISTRY_STRING ? kStringMarker : kExpandMarker);
        line.append(static_cast<const char*>(value));
    }
}

/// True if reading the line gives this entry again: it is one line, the name ends at the first "=",
/// and the line is not the header of a key.
bool comesBack(std::string_view name, std::string_view line) {
    const bool looksLikeKey = line[0] == '[' && holds(line, ']');
    return !holds(name, '=') && !looksLikeKey && !holds(line, '\n');
}

/// True if reading the line "[name]" gives this key again. A line that is cut would be no key, and
/// the entries of the key would go to its parent.
bool keyComesBack(std::string_view name) {
    return !holds(name, '\n') && name.size() <= kLongestKeyName;
}

}  // namespace

/// Writes the text of a tree in large pieces. The stream records errors.
class CRegistryNode::Output {
  public:
    explicit Output(FILE* file) : file_(file) { text_.reserve(kPieceSize + kLongestLine + 1); }

    void addValue(const char* name, unsigned int type, const void* value, Warnings& warnings) {
        const std::size_t begin = text_.size();
        text_.append(name);
        const std::size_t nameLength = text_.size() - begin;
        appendValue(text_, type, value);
        const std::string_view line = std::string_view(text_).substr(begin);
        if (!comesBack(line.substr(0, nameLength), line)) {
            warn(warnings, "a value cannot be written to the file", name);
            text_.resize(begin);
            return;
        }
        if (line.size() > kLongestLine) {
            warn(warnings, "a value is too long and will be cut when it is read again", name);
        }
        text_ += '\n';
        flushPieces();
    }
    void beginKey(const char* name) {
        text_.append("[").append(name).append("]\n");
        flushPieces();
    }
    void endKey() {
        text_ += '\n';
        flushPieces();
    }
    void flush() {
        fwrite(text_.data(), 1, text_.size(), file_);
        text_.clear();
    }

  private:
    static constexpr std::size_t kPieceSize = std::size_t{64} * 1024;

    void flushPieces() {
        if (text_.size() >= kPieceSize) {
            flush();
        }
    }

    FILE* file_;
    std::string text_;
};

CRegistryNode::CRegistryNode() : next_(nullptr), cursor_(0) {}

/// Frees the values of this key, and puts its subkeys at the front of the pending list.
void CRegistryNode::releaseEntries(CRegistryNode*& pending) {
    for (unsigned int i = 0; i < entries(); ++i) {
        Assoc& entry = assocAt(i);
        const unsigned int type = typeOf(entry.data);
        if (type == REGISTRY_KEY && entry.value != nullptr) {
            auto* subkey = static_cast<CRegistryNode*>(entry.value);
            subkey->next_ = pending;
            pending = subkey;
        } else {
            freeValue(type, entry.value);
        }
        entry.data = nullptr;
    }
}

/// Destroys the subkeys in a loop: a file can nest ten thousands of keys.
CRegistryNode::~CRegistryNode() {
    CRegistryNode* pending = nullptr;
    releaseEntries(pending);
    while (pending != nullptr) {
        const std::unique_ptr<CRegistryNode> node(pending);
        pending = node->next_;
        node->releaseEntries(pending);
    }
}

void CRegistryNode::freeValue(unsigned int type, void* value) const {
    if (isArray(type) && !holdsMemory(value)) {
        delete[] static_cast<unsigned char*>(value);
    }
}

/// Frees a value. Keeps a subkey in the list of removed keys, because open handles may refer to it.
void CRegistryNode::discardEntry(void* value, void* type) const {
    if (typeOf(type) != REGISTRY_KEY) {
        freeValue(typeOf(type), value);
    } else if (auto* node = static_cast<CRegistryNode*>(value)) {
        forgetRoot(node);
        node->next_ = discarded;
        discarded = node;
    }
}

void CRegistryNode::freeDiscarded() {
    while (discarded != nullptr) {
        const std::unique_ptr<CRegistryNode> node(discarded);
        discarded = node->next_;
    }
}

unsigned int CRegistryNode::find(const char* name, void*& value) {
    const Assoc* const entry = findAssoc(name);
    value = entry != nullptr ? entry->value : nullptr;
    return entry != nullptr ? typeOf(entry->data) : 0;
}

unsigned int CRegistryNode::entryAt(unsigned int index, const char*& name, void*& value) {
    const Assoc& entry = assocAt(index);
    name = entry.key;
    value = entry.value;
    return typeOf(entry.data);
}

void CRegistryNode::put(const char* name, unsigned int type, void* value) {
    void* oldType = nullptr;
    void* oldValue = add(name, value, typeSlot(type), &oldType);
    discardEntry(oldValue, oldType);
}

bool CRegistryNode::erase(const char* name) {
    void* type = nullptr;
    void* value = remove(name, &type);
    discardEntry(value, type);
    return typeOf(type) != 0;
}

void* CRegistryNode::makeValue(unsigned int type, const void* data, unsigned int size) {
    if (type == REGISTRY_NUMBER) {
        std::uint32_t number = 0;
        memcpy(&number, data, sizeof number);
        return numberSlot(number);
    }
    auto* memory = new (std::nothrow) unsigned char[memorySize(type, size)];
    if (memory != nullptr) {
        fillMemory(memory, type, data, size);
    }
    return memory;
}

unsigned int CRegistryNode::valueSize(unsigned int type, const void* value) {
    if (type == REGISTRY_NUMBER) {
        return sizeof(std::uint32_t);
    }
    if (value == nullptr || !isArray(type)) {
        return 0;
    }
    if (type != REGISTRY_BINARY) {
        return static_cast<unsigned int>(strlen(static_cast<const char*>(value)) + 1);
    }
    std::uint32_t count = 0;
    memcpy(&count, value, sizeof count);
    return count;
}

const void* CRegistryNode::valueData(unsigned int type, const void* value, unsigned int& number) {
    if (type == REGISTRY_NUMBER) {
        number = static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(value));
        return &number;
    }
    return static_cast<const unsigned char*>(value) + sizeBeforeData(type);
}

/// Enters the value of a line such as "name=s=text". Ignores any other line.
void CRegistryNode::takeValue(char* line) {
    char* equals = strchr(line, '=');
    const Marker* marker = equals != nullptr ? markerAt(equals) : nullptr;
    if (marker == nullptr) {
        return;
    }
    const char* text = equals + strlen(marker->text);
    if (marker->type == REGISTRY_NUMBER) {
        char* end = nullptr;
        const auto number = static_cast<std::uint32_t>(varnock::toNumber(strtol, text, &end, 10));
        if (end == text) {
            return;
        }
        *equals = '\0';
        append(line, numberSlot(number), typeSlot(marker->type));
        return;
    }
    const bool isBinary = marker->type == REGISTRY_BINARY;
    const std::string bytes = isBinary ? parseBytes(text) : std::string();
    const char* const data = isBinary ? bytes.data() : text;
    const std::size_t size = isBinary ? bytes.size() : strlen(text);
    *equals = '\0';
    void* const memory =
        appendWithMemory(line, memorySize(marker->type, size), typeSlot(marker->type));
    fillMemory(memory, marker->type, data, static_cast<std::uint32_t>(size));
}

/// Enters a line into this key. Returns the subkey that the line opens, else null.
CRegistryNode* CRegistryNode::takeLine(LineReader& line, Warnings& warnings) {
    if (line.isCut()) {
        warn(warnings, "a line of the file is too long and was cut", line.text());
    }
    char* text = line.text();
    char* last = text[0] == '[' ? strrchr(text, ']') : nullptr;
    if (last == nullptr) {
        takeValue(text);
        return nullptr;
    }
    *last = '\0';
    auto subkey = std::make_unique<CRegistryNode>();
    append(text + 1, subkey.get(), typeSlot(REGISTRY_KEY));
    return subkey.release();
}

void CRegistryNode::sortLoaded() {
    sortAppended([this](void* value, void* type) { discardEntry(value, type); });
}

void CRegistryNode::restoreNode(FILE* file) {
    Warnings warnings;
    restore(file, warnings);
    varnock::traceWarnings(warnings);
}

void CRegistryNode::restore(FILE* file, Warnings& warnings) {
    // Sorts every key that is still open, also if memory runs out. Does not change the link of the
    // bottom key, which may be in the list of removed keys.
    struct OpenKeys {
        CRegistryNode* bottom;
        CRegistryNode* top;
        void closeTop() {
            CRegistryNode* closed = top;
            top = closed != bottom ? closed->next_ : nullptr;
            closed->sortLoaded();
        }
        ~OpenKeys() {
            while (top != nullptr) {
                closeTop();
            }
        }
    };
    OpenKeys open{this, this};
    LineReader line(file);
    bool atEnd = true;
    while (open.top != nullptr) {
        atEnd = !line.next();
        if (atEnd) {
            break;
        }
        if (line.text()[0] == '\0') {
            open.closeTop();
        } else if (CRegistryNode* subkey = open.top->takeLine(line, warnings)) {
            subkey->next_ = open.top;
            open.top = subkey;
        }
    }
    if (atEnd && open.top != this) {
        warnings.emplace_back("CRegistry: WARNING: the file ends inside a key\n");
    }
}

void CRegistryNode::dumpValues(Output& output, Warnings& warnings) {
    for (unsigned int i = 0; i < entries(); ++i) {
        const char* name = nullptr;
        void* value = nullptr;
        const unsigned int type = entryAt(i, name, value);
        if (type == REGISTRY_NUMBER || (isArray(type) && value != nullptr)) {
            output.addValue(name, type, value, warnings);
        }
    }
}

/// The next subkey that can be written; null at the end.
CRegistryNode* CRegistryNode::nextSubkey(const char*& name, Warnings& warnings) {
    while (cursor_ < entries()) {
        void* value = nullptr;
        const unsigned int type = entryAt(cursor_++, name, value);
        if (type != REGISTRY_KEY || value == nullptr) {
            continue;
        }
        if (keyComesBack(name)) {
            return static_cast<CRegistryNode*>(value);
        }
        warn(warnings, "a key cannot be written to the file", name);
    }
    return nullptr;
}

void CRegistryNode::dumpNode(FILE* file) {
    Warnings warnings;
    dump(file, warnings);
    varnock::traceWarnings(warnings);
}

void CRegistryNode::dump(FILE* file, Warnings& warnings) {
    Output output(file);
    CRegistryNode* node = this;
    node->cursor_ = 0;
    node->dumpValues(output, warnings);
    while (node != nullptr) {
        const char* name = nullptr;
        if (CRegistryNode* subkey = node->nextSubkey(name, warnings)) {
            output.beginKey(name);
            subkey->next_ = node;
            subkey->cursor_ = 0;
            node = subkey;
            node->dumpValues(output, warnings);
        } else {
            output.endKey();
            node = node != this ? node->next_ : nullptr;
        }
    }
    output.flush();
}
