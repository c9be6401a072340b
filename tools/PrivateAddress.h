#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/KeyedDigest.h"

/// Replacements of addresses and of other identifiers that are known by their form.
namespace varnock {

/// What stands at the beginning of a text, and what stands for it.
struct FoundAddress {
    std::size_t length;
    std::string replacement;
};

/// The replacement of an address of 4 (IPv4), 6 (MAC), 8 (WWN) or 16 (IPv6) bytes; others are kept.
[[nodiscard]] std::string otherAddressBytes(const KeyedDigest& key, std::string_view bytes);

/// The replacement of an IPv4 or IPv6 address, or of a MAC or WWN with or without separators;
/// nothing if the text is something else.
[[nodiscard]] std::optional<std::string> otherAddress(const KeyedDigest& key,
                                                      std::string_view text);

/// The replacement of a UUID with or without hyphens; nothing if the text is something else.
[[nodiscard]] std::optional<std::string> otherUuid(const KeyedDigest& key, std::string_view text);

/// An address or a UUID at the beginning of a text, in a notation in which it cannot be taken for
/// an ordinary number. The text must not be the rest of a word.
[[nodiscard]] std::optional<FoundAddress> findAddress(const KeyedDigest& key,
                                                      std::string_view text);

}  // namespace varnock
