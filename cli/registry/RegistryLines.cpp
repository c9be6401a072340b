#include "cli/registry/RegistryLines.h"

#include <stdlib.h>

#include <algorithm>
#include <string>

#include "runtime/registry/RegistryFormat.h"

namespace varnockctl {
namespace {

using namespace varnock::registryformat;

void takeValue(RegistryLine& line) {
    const std::size_t equals = line.read.find('=');
    const std::string_view marked = equals != line.read.npos ? line.read.substr(equals) : "";
    for (const std::string_view marker :
         {kStringMarker, kExpandMarker, kNumberMarker, kBinaryMarker}) {
        if (marked.starts_with(marker)) {
            line.kind = RegistryLine::Kind::value;
            line.name = line.read.substr(0, equals);
            line.marker = marked.substr(0, marker.size());
            line.data = marked.substr(marker.size());
        }
    }
}

}  // namespace

bool RegistryLine::isRead() const {
    if (kind != Kind::value || marker != kNumberMarker) {
        return kind != Kind::other;
    }
    const std::string number(data);
    char* end = nullptr;
    static_cast<void>(strtol(number.c_str(), &end, 10));
    return end != number.c_str();
}

RegistryLine registryLineAt(std::string_view file, std::size_t offset) {
    RegistryLine line;
    line.begin = offset;
    const std::size_t newline = file.find('\n', offset);
    const std::size_t end = std::min(newline, file.size());
    line.next = std::min(end + 1, file.size());
    line.text = file.substr(offset, end - offset);
    line.read = line.text.substr(0, kLongestLine);
    line.read = line.read.substr(0, line.read.find('\0'));
    if (line.read.empty()) {
        line.kind = RegistryLine::Kind::end;
    } else if (line.read[0] == '[' && line.read.rfind(']') != line.read.npos) {
        line.kind = RegistryLine::Kind::key;
        line.name = line.read.substr(1, line.read.rfind(']') - 1);
    } else {
        takeValue(line);
    }
    return line;
}

}  // namespace varnockctl
