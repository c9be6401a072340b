#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/Units.h"

/// The notations of values in a machine file.
namespace varnock::agent {

/// A number and a symbol of the unit, with or without a blank, in units of the catalogue: "2.1 GHz"
/// is 2100 MHz.
[[nodiscard]] std::optional<double> parseQuantity(std::string_view text,
                                                  const catalogue::Unit& unit);

/// "5400 rpm", in the first symbol of the unit.
[[nodiscard]] std::string quantityText(double value, const catalogue::Unit& unit);

/// Seconds: "90", "20 s", "5 min", "2 h", "1 d", "500 ms", "50 us".
[[nodiscard]] std::optional<double> parseDuration(std::string_view text);

/// Seconds since the epoch of "2026-11-21T08:00:00Z".
[[nodiscard]] std::optional<std::int64_t> parseTime(std::string_view text);
[[nodiscard]] std::string timeText(std::int64_t seconds);

/// A date of the calendar, "2026-11-21".
[[nodiscard]] bool isDate(std::string_view text);

/// The 4 or 16 bytes of an IP address.
[[nodiscard]] std::optional<std::vector<unsigned char>> parseAddress(std::string_view text);

/// The 6 bytes of a MAC address.
[[nodiscard]] std::optional<std::vector<unsigned char>> parseMac(std::string_view text);

/// The 64 bytes of a PCI configuration header.
[[nodiscard]] std::optional<std::vector<unsigned char>> parseHeader(std::string_view text);

/// Bytes in the notation of these addresses; empty for another number of bytes.
[[nodiscard]] std::string addressText(const std::vector<unsigned char>& bytes);
[[nodiscard]] std::string macText(const std::vector<unsigned char>& bytes);

}  // namespace varnock::agent
