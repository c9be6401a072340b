#include "tools/PrivateAddress.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "tools/CharacterClass.h"
#include "tools/Hexadecimal.h"

namespace varnock {
namespace {

constexpr std::size_t kIpv4 = 4;
constexpr std::size_t kMacBytes = 6;
constexpr std::size_t kWwnBytes = 8;
constexpr std::size_t kIpv6 = 16;
constexpr std::size_t kAllBits = 128;

/// A network of special addresses, and how many bits of an address in it are kept.
struct SpecialNetwork {
    std::string_view begin;
    std::size_t bits;
    std::size_t keptBits;
};

using namespace std::string_view_literals;

constexpr SpecialNetwork kSpecialIpv4[] = {
    {"\x0A"sv, 8, 8},        {"\xAC\x10"sv, 12, 12},  {"\xC0\xA8"sv, 16, 16},
    {"\xA9\xFE"sv, 16, 16},  {"\x00"sv, 8, kAllBits}, {"\x7F"sv, 8, kAllBits},
    {"\xE0"sv, 3, kAllBits},
};
constexpr SpecialNetwork kSpecialIpv6[] = {
    {"\x00\x00"sv, 16, kAllBits},
    {"\xFC"sv, 7, 8},
    {"\xFE\x80"sv, 10, 64},
    {"\xFF"sv, 8, kAllBits},
};

bool bitAt(std::string_view bytes, std::size_t bit) {
    const auto byte = static_cast<unsigned char>(bytes[bit / 8]);
    return (static_cast<unsigned int>(byte) >> (7 - bit % 8) & 1U) != 0;
}

bool isIn(std::string_view address, const SpecialNetwork& network) {
    for (std::size_t bit = 0; bit < network.bits; ++bit) {
        if (bitAt(address, bit) != bitAt(network.begin, bit)) {
            return false;
        }
    }
    return true;
}

template <typename Networks>
std::size_t keptBits(std::string_view address, const Networks& networks) {
    for (const SpecialNetwork& network : networks) {
        if (isIn(address, network)) {
            return network.keptBits;
        }
    }
    return 0;
}

/// The leading bits of an address that its replacement has too; 0 for an ordinary one.
std::size_t keptBits(std::string_view address) {
    return address.size() == kIpv4 ? keptBits(address, kSpecialIpv4)
                                   : keptBits(address, kSpecialIpv6);
}

/// Each bit is flipped or not according to those before it, so that addresses which begin equally
/// still do, and different ones remain different.
std::string permuted(const KeyedDigest& key, std::string_view address, std::size_t kept) {
    std::string result(address);
    for (std::size_t bit = kept; bit < 8 * address.size(); ++bit) {
        std::string before(address.substr(0, bit / 8 + 1));
        before.back() = static_cast<char>(before.back() & (0xFF00 >> bit % 8));
        const bool flips = (key.of("IP", before, static_cast<unsigned>(bit))[0] & 1) != 0;
        result[bit / 8] = static_cast<char>(result[bit / 8] ^ (flips ? 0x80 >> bit % 8 : 0));
    }
    return result;
}

std::string otherIpBytes(const KeyedDigest& key, std::string_view bytes) {
    const std::size_t kept = keptBits(bytes);
    std::string result = permuted(key, bytes, kept);
    // An ordinary address must not become a special one: those are not replaced by it.
    while (kept == 0 && keptBits(result) != 0) {
        result = permuted(key, result, 0);
    }
    return result;
}

std::optional<std::string> otherIp(const KeyedDigest& key, int family, std::string_view text) {
    std::array<char, kIpv6> bytes{};
    const std::string terminated(text);
    if (inet_pton(family, terminated.c_str(), bytes.data()) != 1) {
        return std::nullopt;
    }
    const std::string other = otherIpBytes(key, {bytes.data(), family == AF_INET ? kIpv4 : kIpv6});
    std::array<char, INET6_ADDRSTRLEN> shown{};
    inet_ntop(family, other.data(), shown.data(), shown.size());
    return shown.data();
}

/// Identifiers that consist of hexadecimal digits.
enum class Digits { uuid, mac, wwn };

/// What stays of the digits: the version and the variant of a UUID, the authority of a WWN; a MAC
/// becomes a locally administered one.
char adjusted(Digits kind, std::size_t index, char before, char after) {
    constexpr std::string_view kLocal = "26ae";
    constexpr std::size_t kVersion = 12;
    constexpr std::size_t kVariant = 16;
    const bool isKept = (kind == Digits::uuid && (index == kVersion || index == kVariant)) ||
                        (kind == Digits::wwn && index == 0);
    if (isKept) {
        return before;
    }
    return kind == Digits::mac && index == 1 ? kLocal[static_cast<unsigned char>(after) % 4]
                                             : after;
}

/// Replaces the digits of a text and keeps all other characters and the case. A text of equal
/// digits identifies nothing and is kept.
std::string otherDigits(const KeyedDigest& key, Digits kind, std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const std::string before = lowerCase(only(text, isHexadecimalDigit));
    if (before.find_first_not_of(before[0]) == std::string::npos) {
        return std::string(text);
    }
    const std::string digest = key.of("digits", before);
    const bool isCapital = !only(text, isUpper).empty();
    std::string result(text);
    std::size_t index = 0;
    for (char& c : result) {
        if (isHexadecimalDigit(c)) {
            const char digit = adjusted(kind, index, before[index],
                                        kDigits[static_cast<unsigned char>(digest[index]) % 16]);
            c = isCapital ? upperCase(digit) : digit;
            ++index;
        }
    }
    return result;
}

/// A notation: 'x' is a digit.
struct Notation {
    Digits kind;
    std::string_view prefix;
    std::string_view form;
    bool isCertain;  ///< it cannot be an ordinary number or word
};

constexpr std::string_view kWwnDigits = "xxxxxxxxxxxxxxxx";

constexpr Notation kNotations[] = {
    {Digits::uuid, "", "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", true},
    {Digits::uuid, "", "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", false},
    {Digits::wwn, "", "xx:xx:xx:xx:xx:xx:xx:xx", true},
    {Digits::wwn, "0x", kWwnDigits, true},
    {Digits::wwn, "naa.", kWwnDigits, true},
    {Digits::wwn, "eui.", kWwnDigits, true},
    {Digits::wwn, "wwn-", kWwnDigits, true},
    {Digits::wwn, "", kWwnDigits, false},
    {Digits::mac, "", "xx:xx:xx:xx:xx:xx", true},
    {Digits::mac, "", "xx-xx-xx-xx-xx-xx", true},
    {Digits::mac, "", "xxxxxxxxxxxx", false},
};

bool beginsWith(std::string_view text, const Notation& notation) {
    const std::size_t prefix = notation.prefix.size();
    return text.size() >= prefix + notation.form.size() &&
           lowerCase(text.substr(0, prefix)) == notation.prefix &&
           std::equal(notation.form.begin(), notation.form.end(), text.begin() + prefix,
                      [](char wanted, char c) {
                          return wanted == 'x' ? isHexadecimalDigit(c) : wanted == c;
                      });
}

std::string otherIn(const KeyedDigest& key, const Notation& notation, std::string_view text) {
    const std::size_t prefix = notation.prefix.size();
    std::string result(text.substr(0, prefix));
    result += otherDigits(key, notation.kind, text.substr(prefix, notation.form.size()));
    return result;
}

std::size_t lengthOf(const Notation& notation) {
    return notation.prefix.size() + notation.form.size();
}

template <typename Accepted>
std::optional<std::string> otherWhole(const KeyedDigest& key, std::string_view text,
                                      Accepted isAccepted) {
    for (const Notation& notation : kNotations) {
        if (isAccepted(notation.kind) && text.size() == lengthOf(notation) &&
            beginsWith(text, notation)) {
            return otherIn(key, notation, text);
        }
    }
    return std::nullopt;
}

/// An IP address at the beginning: as many of its characters as make one, without the full stop or
/// the colon that follow it in a sentence.
std::optional<FoundAddress> findIp(const KeyedDigest& key, int family, std::string_view text) {
    const auto* const end = std::find_if_not(text.begin(), text.end(), [family](char c) {
        return c == '.' || isDigit(c) ||
               (family == AF_INET6 && (c == ':' || isHexadecimalDigit(c)));
    });
    auto length = static_cast<std::size_t>(end - text.begin());
    if (length > INET6_ADDRSTRLEN || (end != text.end() && isWordCharacter(*end))) {
        return std::nullopt;
    }
    auto other = otherIp(key, family, text.substr(0, length));
    if (!other && length > 0 && !isWordCharacter(text[length - 1])) {
        other = otherIp(key, family, text.substr(0, --length));
    }
    return other ? std::optional(FoundAddress{length, *other}) : std::nullopt;
}

}  // namespace

std::string otherAddressBytes(const KeyedDigest& key, std::string_view bytes) {
    if (bytes.size() == kIpv4 || bytes.size() == kIpv6) {
        return otherIpBytes(key, bytes);
    }
    if (bytes.size() != kMacBytes && bytes.size() != kWwnBytes) {
        return std::string(bytes);
    }
    const Digits kind = bytes.size() == kMacBytes ? Digits::mac : Digits::wwn;
    return bytesOfDigits(otherDigits(key, kind, hexadecimalDigits(bytes))).value();
}

std::optional<std::string> otherAddress(const KeyedDigest& key, std::string_view text) {
    if (auto other = otherIp(key, AF_INET, text)) {
        return other;
    }
    auto other = otherWhole(key, text, [](Digits kind) { return kind != Digits::uuid; });
    return other ? other : otherIp(key, AF_INET6, text);
}

std::optional<std::string> otherUuid(const KeyedDigest& key, std::string_view text) {
    return otherWhole(key, text, [](Digits kind) { return kind == Digits::uuid; });
}

std::optional<FoundAddress> findAddress(const KeyedDigest& key, std::string_view text) {
    for (const Notation& notation : kNotations) {
        const std::size_t length = lengthOf(notation);
        if (notation.isCertain && beginsWith(text, notation) &&
            (text.size() == length || !isWordCharacter(text[length]))) {
            return FoundAddress{length, otherIn(key, notation, text)};
        }
    }
    const auto found = findIp(key, AF_INET, text);
    return found ? found : findIp(key, AF_INET6, text);
}

}  // namespace varnock
