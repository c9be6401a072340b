#include "cli/output/Printable.h"

#include "cli/output/Json.h"

namespace varnockctl {

std::string printable(std::string_view text) {
    std::string out;
    for (const char c : escapeInvalidUtf8(text)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && c != '\n' && c != '\t') || byte == 0x7F) {
            constexpr char digits[] = "0123456789ABCDEF";
            out.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 0xF]);
        } else {
            out += c;
        }
    }
    return out;
}

}  // namespace varnockctl
