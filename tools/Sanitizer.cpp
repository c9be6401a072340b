#include "tools/Sanitizer.h"

#include <algorithm>
#include <array>

#include "tools/CharacterClass.h"
#include "tools/Hexadecimal.h"
#include "tools/PrivateAddress.h"

namespace varnock {
namespace {

constexpr std::size_t kShortestInText = 4;

/// True for values that stand for no value.
bool identifiesNothing(std::string_view value) {
    constexpr std::array<std::string_view, 14> kStandIns{
        "default string", "invalid",       "localhost",     "n/a",
        "none",           "not available", "not provided",  "not specified",
        "null",           "o.e.m.",        "serial number", "to be filled by o.e.m.",
        "undefined",      "unknown"};
    const std::string lower = lowerCase(value);
    const std::string word = only(lower, isWordCharacter);
    const bool isFiller =
        word.find_first_not_of(word.empty() ? '0' : word[0]) == std::string::npos &&
        (word.size() >= kShortestInText || word.find_first_not_of('0') == std::string::npos);
    return isFiller || std::find(kStandIns.begin(), kStandIns.end(), lower) != kStandIns.end();
}

/// A character of the same class; the value of the byte decides which one.
char ofClass(char c, char byte) {
    const auto number = static_cast<unsigned char>(byte);
    if (isDigit(c)) {
        return static_cast<char>('0' + number % 10);
    }
    return isLower(c) ? static_cast<char>('a' + number % 26) : c;
}

}  // namespace

std::optional<PrivateKind> privateKindOf(const catalogue::Row& row) {
    struct Member {
        std::string_view end;
        PrivateKind kind;
    };
    constexpr Member kMembers[] = {
        {".serialNumber", PrivateKind::label}, {"system.assetTag", PrivateKind::label},
        {"system.name", PrivateKind::name},    {"system.managementServer", PrivateKind::name},
        {"system.uuid", PrivateKind::uuid},
    };
    if (row.reply == "address" || row.reply == "MAC") {
        return PrivateKind::address;
    }
    const auto* const found =
        std::find_if(std::begin(kMembers), std::end(kMembers),
                     [&](const Member& member) { return row.model.ends_with(member.end); });
    return found != std::end(kMembers) ? std::optional(found->kind) : std::nullopt;
}

std::string Sanitizer::value(PrivateKind kind, std::string_view value) {
    learn(kind, value);
    return replaced(kind, value);
}

std::string Sanitizer::addressBytes(std::string_view bytes) {
    learn(PrivateKind::address, hexadecimalDigits(bytes));
    return otherAddressBytes(key_, bytes);
}

std::string Sanitizer::valueOf(const catalogue::Row& row, std::string_view value) {
    if (const auto kind = privateKindOf(row)) {
        return this->value(*kind, value);
    }
    return lowerCase(row.model).ends_with("version") ? std::string(value) : text(value);
}

std::string Sanitizer::text(std::string_view text) {
    std::string result;
    bool isInWord = false;
    while (!text.empty()) {
        const auto found = isInWord ? std::nullopt : replacementIn(text);
        const auto [length, replacement] = found.value_or(Replacement(1, text.substr(0, 1)));
        result += replacement;
        isInWord = isWordCharacter(text[length - 1]);
        text.remove_prefix(length);
    }
    return result;
}

/// What stands for the beginning of a text that is not the rest of a word.
std::optional<Sanitizer::Replacement> Sanitizer::replacementIn(std::string_view rest) {
    for (const auto& [value, kind] : learned_) {
        const std::size_t length = value.size();
        if (length <= rest.size() && lowerCase(rest.substr(0, length)) == value &&
            (length == rest.size() || !isWordCharacter(rest[length]))) {
            return Replacement(length, replaced(kind, rest.substr(0, length)));
        }
    }
    const auto found = findAddress(key_, rest);
    return found ? std::optional(Replacement(found->length, found->replacement)) : std::nullopt;
}

void Sanitizer::learn(PrivateKind kind, std::string_view value) {
    const auto remember = [&](std::string_view part) {
        if (only(part, isWordCharacter).size() >= kShortestInText && !identifiesNothing(part)) {
            learned_.emplace(lowerCase(part), kind);
        }
    };
    remember(value);
    if (kind == PrivateKind::name && !otherAddress(key_, value)) {
        remember(value.substr(0, value.find('.')));
    }
}

std::string Sanitizer::replaced(PrivateKind kind, std::string_view value) {
    const auto known = [&]() -> std::optional<std::string> {
        switch (kind) {
            case PrivateKind::label:
                return std::nullopt;
            case PrivateKind::uuid:
                return otherUuid(key_, value);
            default:
                return otherAddress(key_, value);
        }
    }();
    return known ? *known : kind == PrivateKind::name ? name(value) : label(value);
}

/// The short name of a host is the first part of its full one.
std::string Sanitizer::name(std::string_view value) {
    const std::size_t dot = value.find('.');
    std::string result = label(value.substr(0, dot));
    if (dot != std::string_view::npos) {
        result += '.';
        result += name(value.substr(dot + 1));
    }
    return result;
}

std::string Sanitizer::label(std::string_view value) {
    if (identifiesNothing(value)) {
        return std::string(value);
    }
    const std::string lower = lowerCase(value);
    auto known = labels_.find(lower);
    if (known == labels_.end()) {
        known = labels_.emplace(lower, chosenLabel(lower)).first;
        taken_.insert(known->second);
    }
    std::string result = known->second;
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = isUpper(value[i]) ? upperCase(result[i]) : result[i];
    }
    return result;
}

/// A label that differs from the value and from all others, if there is one.
std::string Sanitizer::chosenLabel(const std::string& value) {
    constexpr unsigned kAttempts = 64;
    std::string candidate;
    for (unsigned attempt = 0; attempt < kAttempts; ++attempt) {
        candidate.clear();
        std::string digest;
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (i % 32 == 0) {
                digest = key_.of("label " + std::to_string(i), value, attempt);
            }
            candidate += ofClass(value[i], digest[i % 32]);
        }
        if (candidate != value && !identifiesNothing(candidate) && !taken_.contains(candidate)) {
            break;
        }
    }
    return candidate;
}

}  // namespace varnock
