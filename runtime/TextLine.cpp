#include "runtime/TextLine.h"

namespace varnock {

bool TextLine::read(FILE* file) {
    length_ = 0;
    isCut_ = false;
    hasNewline_ = false;
    int c = getc_unlocked(file);
    if (c == EOF) return false;
    for (; c != EOF && c != '\n'; c = getc_unlocked(file)) {
        if (length_ < maxLength) {
            text_[length_++] = static_cast<char>(c);
        } else {
            isCut_ = true;
        }
    }
    hasNewline_ = c == '\n';
    text_[length_] = '\0';
    return true;
}

}  // namespace varnock
