#include "runtime/Registry.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <string_view>

#include "runtime/ProfileFile.h"
#include "runtime/registry/RegistryFormat.h"
#include "runtime/threads/Cancellation.h"
#include "runtime/trace/ShownText.h"
#include "runtime/trace/TraceAt.h"

namespace {

using varnock::shown;
using varnock::traceAt;
using varnock::registryformat::separatorIn;
using varnock::registryformat::takeComponent;

constexpr long kSuccess = 0;
constexpr long kInvalid = EINVAL;
constexpr long kNoData = ENODATA;
constexpr long kCreateFailed = -1;
/// The low 32 bits are ones, so the number is positive.
constexpr long kOpenFailed = 0xFFFFFFFFL;

constexpr const char* kUuidPath =
    "SYSTEM\\CurrentControlSet\\Control\\UUID\\C3681B60-0D26-11D3-8319-00A0C9B61E25";

bool isText(unsigned int type) {
    return type == REGISTRY_STRING || type == REGISTRY_EXPAND;
}

CRegistryNode* subkeyOf(CRegistryNode* node, const char* name) {
    void* value = nullptr;
    return node->find(name, value) == REGISTRY_KEY ? static_cast<CRegistryNode*>(value) : nullptr;
}

/// The key of a path; null if a component is missing or is a value.
CRegistryNode* walk(CRegistryNode* node, const char* path) {
    std::string_view rest(path);
    while (node != nullptr && !rest.empty()) {
        const std::string_view component = takeComponent(rest);
        // The last one, often the only one, ends with the path and needs no copy.
        const bool isTerminated = *(component.data() + component.size()) == '\0';
        node = isTerminated ? subkeyOf(node, component.data())
                            : subkeyOf(node, std::string(component).c_str());
    }
    return node;
}

CRegistryNode* createSubkey(CRegistryNode* node, const char* name) {
    void* value = nullptr;
    const unsigned int type = node->find(name, value);
    if (type != 0) {
        return type == REGISTRY_KEY ? static_cast<CRegistryNode*>(value) : nullptr;
    }
    auto fresh = std::make_unique<CRegistryNode>();
    node->put(name, REGISTRY_KEY, fresh.get());
    CRegistry::MIsDirty = 1;
    return fresh.release();
}

/// As walk(), but creates what is missing. An empty component, as behind a separator at the end,
/// ends the walk.
CRegistryNode* walkAndCreate(CRegistryNode* node, std::string_view path) {
    while (node != nullptr && !path.empty()) {
        const std::string component(takeComponent(path));
        if (component.empty()) {
            break;
        }
        node = createSubkey(node, component.c_str());
    }
    return node;
}

/// Replaces %NAME% by the value of the environment variable, and "%%" by "%". A single "%" without
/// a partner is dropped.
std::string expand(const char* text) {
    std::string out;
    for (;;) {
        const char* open = strchr(text, '%');
        if (open == nullptr) {
            return out.append(text);
        }
        out.append(text, open);
        const char* close = strchr(open + 1, '%');
        if (close == nullptr) {
            return out.append(open + 1);
        }
        const std::string name(open + 1, close);
        const char* value = name.empty() ? "%" : secure_getenv(name.c_str());
        out.append(value != nullptr ? value : "");
        text = close + 1;
    }
}

/// Copies as much as fits, terminated. REQUIRES: size > 0.
void copyText(char* out, unsigned int size, const char* text) {
    strncpy(out, text, size);
    out[size - 1] = '\0';
}

/// Reads a root pointer under the lock: another thread may clear it.
CRegistryNode* readRoot(CRegistryNode* const& root) {
    const CriticalSectionGuard guard(CRegistry::MSpinlock);
    return root;
}

[[nodiscard]] long erase(CRegistryNode& node, const char* name) {
    if (!node.erase(name)) {
        return kInvalid;
    }
    CRegistry::MIsDirty = 1;
    return kSuccess;
}

/// The entry at an index among the entries whose type passes; its type, or 0 at the end.
template <typename Passes>
unsigned int entryAmong(CRegistryNode& node, unsigned int index, Passes passes, const char*& name,
                        void*& value) {
    for (unsigned int i = 0; i < node.entries(); ++i) {
        const unsigned int type = node.entryAt(i, name, value);
        if (passes(type) && index-- == 0) {
            return type;
        }
    }
    return 0;
}

void giveName(const char* name, char* out, unsigned int* length) {
    if (out == nullptr || length == nullptr || *length == 0) {
        return;
    }
    copyText(out, *length, name);
    *length = static_cast<unsigned int>(strlen(out));
}

void giveClass(char* out, unsigned int* length) {
    if (out == nullptr || length == nullptr || *length == 0) {
        return;
    }
    *out = '\0';
    *length = 0;
}

void giveData(unsigned int type, const void* value, unsigned char* out, unsigned int* length) {
    if (length == nullptr) {
        return;
    }
    unsigned int number = 0;
    const void* data = CRegistryNode::valueData(type, value, number);
    const unsigned int size = CRegistryNode::valueSize(type, value);
    const unsigned int fits = std::min(size, *length);
    if (out != nullptr && *length > 0) {
        if (fits > 0) {
            memcpy(out, data, fits);
        }
        if (isText(type)) {
            out[fits > 0 ? fits - 1 : 0] = '\0';
        }
    }
    *length = size;
}

}  // namespace

CRegistry::CRegistry() {
    InitClass();
}

CRegistry::CRegistry(CRegistryNode*& key) : CRegistry() {
    currentKey_ = readRoot(key);
}

CRegistry::CRegistry(const char* path, CRegistryNode*& root, int access) : CRegistry() {
    Open(path, readRoot(root), access);
}

CRegistry::CRegistry(const CRegistry& other) : CRegistry() {
    *this = other;
}

CRegistry& CRegistry::operator=(const CRegistry& other) {
    if (this == &other) {
        return *this;
    }
    currentKey_ = other.currentKey_;
    try {
        openedPath_ = other.openedPath_;
    } catch (const std::bad_alloc&) {
        openedPath_.clear();
    }
    return *this;
}

CRegistry::~CRegistry() noexcept(false) {
    const varnock::CancellationGuard uncancelled;
    try {
        FreeClass();
    } catch (int) {
        if (std::uncaught_exceptions() == 0) {
            throw;
        }
    }
}

void CRegistry::FreeClass() {
    valueBuffer_ = std::string();
    openedPath_ = std::string();
    SaveTree();
}

/// Throws nothing: lack of memory is a failure like any other.
long CRegistry::openPath(const char* path, CRegistryNode* root) {
    try {
        const CriticalSectionGuard guard(MSpinlock);
        CRegistryNode* const node = walk(root != nullptr ? root : &MRoot, path);
        if (node == nullptr) {
            return kOpenFailed;
        }
        openedPath_ = path;
        currentKey_ = node;
        return kSuccess;
    } catch (const std::bad_alloc&) {
        traceAt(2, "\nCRegistry::Open ##ERROR while opening !!!\n");
        return kOpenFailed;
    }
}

long CRegistry::Open(const char* path, CRegistryNode* root, int /*access*/) {
    traceAt(2, "\nCRegistry::Open \"%s\", hKey = %d\n", shown(path),
            static_cast<int>(reinterpret_cast<std::intptr_t>(root)));
    currentKey_ = nullptr;
    openedPath_.clear();
    status_ = openPath(path != nullptr ? path : "", root);
    return status_;
}

long CRegistry::CreateKey(CRegistryNode* root, const char* path, int, int) {
    traceAt(2, "CRegistry::CreateKey \"%s\"\n", shown(path));
    try {
        const CriticalSectionGuard guard(MSpinlock);
        CRegistryNode* start = root != nullptr ? root : currentKey_;
        CRegistryNode* node = walkAndCreate(start, path != nullptr ? path : "");
        if (node == nullptr) {
            return kCreateFailed;
        }
        currentKey_ = node;
        return kSuccess;
    } catch (const std::bad_alloc&) {
        traceAt(2, "\nCRegistry::Open ##ERROR while opening !!!\n");
        return kCreateFailed;
    }
}

int CRegistry::Close() {
    return KeepKeyHandle() != nullptr ? 1 : 0;
}

CRegistryNode* CRegistry::KeepKeyHandle() {
    CRegistryNode* key = currentKey_;
    currentKey_ = nullptr;
    return key;
}

long CRegistry::DeleteKey(const char* name) {
    traceAt(2, "CRegistry::DeleteKey \"%s\"\n", shown(name));
    if (currentKey_ == nullptr || name == nullptr) {
        return kInvalid;
    }
    const CriticalSectionGuard guard(MSpinlock);
    void* value = nullptr;
    if (currentKey_->find(name, value) != REGISTRY_KEY) {
        return kInvalid;
    }
    return erase(*currentKey_, name);
}

long CRegistry::DeleteValue(const char* name) {
    traceAt(2, "CRegistry::DeleteValue \"%s\"\n", shown(name));
    if (currentKey_ == nullptr || name == nullptr) {
        return kInvalid;
    }
    const CriticalSectionGuard guard(MSpinlock);
    return erase(*currentKey_, name);
}

long CRegistry::NoOfSubKeys(unsigned int* count) {
    if (currentKey_ == nullptr || count == nullptr) {
        return kInvalid;
    }
    const CriticalSectionGuard guard(MSpinlock);
    *count = 0;
    for (unsigned int i = 0; i < currentKey_->entries(); ++i) {
        const char* name = nullptr;
        void* value = nullptr;
        if (currentKey_->entryAt(i, name, value) == REGISTRY_KEY) {
            ++*count;
        }
    }
    return kSuccess;
}

long CRegistry::EnumKey(char* name, unsigned int* nameLen, unsigned int index, char* cls,
                        unsigned int* clsLen) {
    if (currentKey_ == nullptr) {
        return kInvalid;
    }
    const CriticalSectionGuard guard(MSpinlock);
    const char* found = nullptr;
    void* value = nullptr;
    const auto isKey = [](unsigned int type) { return type == REGISTRY_KEY; };
    if (entryAmong(*currentKey_, index, isKey, found, value) == 0) {
        return kNoData;
    }
    giveName(found, name, nameLen);
    giveClass(cls, clsLen);
    return kSuccess;
}

long CRegistry::EnumKey(char* name, unsigned int nameLen, unsigned int index, char* cls,
                        unsigned int clsLen) {
    return EnumKey(name, &nameLen, index, cls, &clsLen);
}

long CRegistry::EnumVal(char* name, unsigned int* nameLen, unsigned int index,
                        unsigned int /*type*/, unsigned char* data, unsigned int* dataLen) {
    if (currentKey_ == nullptr) {
        return kInvalid;
    }
    const CriticalSectionGuard guard(MSpinlock);
    const char* found = nullptr;
    void* value = nullptr;
    const auto isValue = [](unsigned int type) {
        return type >= REGISTRY_STRING && type <= REGISTRY_NUMBER;
    };
    const unsigned int type = entryAmong(*currentKey_, index, isValue, found, value);
    if (type == 0) {
        return kNoData;
    }
    giveName(found, name, nameLen);
    giveData(type, value, data, dataLen);
    return kSuccess;
}

long CRegistry::EnumVal(char* name, unsigned int nameLen, unsigned int index, unsigned int type,
                        unsigned char* data, unsigned int dataLen) {
    return EnumVal(name, &nameLen, index, type, data, &dataLen);
}

int CRegistry::SetValue(const char* name, const unsigned char* data, unsigned int size,
                        unsigned int type, CRegistryNode* key) {
    traceAt(2, "CRegistry::SetValue \"%s\" %d %d\n", shown(name), static_cast<int>(size),
            static_cast<int>(type));
    const CriticalSectionGuard guard(MSpinlock);
    // Set first: a failed attempt also makes the next destruction save.
    MIsDirty = 1;
    CRegistryNode* node = key != nullptr ? key : currentKey_;
    const bool isNumber = type == REGISTRY_NUMBER;
    if (node == nullptr || name == nullptr || (data == nullptr && size > 0) ||
        type < REGISTRY_STRING || type > REGISTRY_NUMBER || (isNumber && size != 4)) {
        return 0;
    }
    void* value = CRegistryNode::makeValue(type, data, size);
    if (value == nullptr && !isNumber) {
        return 0;
    }
    try {
        node->put(name, type, value);
        return 1;
    } catch (const std::bad_alloc&) {
        if (!isNumber) {
            delete[] static_cast<unsigned char*>(value);
        }
        return 0;
    }
}

long CRegistry::SetValue(const char* name, const char* text) {
    if (text == nullptr) {
        const CriticalSectionGuard guard(MSpinlock);
        MIsDirty = 1;  // as for every failed attempt
        return kInvalid;
    }
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    const int set = SetValue(name, bytes, static_cast<unsigned int>(strlen(text)),
                             static_cast<unsigned int>(REGISTRY_STRING));
    return set != 0 ? kSuccess : kInvalid;
}

long CRegistry::SetValue(const char* name, unsigned int number) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&number);
    const int set =
        SetValue(name, bytes, sizeof number, static_cast<unsigned int>(REGISTRY_NUMBER));
    return set != 0 ? kSuccess : kInvalid;
}

unsigned int CRegistry::GetValueSize(const char* name, CRegistryNode* key) {
    CRegistryNode* node = key != nullptr ? key : currentKey_;
    if (node == nullptr) {
        return 0;
    }
    const CriticalSectionGuard guard(MSpinlock);
    void* value = nullptr;
    const unsigned int type = node->find(name, value);
    return type <= REGISTRY_NUMBER ? CRegistryNode::valueSize(type, value) : 0;
}

/// Passes the data of a value to `take` and returns its result. False if the value is missing or
/// memory runs out.
template <typename Take>
bool CRegistry::read(const char* name, CRegistryNode* key, Take take) try {
    CRegistryNode* node = key != nullptr ? key : currentKey_;
    if (node == nullptr) {
        return false;
    }
    const CriticalSectionGuard guard(MSpinlock);
    void* value = nullptr;
    const unsigned int type = node->find(name, value);
    if (type == 0 || type > REGISTRY_NUMBER) {
        return false;
    }
    unsigned int number = 0;
    const void* data = CRegistryNode::valueData(type, value, number);
    unsigned int size = CRegistryNode::valueSize(type, value);
    std::string expanded;
    if (type == REGISTRY_EXPAND && expand_ == 1 && size > 0) {
        expanded = expand(static_cast<const char*>(data));
        data = expanded.c_str();
        size = static_cast<unsigned int>(expanded.size() + 1);
    }
    const bool taken = take(type, static_cast<const char*>(data), size);
    valueSize_ = size;
    valueType_ = type;
    return taken;
} catch (const std::bad_alloc&) {
    return false;
}

char* CRegistry::GetValue(const char* name, CRegistryNode* key) {
    const auto keep = [this](unsigned int, const char* data, unsigned int size) {
        valueBuffer_.assign(data, size);
        return true;
    };
    return read(name, key, keep) ? valueBuffer_.data() : nullptr;
}

/// As read(), but sets the status and returns it as QueryValue() does.
template <typename Take>
long CRegistry::query(const char* name, CRegistryNode* key, Take take) {
    if (key == nullptr && currentKey_ == nullptr) {
        return status_ = kInvalid;
    }
    return status_ = read(name, key, take) ? kSuccess : kNoData;
}

long CRegistry::QueryValue(std::string& out, const char* name, CRegistryNode* key) {
    return query(name, key, [&out](unsigned int type, const char* data, unsigned int size) {
        if (!isText(type)) {
            return false;
        }
        out.assign(data, size > 0 ? size - 1 : 0);
        return true;
    });
}

long CRegistry::QueryValue(char* out, const char* name, unsigned int* size, CRegistryNode* key) {
    if (out == nullptr || size == nullptr || *size == 0) {
        return status_ = kInvalid;
    }
    return query(name, key, [=](unsigned int type, const char* data, unsigned int available) {
        if (!isText(type)) {
            return false;
        }
        copyText(out, *size, available > 0 ? data : "");
        *size = static_cast<unsigned int>(strlen(out) + 1);
        return true;
    });
}

long CRegistry::QueryValue(char* out, const char* name, unsigned int size, CRegistryNode* key) {
    return QueryValue(out, name, &size, key);
}

long CRegistry::QueryValue(unsigned int* out, const char* name, CRegistryNode* key) {
    if (out == nullptr) {
        return status_ = kInvalid;
    }
    return query(name, key, [out](unsigned int type, const char* data, unsigned int) {
        if (type != REGISTRY_NUMBER) {
            return false;
        }
        memcpy(out, data, sizeof *out);
        return true;
    });
}

long CRegistry::OpenPointerKey(const char* keyPath, const char* valueName, CRegistryNode* root,
                               int access) {
    traceAt(2, "CRegistry::OpenPointer \"%s\"\n", shown(keyPath));
    if (Open(keyPath, root, access) != kSuccess) {
        return kCreateFailed;
    }
    const char* value = GetValue(valueName);
    const bool isPointer = value != nullptr && isText(valueType_);
    Close();
    status_ = kOpenFailed;
    const std::string_view target = isPointer ? value : "";
    const std::size_t separator = separatorIn(target);
    if (separator == target.npos) {
        return status_;
    }
    try {
        std::string path(target.substr(0, separator));
        _strupr(path.data());
        return Open(path.append(target.substr(separator)).c_str(), &MRoot, access);
    } catch (const std::bad_alloc&) {
        return status_;
    }
}

long CRegistry::OpenUUIDPointer(const char* valueName, CRegistryNode* root, int access, const char*,
                                int) {
    return OpenPointerKey(kUuidPath, valueName, root, access);
}

bool CRegistry::GetProductRegistryRoot(std::string& out, const char* valueName) {
    bool found = false;
    // The second attempt counts if the first one has loaded the tree.
    for (int attempt = 0; attempt < 2 && !found; ++attempt) {
        try {
            CRegistry key(kUuidPath, MLocalMachine);
            found = key.currentKey_ != nullptr && key.QueryValue(out, valueName) == kSuccess;
        } catch (int) {
            // The tree could not be saved, and the message is printed. The value read counts.
        }
    }
    return found;
}
