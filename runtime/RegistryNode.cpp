#include "runtime/RegistryNode.h"

#include <stdlib.h>
#include <string.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include "runtime/TextLine.h"
#include "runtime/TraceAt.h"

namespace {

using varnock::TextLine;
using varnock::traceAt;

constexpr std::size_t countSize = sizeof(std::uint32_t);

struct Marker {
    const char* text;
    unsigned int type;
};
// In the order in which they are tried.
constexpr Marker markers[] = {{"=s=", REGISTRY_STRING},
                              {"=es=", REGISTRY_EXPAND},
                              {"=d=", REGISTRY_NUMBER},
                              {"=b=", REGISTRY_BINARY}};

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

void freeValue(unsigned int type, void* value) {
    if (isArray(type)) delete[] static_cast<unsigned char*>(value);
}

// Keys that were removed or replaced. Guarded by CRegistry::MSpinlock.
constinit CRegistryNode* discarded = nullptr;

std::string parseBytes(const char* text) {
    std::string bytes;
    for (;;) {
        char* end = nullptr;
        const long number = strtol(text, &end, 16);
        if (end == text) return bytes;
        bytes += static_cast<char>(number);
        text = end;
    }
}

bool holdsNewline(const char* text) {
    return strchr(text, '\n') != nullptr;
}

std::string lineOf(const char* name, unsigned int type, const void* value) {
    std::string line = name;
    if (type == REGISTRY_NUMBER) {
        const auto number = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(value));
        return line + "=d=" + std::to_string(static_cast<std::int32_t>(number));
    }
    if (type != REGISTRY_BINARY) {
        return line + (type == REGISTRY_STRING ? "=s=" : "=es=") + static_cast<const char*>(value);
    }
    static constexpr char digits[] = "0123456789abcdef";
    line += "=b=";
    unsigned int unused = 0;
    const auto* bytes =
        static_cast<const unsigned char*>(CRegistryNode::valueData(type, value, unused));
    for (unsigned int i = 0; i < CRegistryNode::valueSize(type, value); ++i) {
        line += digits[bytes[i] >> 4];
        line += digits[bytes[i] & 0xF];
        line += ' ';
    }
    return line;
}

// The line must come back as this very entry: on its own, with the name before the first "=", and
// not as the header of a key.
bool comesBack(const char* name, const std::string& line) {
    const bool looksLikeKey = line[0] == '[' && line.find(']') != std::string::npos;
    return strchr(name, '=') == nullptr && !looksLikeKey && line.find('\n') == std::string::npos;
}

// Enough to see what is wrong with a file; a hostile one could have millions.
void warn(CRegistryNode::Warnings& warnings, const char* what, const char* text) {
    constexpr std::size_t most = 100;
    if (warnings.size() < most) {
        warnings.push_back(std::string("CRegistry: WARNING: ") + what + ": \"" + text + "\"\n");
    }
}

void trace(const CRegistryNode::Warnings& warnings) {
    for (const std::string& warning : warnings) traceAt(1, "%s", warning.c_str());
}

void writeValue(FILE* file, const char* name, unsigned int type, const void* value,
                CRegistryNode::Warnings& warnings) {
    const std::string line = lineOf(name, type, value);
    if (!comesBack(name, line)) {
        warn(warnings, "a value cannot be written to the file", name);
        return;
    }
    if (line.size() > TextLine::maxLength) {
        warn(warnings, "a value is too long and will be cut when it is read again", name);
    }
    fwrite(line.data(), 1, line.size(), file);
    fputc('\n', file);
}

}  // namespace

CRegistryNode::CRegistryNode() : next_(nullptr), cursor_(0) {}

// Frees the values of this key and puts its subkeys before those that are pending.
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

// A file can nest keys ten thousands deep, so they are destroyed one after the other.
CRegistryNode::~CRegistryNode() {
    CRegistryNode* pending = nullptr;
    releaseEntries(pending);
    while (pending != nullptr) {
        const std::unique_ptr<CRegistryNode> node(pending);
        pending = node->next_;
        node->releaseEntries(pending);
    }
}

void CRegistryNode::discardEntry(void* value, void* type) {
    if (typeOf(type) != REGISTRY_KEY) {
        freeValue(typeOf(type), value);
    } else if (auto* node = static_cast<CRegistryNode*>(value)) {
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
    void* type = nullptr;
    value = lookup(name, &type);
    return typeOf(type);
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
    const std::size_t before = type == REGISTRY_BINARY ? countSize : 0;
    auto* memory = new (std::nothrow) unsigned char[before + size + std::size_t{1}];
    if (memory == nullptr) return nullptr;
    if (before != 0) {
        const std::uint32_t count = size;
        memcpy(memory, &count, sizeof count);
    }
    if (size != 0) memcpy(memory + before, data, size);
    memory[before + size] = 0;
    return memory;
}

unsigned int CRegistryNode::valueSize(unsigned int type, const void* value) {
    if (type == REGISTRY_NUMBER) return sizeof(std::uint32_t);
    if (value == nullptr || !isArray(type)) return 0;
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
    return static_cast<const unsigned char*>(value) + (type == REGISTRY_BINARY ? countSize : 0);
}

// The value of a line "name=s=text", if it is one.
void CRegistryNode::takeValue(char* line) {
    char* equals = strchr(line, '=');
    if (equals == nullptr) return;
    for (const Marker& marker : markers) {
        const std::size_t length = strlen(marker.text);
        if (strncmp(equals, marker.text, length) != 0) continue;
        const char* text = equals + length;
        std::string data = text;
        if (marker.type == REGISTRY_NUMBER) {
            char* end = nullptr;
            const auto number = static_cast<std::uint32_t>(strtol(text, &end, 10));
            if (end == text) return;
            data.assign(reinterpret_cast<const char*>(&number), sizeof number);
        } else if (marker.type == REGISTRY_BINARY) {
            data = parseBytes(text);
        }
        *equals = '\0';
        void* value = makeValue(marker.type, data.data(), static_cast<unsigned int>(data.size()));
        if (value == nullptr && marker.type != REGISTRY_NUMBER) throw std::bad_alloc();
        try {
            append(line, value, typeSlot(marker.type));
        } catch (const std::bad_alloc&) {
            freeValue(marker.type, value);
            throw;
        }
        return;
    }
}

// Takes a line into this key; the subkey that the line opens, else null.
CRegistryNode* CRegistryNode::takeLine(TextLine& line, Warnings& warnings) {
    if (line.isCut()) warn(warnings, "a line of the file is too long and was cut", line.text());
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

void CRegistryNode::restoreNode(FILE* file) {
    Warnings warnings;
    restore(file, warnings);
    trace(warnings);
}

void CRegistryNode::restore(FILE* file, Warnings& warnings) {
    // Restores the order of every key that is still open, also when memory runs out.
    struct OpenKeys {
        CRegistryNode* top;
        void closeTop() {
            CRegistryNode* closed = top;
            top = closed->next_;
            closed->next_ = nullptr;
            closed->sortAppended(&CRegistryNode::discardEntry);
        }
        ~OpenKeys() {
            while (top != nullptr) closeTop();
        }
    };
    next_ = nullptr;
    OpenKeys open{this};
    TextLine line;
    bool atEnd = true;
    while (open.top != nullptr) {
        atEnd = !line.read(file);
        if (atEnd) break;
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

void CRegistryNode::dumpValues(FILE* file, Warnings& warnings) {
    for (unsigned int i = 0; i < entries(); ++i) {
        const char* name = nullptr;
        void* value = nullptr;
        const unsigned int type = entryAt(i, name, value);
        if (type == REGISTRY_NUMBER || (isArray(type) && value != nullptr)) {
            writeValue(file, name, type, value, warnings);
        }
    }
}

// The next subkey that can be written; null at the end.
CRegistryNode* CRegistryNode::nextSubkey(const char*& name, Warnings& warnings) {
    while (cursor_ < entries()) {
        void* value = nullptr;
        const unsigned int type = entryAt(cursor_++, name, value);
        if (type != REGISTRY_KEY || value == nullptr) continue;
        if (!holdsNewline(name)) return static_cast<CRegistryNode*>(value);
        warn(warnings, "a key cannot be written to the file", name);
    }
    return nullptr;
}

void CRegistryNode::dumpNode(FILE* file) {
    Warnings warnings;
    dump(file, warnings);
    trace(warnings);
}

void CRegistryNode::dump(FILE* file, Warnings& warnings) {
    CRegistryNode* node = this;
    node->next_ = nullptr;
    node->cursor_ = 0;
    node->dumpValues(file, warnings);
    while (node != nullptr) {
        const char* name = nullptr;
        if (CRegistryNode* subkey = node->nextSubkey(name, warnings)) {
            fputc('[', file);
            fputs(name, file);
            fputs("]\n", file);
            subkey->next_ = node;
            subkey->cursor_ = 0;
            node = subkey;
            node->dumpValues(file, warnings);
        } else {
            fputc('\n', file);
            CRegistryNode* parent = node->next_;
            node->next_ = nullptr;
            node = parent;
        }
    }
}
