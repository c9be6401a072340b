#include "agent/model/CurveFile.h"

#include <algorithm>
#include <filesystem>

#include "agent/model/JsonText.h"
#include "agent/model/MachineFile.h"
#include "agent/model/Notation.h"

namespace varnock::agent {
namespace {

namespace fs = std::filesystem;
using catalogue::Shape;

constexpr std::string_view kBlanks = " \t\r";

std::string_view withoutBlanks(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == text.npos ? std::string_view()
                              : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

Node textNode(std::string_view text, JsonHeap& heap) {
    return Node(text.data(), static_cast<rapidjson::SizeType>(text.size()), heap);
}

/// A line of the file as a point. Throws BadMachineFile if it is not a time and a value.
Node pointOf(std::string_view line, const std::string& place, JsonHeap& heap) {
    const std::size_t comma = line.find(',');
    const std::string_view time = withoutBlanks(line.substr(0, comma));
    if (comma == line.npos || !parseDuration(time)) {
        throw BadMachineFile(place + "expected a time, a comma and a value, found \"" +
                             excerpt(line) + '"');
    }
    Node point(rapidjson::kArrayType);
    point.PushBack(textNode(time, heap), heap);
    point.PushBack(writtenValue(withoutBlanks(line.substr(comma + 1)), heap), heap);
    return point;
}

/// Empty lines and those that begin with # are comments.
Node pointsIn(const std::string& path, JsonHeap& heap) {
    const std::string text = textOfFile(path);
    Node points(rapidjson::kArrayType);
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string_view line =
            withoutBlanks(std::string_view(text).substr(begin, end - begin));
        ++number;
        if (!line.empty() && line.front() != '#') {
            points.PushBack(pointOf(line, path + ":" + std::to_string(number) + ": ", heap), heap);
        }
        begin = end + 1;
    }
    return points;
}

void readCurve(Node& curve, const std::string& folder, JsonHeap& heap) {
    const Node* file = memberOf(curve, "file");
    if (file == nullptr || !file->IsString() || memberOf(curve, "points") != nullptr) {
        return;  // the comparison with the shape finds what is wrong
    }
    Node points = pointsIn(fs::path(folder) / std::string(textOf(*file)), heap);
    curve.RemoveMember("file");
    curve.AddMember("points", points, heap);
}

}  // namespace

void readCurveFiles(Node& machine, const Shape& shape, const std::string& folder, JsonHeap& heap) {
    if (shape.value) {
        readCurve(machine, folder, heap);
    } else if (shape.element && machine.IsArray()) {
        for (Node& element : machine.GetArray()) {
            readCurveFiles(element, *shape.element, folder, heap);
        }
    } else if (!shape.element && machine.IsObject()) {
        for (const auto& [name, member] : shape.members) {
            if (Node* value = memberOf(machine, name)) {
                readCurveFiles(*value, member, folder, heap);
            }
        }
    }
}

}  // namespace varnock::agent
