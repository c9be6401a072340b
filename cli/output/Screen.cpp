#include "cli/output/Screen.h"

#include <langinfo.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wchar.h>

#include <algorithm>

#include "tools/Number.h"
#include "tools/Printable.h"

namespace varnockctl {
namespace {

constexpr std::size_t kUsualWidth = 80;

bool isSet(const char* variable) {
    const char* const value = getenv(variable);
    return value != nullptr && *value != '\0';
}

/// As other programs do: the variable wins over what the terminal says.
std::size_t widthOfTerminal() {
    const auto columns = varnock::parseNumber(isSet("COLUMNS") ? getenv("COLUMNS") : "");
    if (columns && *columns != 0) {
        return *columns;
    }
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col
                                                                            : kUsualWidth;
}

bool hasUtf8Locale() {
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) {
        return false;
    }
    const bool isUtf8 = std::string_view(nl_langinfo_l(CODESET, locale)) == "UTF-8";
    freelocale(locale);
    return isUtf8;
}

/// The columns of the first character, and its length; a byte without a meaning takes one column.
std::size_t columnsOfFirst(std::string_view text, std::size_t& length) {
    wchar_t character = 0;
    mbstate_t state{};
    const std::size_t got = mbrtowc(&character, text.data(), text.size(), &state);
    const bool isValid = got != 0 && got <= text.size();
    length = isValid ? got : 1;
    return isValid ? static_cast<std::size_t>(std::max(wcwidth(character), 0)) : 1;
}

/// The bytes of the longest beginning that fits.
std::size_t bytesWithin(std::string_view text, std::size_t width) {
    std::size_t used = 0;
    std::size_t bytes = 0;
    while (bytes < text.size()) {
        std::size_t length = 0;
        used += columnsOfFirst(text.substr(bytes), length);
        if (used > width) {
            break;
        }
        bytes += length;
    }
    return bytes;
}

}  // namespace

Screen Screen::ofOutput(bool wide) {
    Screen screen;
    if (isatty(STDOUT_FILENO) != 0) {
        const char* const terminal = getenv("TERM");
        screen.width = wide ? 0 : widthOfTerminal();
        screen.isUtf8 = screen.hasGlyphs = hasUtf8Locale();
        screen.hasColour =
            !isSet("NO_COLOR") && terminal != nullptr && std::string_view(terminal) != "dumb";
    }
    return screen;
}

DisplayLocale::DisplayLocale(const Screen& screen)
    : locale_(newlocale(LC_CTYPE_MASK, screen.isUtf8 ? "C.UTF-8" : "C", nullptr)),
      before_(locale_ != nullptr ? uselocale(locale_) : nullptr) {}

DisplayLocale::~DisplayLocale() {
    if (locale_ != nullptr) {
        uselocale(before_);
        freelocale(locale_);
    }
}

std::string shownText(std::string_view text, const Screen& screen) {
    std::string shown = varnock::printable(text);
    if (screen.isUtf8) {
        return shown;
    }
    std::string ascii;
    for (const char c : shown) {
        if (static_cast<unsigned char>(c) < 0x80) {
            ascii += c;
        } else {
            char escape[5];
            snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(c));
            ascii += escape;
        }
    }
    return ascii;
}

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        std::size_t length = 0;
        columns += columnsOfFirst(text, length);
        text.remove_prefix(length);
    }
    return columns;
}

std::string clipped(std::string_view text, std::size_t width, const Screen& screen) {
    if (columnsOf(text) <= width) {
        return std::string(text);
    }
    const std::string_view ellipsis = screen.hasGlyphs ? "\u2026" : "...";
    const std::size_t taken = std::min(width, columnsOf(ellipsis));
    std::string out(text.substr(0, bytesWithin(text, width - taken)));
    return out.append(ellipsis.substr(0, bytesWithin(ellipsis, taken)));
}

std::string wrapped(std::string_view text, std::size_t width) {
    std::string out;
    while (columnsOf(text) > width) {
        std::size_t fitting = bytesWithin(text, width);
        if (fitting == 0) {
            columnsOfFirst(text, fitting);
        }
        if (fitting == text.size()) {
            break;
        }
        const std::size_t blank = text.rfind(' ', fitting);
        const bool isWord = blank == text.npos || blank == 0;
        out.append(text.substr(0, isWord ? fitting : blank)).append(1, '\n');
        text.remove_prefix(isWord ? fitting : blank + 1);
    }
    return out.append(text);
}

}  // namespace varnockctl
