#include "Guarded.h"

#include <cimple/Error.h>

namespace krm {
namespace {

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0u) == 0x80u;
}

}  // namespace

std::string shortened(const char* text) {
    std::string result(text);
    if (result.size() <= kLongestErrorText) {
        return result;
    }
    // A character has at most three such bytes; text with more is not UTF-8.
    std::size_t end = kLongestErrorText;
    while (end > kLongestErrorText - 3 && continuesCharacter(result[end])) {
        --end;
    }
    result.resize(end);
    return result;
}

void setErrorText(const char* text) {
    using namespace cimple;  // the macro names its helper without a namespace
    CIMPLE_ERROR(("%s", shortened(text).c_str()));
}

cimple::String messageOf(const provider::BaseException& failure) {
    cimple::String text = failure.fullText();
    const std::size_t message = text.find("message=\"");
    return message == static_cast<std::size_t>(-1) ? text : text.substr(message);
}

}  // namespace krm
