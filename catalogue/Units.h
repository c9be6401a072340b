#pragma once

#include <optional>
#include <span>
#include <string_view>

/// The units and codes of values, in the words of a machine file.
namespace varnock::catalogue {

/// A symbol of a unit, and how many of the catalogue's unit it is.
struct Symbol {
    std::string_view text;
    double factor;
};

/// A unit of the column "unit".
struct Unit {
    std::string_view name;
    std::string_view example;
    std::span<const Symbol> symbols;
};

/// Null for a unit without symbols: its values are plain numbers.
const Unit* findUnit(std::string_view name);

/// The name of a code.
struct Code {
    std::string_view name;
    unsigned number;
};

/// Names for codes, for the column "coding".
struct Vocabulary {
    std::string_view name;
    std::span<const Code> codes;
};

/// Null if there is none of the name.
const Vocabulary* findVocabulary(std::string_view name);

/// The name of a code, empty if it has none.
std::string_view nameOf(const Vocabulary& vocabulary, unsigned number);

/// The code of a name, nothing if it has none.
std::optional<unsigned> numberOf(const Vocabulary& vocabulary, std::string_view name);

}  // namespace varnock::catalogue
