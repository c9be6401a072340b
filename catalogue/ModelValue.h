#pragma once

#include <string>
#include <string_view>

#include "catalogue/Row.h"
#include "catalogue/Units.h"

/// How the description of a machine writes the values of the calls.
namespace varnock::catalogue {

/// The notation of a value, and the numbers that its field in a reply can hold.
struct ModelValue {
    enum class Kind {
        text,
        date,      ///< "2026-11-21"
        time,      ///< "2026-11-21T08:00:00Z", or "now"
        address,   ///< "192.0.2.1", "2001:db8::1"
        mac,       ///< "02:00:5e:00:53:01"
        header,    ///< of a PCI function: its 64 bytes, two hexadecimal digits each
        flag,      ///< true or false
        code,      ///< a name of the vocabulary, or a number
        number,    ///< a whole number
        quantity,  ///< "5400 rpm"
    };

    Kind kind = Kind::text;
    const Unit* unit = nullptr;              ///< of a quantity
    const Vocabulary* vocabulary = nullptr;  ///< of a code
    double least = 0;
    double most = 0xFFFFFFFF;

    friend bool operator==(const ModelValue&, const ModelValue&) = default;
};

/// The value that the reply of a row carries, with `reply` one part of its cell.
ModelValue modelValue(const Row& row, std::string_view reply);

/// What a person is to write: "a quantity such as \"5400 rpm\"".
std::string expectation(const ModelValue& value);

}  // namespace varnock::catalogue
