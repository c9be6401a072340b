#include "util/StringMapper.h"

bool CStringMapper::UTF8ToString(std::string& out, const char* text) {
    if (text == nullptr || *text == '\0') {
        return false;
    }
    out = text;
    return true;
}

std::string CStringMapper::UTF8ToString(const char* text) {
    return text != nullptr ? text : "";
}

std::string CStringMapper::StringToUTF8(const char* text) {
    return text != nullptr ? text : "";
}
