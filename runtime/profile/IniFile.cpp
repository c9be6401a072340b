#include <stdlib.h>
#include <string.h>

#include <memory>
#include <new>

#include "runtime/ProfileFile.h"

namespace {

constexpr unsigned int kLineGrowth = 1024;
constexpr unsigned int kLargestBuffer = 65535;

char* copyOf(const char* text) {
    return text != nullptr && *text != '\0' ? strdup(text) : nullptr;
}

}  // namespace

CIniFile::CIniFile(const char* fileName)
    : fileName_(copyOf(fileName)),
      stringBuffer_(nullptr),
      enumBuffer_(nullptr),
      enumCursor_(nullptr),
      stringBufferSize_(0),
      enumBufferSize_(0),
      valid_(fileName_ != nullptr ? 1 : 0) {}

CIniFile::~CIniFile() {
    free(fileName_);
    free(stringBuffer_);
    free(enumBuffer_);
}

/// Makes the buffer larger. False if it would be too large or memory runs out; the buffer is freed
/// then.
bool CIniFile::grow(char*& buffer, unsigned int& size) {
    const unsigned int wanted = size + kLineGrowth;
    char* grown = wanted <= kLargestBuffer ? static_cast<char*>(realloc(buffer, wanted)) : nullptr;
    if (grown == nullptr) {
        free(buffer);
    }
    buffer = grown;
    size = grown != nullptr ? wanted : 0;
    return grown != nullptr;
}

/// Reads again with a larger buffer until the result fits. 0 with a null buffer if the buffer
/// cannot grow.
unsigned int CIniFile::fill(char*& buffer, unsigned int& size, const char* section, const char* key,
                            const char* defaultValue) {
    if (buffer == nullptr && !grow(buffer, size)) {
        return 0;
    }
    for (;;) {
        const unsigned int length =
            CSysBase::GetPrivateProfileString(section, key, defaultValue, buffer, size, fileName_);
        if (length + 2 < size) {
            return length;
        }
        if (!grow(buffer, size)) {
            return 0;
        }
    }
}

const char* CIniFile::GetString(const char* section, const char* key, const char* defaultValue) {
    if (valid_ == 0) {
        return defaultValue;
    }
    fill(stringBuffer_, stringBufferSize_, section, key, defaultValue);
    return stringBuffer_ != nullptr ? stringBuffer_ : defaultValue;
}

int CIniFile::GetString(std::string& out, const char* section, const char* key,
                        const char* defaultValue) try {
    if (valid_ == 0) {
        return 0;
    }
    char* buffer = nullptr;
    unsigned int size = 0;
    fill(buffer, size, section, key, defaultValue);
    const std::unique_ptr<char, decltype(&free)> owner(buffer, free);
    const char* result = buffer != nullptr ? buffer : defaultValue;
    out = result != nullptr ? result : "";
    return 1;
} catch (const std::bad_alloc&) {
    return 0;
}

const char* CIniFile::GetEnum(const char* section) {
    if (valid_ == 0) {
        return "";
    }
    fill(enumBuffer_, enumBufferSize_, section, nullptr, nullptr);
    enumCursor_ = enumBuffer_;
    return enumCursor_ != nullptr ? enumCursor_ : "";
}

const char* CIniFile::GetNextEnum() {
    if (valid_ == 0 || enumCursor_ == nullptr) {
        return "";
    }
    // An empty string ends the list; the cursor does not move past it.
    if (*enumCursor_ != '\0') {
        enumCursor_ += strlen(enumCursor_) + 1;
    }
    return enumCursor_;
}

void CIniFile::GetEnums(std::vector<std::string>& out, const char* section) {
    out.clear();
    try {
        for (const char* name = GetEnum(section); *name != '\0'; name = GetNextEnum()) {
            out.emplace_back(name);
        }
    } catch (const std::bad_alloc&) {
        out.clear();
    }
}

int CIniFile::SetString(const char* section, const char* key, const char* value) {
    if (valid_ == 0 || section == nullptr) {
        return 0;
    }
    return CSysBase::WritePrivateProfileString(section, key, value, fileName_);
}

int CIniFile::CopySection(const char* from, const char* to) {
    if (valid_ == 0) {
        return 0;
    }
    if (from == nullptr) {
        return 1;  // no section has no keys; the list would be that of the sections
    }
    std::vector<std::string> keys;
    GetEnums(keys, from);
    for (const std::string& key : keys) {
        SetString(to, key.c_str(), GetString(from, key.c_str(), ""));
    }
    return 1;
}
