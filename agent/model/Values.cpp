#include "agent/model/Values.h"

#include <cmath>

#include "agent/model/Notation.h"
#include "tools/Hexadecimal.h"

namespace varnock::agent {
namespace {

using catalogue::Code;
using catalogue::ModelValue;
using Data = std::optional<Answer::Data>;
using Kind = ModelValue::Kind;

/// A curve: `points` of a time since the start and a value, in the order of time.
struct Curve {
    const Node& points;
    bool repeats;
};

std::optional<double> quantityOf(const Node& value, const ModelValue& notation) {
    return value.IsString() ? parseQuantity(textOf(value), *notation.unit) : std::nullopt;
}

Data inRange(std::optional<double> number, const ModelValue& notation) {
    if (!number || std::round(*number) < notation.least || std::round(*number) > notation.most) {
        return std::nullopt;
    }
    // A negative number becomes the bits of its two's complement.
    return static_cast<unsigned>(static_cast<std::int64_t>(std::llround(*number)));
}

std::optional<double> wholeNumber(const Node& value) {
    return value.IsInt64() ? std::optional(static_cast<double>(value.GetInt64())) : std::nullopt;
}

Data codeOf(const Node& value, const ModelValue& notation) {
    if (value.IsString() && notation.vocabulary != nullptr) {
        for (const Code& code : notation.vocabulary->codes) {
            if (textOf(value) == code.name) {
                return code.number;
            }
        }
        return std::nullopt;
    }
    return inRange(wholeNumber(value), notation);
}

Data timeOf(std::string_view text, const ModelValue& notation, const Moment& moment) {
    const auto time = text == "now" ? std::optional(moment.epoch) : parseTime(text);
    return inRange(time ? std::optional(static_cast<double>(*time)) : std::nullopt, notation);
}

Data bytesOf(std::optional<Answer::Bytes> bytes) {
    return bytes ? Data(std::move(*bytes)) : std::nullopt;
}

/// A value that is written as a text.
Data textualData(std::string_view text, const ModelValue& notation, const Moment& moment) {
    switch (notation.kind) {
        case Kind::text:
            // A reply carries a text up to its first NUL.
            return text.find('\0') == std::string_view::npos ? Data(std::string(text))
                                                             : std::nullopt;
        case Kind::date:
            return isDate(text) ? Data(std::string(text)) : std::nullopt;
        case Kind::time:
            return timeOf(text, notation, moment);
        case Kind::address:
            return bytesOf(parseAddress(text));
        case Kind::mac:
            return bytesOf(parseMac(text));
        case Kind::header:
            return bytesOf(parseHeader(text));
        default:
            return std::nullopt;
    }
}

Data plainData(const Node& value, const ModelValue& notation, const Moment& moment) {
    switch (notation.kind) {
        case Kind::flag:
            return value.IsBool() ? Data(value.GetBool() ? 1U : 0U) : std::nullopt;
        case Kind::code:
            return codeOf(value, notation);
        case Kind::number:
            return inRange(wholeNumber(value), notation);
        case Kind::quantity:
            return inRange(quantityOf(value, notation), notation);
        default:
            return value.IsString() ? textualData(textOf(value), notation, moment) : std::nullopt;
    }
}

std::optional<double> timeOfPoint(const Node& point) {
    return point.IsArray() && point.Size() == 2 && point[0].IsString()
               ? parseDuration(textOf(point[0]))
               : std::nullopt;
}

std::optional<Curve> curveOf(const Node& value) {
    const Node* points = memberOf(value, "points");
    const Node* repeat = memberOf(value, "repeat");
    if (points == nullptr || !points->IsArray() || points->Empty() ||
        (repeat != nullptr && !repeat->IsBool()) ||
        value.MemberCount() != (repeat != nullptr ? 2 : 1)) {
        return std::nullopt;
    }
    return Curve{*points, repeat != nullptr && repeat->GetBool()};
}

/// True if every point has a value, and a later time than the point before.
bool isValidCurve(const Curve& curve, const ModelValue& notation) {
    double previous = -1;
    for (const Node& point : curve.points.GetArray()) {
        const auto time = timeOfPoint(point);
        if (!time || *time <= previous || !plainData(point[1], notation, {})) {
            return false;
        }
        previous = *time;
    }
    return true;
}

/// The last point that is not later than the time.
rapidjson::SizeType pointAt(const Curve& curve, double time) {
    rapidjson::SizeType last = 0;
    while (last + 1 < curve.points.Size() &&
           timeOfPoint(curve.points[last + 1]).value_or(0) <= time) {
        ++last;
    }
    return last;
}

/// The time since the start of the curve.
double timeIn(const Curve& curve, const Moment& moment) {
    const double end = timeOfPoint(curve.points[curve.points.Size() - 1]).value_or(0);
    return curve.repeats && end > 0 ? std::fmod(moment.sinceStart, end) : moment.sinceStart;
}

/// Quantities change steadily between two points, other values at a point.
Data curveData(const Curve& curve, const ModelValue& notation, const Moment& moment) {
    const auto timeAt = [&](rapidjson::SizeType i) {
        return timeOfPoint(curve.points[i]).value_or(0);
    };
    const double now = timeIn(curve, moment);
    const rapidjson::SizeType at = pointAt(curve, now);
    if (notation.kind != Kind::quantity || at + 1 == curve.points.Size() || now < timeAt(at)) {
        return plainData(curve.points[at][1], notation, moment);
    }
    const auto from = quantityOf(curve.points[at][1], notation);
    const auto to = quantityOf(curve.points[at + 1][1], notation);
    if (!from || !to) {
        return std::nullopt;
    }
    const double share = (now - timeAt(at)) / (timeAt(at + 1) - timeAt(at));
    return inRange(*from + (*to - *from) * share, notation);
}

std::string bytesText(const Answer::Bytes& bytes, const ModelValue& notation) {
    switch (notation.kind) {
        case Kind::mac:
            return macText(bytes);
        case Kind::header:
            return hexadecimalDigits({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        default:
            return addressText(bytes);
    }
}

}  // namespace

std::optional<Answer::Data> dataOf(const Node& value, const ModelValue& notation,
                                   const Moment& moment) {
    if (!value.IsObject()) {
        return plainData(value, notation, moment);
    }
    const auto curve = curveOf(value);
    return curve && isValidCurve(*curve, notation) ? curveData(*curve, notation, moment)
                                                   : std::nullopt;
}

std::optional<unsigned> numberIn(const std::optional<Answer::Data>& data) {
    const auto* number = data ? std::get_if<unsigned>(&*data) : nullptr;
    return number != nullptr ? std::optional(*number) : std::nullopt;
}

bool isValid(const Node& value, const ModelValue& notation) {
    return dataOf(value, notation, {}).has_value();
}

Node valueAt(const Node& value, const ModelValue& notation, const Moment& moment, JsonHeap& heap) {
    const auto curve = value.IsObject() ? curveOf(value) : std::nullopt;
    if (!curve || !isValidCurve(*curve, notation)) {
        return Node(value, heap);
    }
    if (const auto data =
            notation.kind == Kind::quantity ? curveData(*curve, notation, moment) : std::nullopt) {
        return valueOf(*data, notation, heap);
    }
    return Node(curve->points[pointAt(*curve, timeIn(*curve, moment))][1], heap);
}

bool changesAfter(const Node& value, double sinceStart) {
    const auto curve = value.IsObject() ? curveOf(value) : std::nullopt;
    if (!curve) {
        return false;
    }
    const double end = timeOfPoint(curve->points[curve->points.Size() - 1]).value_or(0);
    return curve->repeats || end > sinceStart;
}

Node valueOf(const Answer::Data& data, const ModelValue& notation, JsonHeap& heap) {
    const auto textual = [&heap](std::string_view text) {
        return Node(text.data(), static_cast<rapidjson::SizeType>(text.size()), heap);
    };
    if (const auto* text = std::get_if<std::string>(&data)) {
        return textual(*text);
    }
    if (const auto* bytes = std::get_if<Answer::Bytes>(&data)) {
        return textual(bytesText(*bytes, notation));
    }
    const unsigned number = std::get<unsigned>(data);
    if (notation.kind == Kind::flag) {
        return Node(number != 0);
    }
    if (notation.kind == Kind::time) {
        return textual(timeText(number));
    }
    if (notation.kind == Kind::quantity) {
        const bool isNegative = notation.least < 0;
        return textual(quantityText(
            isNegative ? static_cast<double>(static_cast<std::int32_t>(number)) : number,
            *notation.unit));
    }
    if (notation.vocabulary != nullptr) {
        for (const Code& code : notation.vocabulary->codes) {
            if (code.number == number) {
                return textual(code.name);
            }
        }
    }
    return Node(number);
}

}  // namespace varnock::agent
