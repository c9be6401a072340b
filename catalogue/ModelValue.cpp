#include "catalogue/ModelValue.h"

#include <utility>

#include "catalogue/Text.h"

namespace varnock::catalogue {
namespace {

using Kind = ModelValue::Kind;

Kind kindOf(const Row& row, std::string_view reply) {
    if (reply == "MAC") {
        return Kind::mac;
    }
    if (row.coding == "yes or no") {
        return Kind::flag;
    }
    if (row.value == "quantity") {
        return findUnit(row.unit) != nullptr ? Kind::quantity : Kind::number;
    }
    constexpr std::pair<std::string_view, Kind> kinds[] = {
        {"text", Kind::text},       {"date", Kind::date}, {"time", Kind::time},
        {"address", Kind::address}, {"flag", Kind::flag}, {"coded", Kind::code}};
    for (const auto& [value, kind] : kinds) {
        if (row.value == value) {
            return kind;
        }
    }
    return Kind::number;
}

std::string wholeNumber(const ModelValue& value) {
    return "a whole number from " + std::to_string(static_cast<long long>(value.least)) + " to " +
           std::to_string(static_cast<long long>(value.most));
}

std::string codeText(const ModelValue& value) {
    std::string names;
    for (const Code& code : value.vocabulary->codes) {
        names.append("\"").append(code.name).append("\", ");
    }
    return "one of " + names + "or " + wholeNumber(value);
}

}  // namespace

ModelValue modelValue(const Row& row, std::string_view reply) {
    ModelValue value{.kind = kindOf(row, reply)};
    value.unit = value.kind == Kind::quantity ? findUnit(row.unit) : nullptr;
    value.vocabulary = value.kind == Kind::code ? findVocabulary(row.coding) : nullptr;
    if (mentions(reply, "byte") || reply == "presence") {
        value.most = 0xFF;
    } else if (mentions(reply, "word") && !mentions(reply, "dword")) {
        value.most = 0xFFFF;
    }
    if (mentions(row.returnType, "sint32")) {
        // The library does not cut these: a negative number arrives as one.
        value.least = -0x80000000LL;
    }
    return value;
}

std::string expectation(const ModelValue& value) {
    switch (value.kind) {
        case Kind::text:
            return "a text";
        case Kind::date:
            return "a date such as \"2026-11-21\"";
        case Kind::time:
            return "a time such as \"2026-11-21T08:00:00Z\", or \"now\"";
        case Kind::address:
            return "an IP address such as \"192.0.2.1\"";
        case Kind::mac:
            return "a MAC address such as \"02:00:5e:00:53:01\"";
        case Kind::header:
            return "the 128 hexadecimal digits of a PCI configuration header";
        case Kind::flag:
            return "true or false";
        case Kind::code:
            return value.vocabulary != nullptr ? codeText(value) : wholeNumber(value);
        case Kind::number:
            return wholeNumber(value);
        case Kind::quantity:
            break;
    }
    return "a quantity such as \"" + std::string(value.unit->example) + "\", " +
           wholeNumber(value) + " " + std::string(value.unit->name);
}

}  // namespace varnock::catalogue
