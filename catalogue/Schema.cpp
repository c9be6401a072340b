#include <utility>

#include "catalogue/Shape.h"
#include "catalogue/Text.h"

namespace varnock::catalogue {
namespace {

using Kind = ModelValue::Kind;

std::string range(const ModelValue& value) {
    return R"({"type": "integer", "minimum": )" +
           std::to_string(static_cast<long long>(value.least)) + R"(, "maximum": )" +
           std::to_string(static_cast<long long>(value.most)) + "}";
}

std::string codes(const ModelValue& value) {
    std::string names;
    for (const Code& code : value.vocabulary->codes) {
        names += (names.empty() ? "" : ", ") + quoted(code.name);
    }
    return R"({"anyOf": [{"enum": [)" + names + "]}, " + range(value) + "]}";
}

std::string pattern(std::string_view expression) {
    return R"({"type": "string", "pattern": )" + quoted(expression) + "}";
}

std::string quantity(const Unit& unit) {
    std::string symbols;
    for (const Symbol& symbol : unit.symbols) {
        symbols.append(symbols.empty() ? "" : "|").append(symbol.text);
    }
    return pattern("^[+-]?[0-9]+([.][0-9]+)? ?(" + symbols + ")$");
}

/// The notation of the value itself, not of one that changes over time.
std::string plain(const ModelValue& value) {
    switch (value.kind) {
        case Kind::text:
            return R"({"type": "string"})";
        case Kind::date:
            return pattern("^[0-9]{4}-[0-9]{2}-[0-9]{2}$");
        case Kind::time:
            return pattern("^(now|[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z)$");
        case Kind::address:
            return pattern("^[0-9a-fA-F.:]+$");
        case Kind::mac:
            return pattern("^[0-9a-fA-F]{2}(:[0-9a-fA-F]{2}){5}$");
        case Kind::header:
            return pattern("^[0-9a-fA-F]{128}$");
        case Kind::flag:
            return R"({"type": "boolean"})";
        case Kind::code:
            return value.vocabulary != nullptr ? codes(value) : range(value);
        case Kind::number:
            return range(value);
        case Kind::quantity:
            break;
    }
    return quantity(*value.unit);
}

class Writer {
  public:
    std::string write(const Shape& shape) {
        out_ =
            "{\n  \"$schema\": \"http://json-schema.org/draft-04/schema#\",\n"
            "  \"title\": \"A machine of varnock-agent\",\n"
            "  \"definitions\": {\"curve\": {\"type\": \"object\", \"oneOf\": [{\"required\": "
            "[\"points\"]}, {\"required\": [\"file\"]}],\n"
            "    \"additionalProperties\": false, \"properties\": {\"repeat\": {\"type\": "
            "\"boolean\"}, \"file\": {\"type\": \"string\"},\n    \"points\": {\"type\": "
            "\"array\", \"minItems\": 1, \"items\": "
            "{\"type\": \"array\", \"minItems\": 2, \"maxItems\": 2}}}}},\n  ";
        members(shape, 1);
        return out_ + "\n}\n";
    }

  private:
    void line(int depth) { out_.append("\n").append(2 * static_cast<std::size_t>(depth), ' '); }

    void members(const Shape& shape, int depth) {
        out_ += R"("type": "object", "additionalProperties": false,)";
        if (!shape.key.empty()) {
            out_ += " \"required\": [" + quoted(shape.key) + "],";
        }
        out_ += " \"properties\": {";
        const char* separator = "";
        for (const auto& [name, member] : shape.members) {
            out_ += std::exchange(separator, ",");
            line(depth + 1);
            out_ += quoted(name) + ": {";
            any(member, depth + 1);
            out_ += "}";
        }
        out_ += "}";
    }

    void any(const Shape& shape, int depth) {
        if (shape.element) {
            out_ += R"("type": "array", "items": {)";
            any(*shape.element, depth);
            out_ += "}";
        } else if (shape.value) {
            if (!shape.description.empty()) {
                out_ += "\"description\": " + quoted(shape.description) + ", ";
            }
            out_ += R"("anyOf": [)" + plain(*shape.value) + R"(, {"$ref": "#/definitions/curve"}])";
        } else {
            members(shape, depth);
        }
    }

    std::string out_;
};

}  // namespace

std::string machineSchema(const Shape& shape) {
    return Writer().write(shape);
}

}  // namespace varnock::catalogue
