#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "catalogue/Row.h"
#include "tools/KeyedDigest.h"

namespace varnock {

/// What a value tells about a machine or its owner.
enum class PrivateKind {
    label,    ///< serial number, asset tag
    name,     ///< of a host, with or without its domain; may be an address too
    address,  ///< IPv4, IPv6, MAC or WWN
    uuid,
};

/// The kind of the value that a call returns or sets; nothing if the value is not private as such.
[[nodiscard]] std::optional<PrivateKind> privateKindOf(const catalogue::Row& row);

/// Replaces what identifies a machine, so that output can be shown to others: serial numbers, asset
/// tags, host names, UUIDs and addresses.
///
/// Equal values get equal replacements, in every notation, and different values different ones.
/// A replacement has the length and the shape of its value: digits stay digits, capitals stay
/// capitals. The text of an IP address may change its length; addresses of one network stay in one
/// network, private ones stay private. Values that identify nothing are kept: "Not Specified",
/// 00000000, loopback addresses, netmasks. The replacements depend on a key, without which they
/// cannot be reversed. Not thread-safe.
class Sanitizer {
  public:
    /// With a random key. Throws std::system_error if the system has no random numbers.
    Sanitizer() = default;
    /// The same key gives the same replacements, but for labels and names so short that two of them
    /// would get the same one: there the first has the choice.
    explicit Sanitizer(std::string key) : key_(std::move(key)) {}

    /// The replacement of a whole value. From now on text() replaces the value too, unless it is
    /// too short to be told from ordinary words: less than four letters and digits.
    std::string value(PrivateKind kind, std::string_view value);
    /// The replacement of an address of 4 (IPv4), 6 (MAC), 8 (WWN) or 16 (IPv6) bytes; others are
    /// kept. text() then replaces its notations.
    std::string addressBytes(std::string_view bytes);
    /// Replaces within a text all values seen so far, and all UUIDs and addresses that can be told
    /// by their form. Takes a version of four numbers for an IPv4 address.
    std::string text(std::string_view text);
    /// The replacement of a text that a call returns or sets: that of value() or text(). Versions
    /// are kept.
    std::string valueOf(const catalogue::Row& row, std::string_view value);

  private:
    /// The longest first, so that a name is not taken for the first part of another.
    struct Longer {
        bool operator()(const std::string& one, const std::string& other) const {
            return one.size() != other.size() ? one.size() > other.size() : one < other;
        }
    };
    using Replacement = std::pair<std::size_t, std::string>;  ///< of this many characters

    void learn(PrivateKind kind, std::string_view value);
    std::string replaced(PrivateKind kind, std::string_view value);
    std::string label(std::string_view value);
    std::string chosenLabel(const std::string& value);
    std::string name(std::string_view value);
    std::optional<Replacement> replacementIn(std::string_view rest);

    KeyedDigest key_;
    std::map<std::string, std::string> labels_;           ///< values and replacements in lower case
    std::set<std::string> taken_;                         ///< the replacements
    std::map<std::string, PrivateKind, Longer> learned_;  ///< in lower case
};

}  // namespace varnock
