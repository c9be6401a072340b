#include "cli/output/Sanitizing.h"

#include <unistd.h>

#include <optional>

#include "tools/Sanitizer.h"
#include "util/Mutex.h"

namespace varnockctl::sanitizing {
namespace {

using varnock::PrivateKind;

constinit varnock::Mutex mutex;
std::optional<varnock::Sanitizer> sanitizer VARNOCK_GUARDED_BY(mutex);

/// The address as bytes, if the value is a list of them.
std::string bytesOf(const Json& value) {
    std::string bytes;
    for (const Json& byte : value.GetArray()) {
        if (!byte.IsUint() || byte.GetUint() > 0xFF) {
            return {};
        }
        bytes += static_cast<char>(byte.GetUint());
    }
    return bytes;
}

void learnAll(varnock::Sanitizer& learning, PrivateKind kind, const Json& value) {
    if (value.IsString()) {
        learning.value(kind, {value.GetString(), value.GetStringLength()});
    } else if (value.IsArray()) {
        const std::string bytes = kind == PrivateKind::address ? bytesOf(value) : "";
        if (!bytes.empty()) {
            learning.addressBytes(bytes);
        }
        for (const Json& item : value.GetArray()) {
            learnAll(learning, kind, item);
        }
    }
}

/// The serial numbers in the records that some calls return.
void learnRecords(varnock::Sanitizer& learning, const Json& value) {
    if (value.IsArray()) {
        for (const Json& item : value.GetArray()) {
            learnRecords(learning, item);
        }
    } else if (value.IsObject() && value.HasMember("serialNumber")) {
        learnAll(learning, PrivateKind::label, value["serialNumber"]);
    }
}

void replaceIn(varnock::Sanitizer& replacing, Json& value, JsonAllocator& allocator) {
    if (value.IsString()) {
        value = varnockctl::text(replacing.text({value.GetString(), value.GetStringLength()}),
                                 allocator);
    } else if (value.IsArray()) {
        for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
            replaceIn(replacing, value[i], allocator);
        }
    } else if (value.IsObject()) {
        auto member = value.MemberBegin();
        for (rapidjson::SizeType left = value.MemberCount(); left > 0; --left, ++member) {
            replaceIn(replacing, member->value, allocator);
        }
    }
}

}  // namespace

void begin() {
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    {
        const varnock::ScopedLock guard(mutex);
        sanitizer.emplace();
    }
    learnHost(name);
}

bool isOn() {
    const varnock::ScopedLock guard(mutex);
    return sanitizer.has_value();
}

void learn(const varnock::catalogue::Row& row, const Json& value) {
    const varnock::ScopedLock guard(mutex);
    if (!sanitizer) {
        return;
    }
    if (const auto kind = varnock::privateKindOf(row)) {
        learnAll(*sanitizer, *kind, value);
    }
    learnRecords(*sanitizer, value);
}

void learnHost(std::string_view name) {
    const varnock::ScopedLock guard(mutex);
    if (sanitizer && !name.empty()) {
        sanitizer->value(PrivateKind::name, name);
    }
}

std::string text(std::string_view text) {
    const varnock::ScopedLock guard(mutex);
    return sanitizer ? sanitizer->text(text) : std::string(text);
}

void apply(Json& value, JsonAllocator& allocator) {
    const varnock::ScopedLock guard(mutex);
    if (sanitizer) {
        replaceIn(*sanitizer, value, allocator);
    }
}

}  // namespace varnockctl::sanitizing
