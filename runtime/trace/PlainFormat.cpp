#include "runtime/trace/PlainFormat.h"

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

#include "util/Ascii.h"

namespace varnock {
namespace {

/// A buffer that keeps as much of the output as fits.
class Output {
  public:
    Output(char* text, std::size_t size) : begin_(text), next_(text), last_(text + size - 1) {}

    void write(const char* text, std::size_t length) {
        // An empty text may be null, which memcpy does not take.
        next_ = std::copy_n(text, std::min(length, room()), next_);
    }
    void pad(char c, std::size_t count) {
        count = std::min(count, room());
        memset(next_, c, count);
        next_ += count;
    }
    std::size_t room() const { return static_cast<std::size_t>(last_ - next_); }
    std::size_t finish() {
        *next_ = '\0';
        return static_cast<std::size_t>(next_ - begin_);
    }

  private:
    char* begin_;
    char* next_;
    char* last_;
};

/// One conversion, without its "%".
struct Conversion {
    bool left = false;
    bool zeros = false;
    std::size_t width = 0;
    std::size_t precision = std::string_view::npos;  ///< npos: none
    enum class Length { none, longs, size } length = Length::none;
    char type = '\0';
};

/// Parses digits. False for a number that is larger than any text.
[[nodiscard]] bool parseNumber(const char*& format, std::size_t& number) {
    constexpr std::size_t kLargest = 100'000;
    number = 0;
    for (; isDigit(*format); ++format) {
        number = number * 10 + static_cast<std::size_t>(*format - '0');
        if (number > kLargest) {
            return false;
        }
    }
    return true;
}

/// Parses a conversion and moves the format behind it. False for an unsupported conversion.
[[nodiscard]] bool parse(const char*& format, Conversion& conversion) {
    for (; *format == '-' || *format == '0'; ++format) {
        (*format == '-' ? conversion.left : conversion.zeros) = true;
    }
    if (!parseNumber(format, conversion.width)) {
        return false;
    }
    if (*format == '.' && !parseNumber(++format, conversion.precision)) {
        return false;
    }
    if (*format == 'l') {
        conversion.length = Conversion::Length::longs;
        format += format[1] == 'l' ? 2 : 1;
    } else if (*format == 'z') {
        conversion.length = Conversion::Length::size;
        ++format;
    }
    conversion.type = *format;
    if (conversion.type == '\0') {
        return false;
    }
    ++format;
    return true;
}

/// Writes the conversions of one format, in their order.
class Formatter {
  public:
    Formatter(Output& output, va_list arguments) : output_(output) {
        va_copy(arguments_, arguments);
    }
    ~Formatter() { va_end(arguments_); }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    /// False for an unsupported conversion.
    [[nodiscard]] bool write(const Conversion& conversion) {
        const bool isPlain = conversion.length == Conversion::Length::none;
        const bool hasPrecision = conversion.precision != std::string_view::npos;
        switch (conversion.type) {
            case 's':
            case 'S':
                return isPlain && writeText(conversion);
            case 'c':
                return isPlain && !hasPrecision && writeCharacter(conversion);
            case 'd':
            case 'i':
                return !hasPrecision && writeSigned(conversion);
            case 'u':
                return !hasPrecision && writeUnsigned(conversion, 10, "");
            case 'x':
            case 'X':
                return !hasPrecision && writeUnsigned(conversion, 16, "");
            case 'p':
                return isPlain && !hasPrecision && writePointer(conversion);
            default:
                return false;
        }
    }

  private:
    [[nodiscard]] bool writeText(const Conversion& conversion) {
        const char* text = va_arg(arguments_, const char*);
        if (text == nullptr || conversion.zeros) {
            return false;
        }
        // The text is not read beyond the end of the output.
        const std::size_t most =
            std::min(conversion.precision, std::max(output_.room(), conversion.width));
        place(conversion, {}, {text, strnlen(text, most)});
        return true;
    }

    [[nodiscard]] bool writeCharacter(const Conversion& conversion) {
        const char c = static_cast<char>(va_arg(arguments_, int));
        if (conversion.zeros) {
            return false;
        }
        place(conversion, {}, {&c, 1});
        return true;
    }

    [[nodiscard]] bool writeSigned(const Conversion& conversion) {
        const std::int64_t value = conversion.length == Conversion::Length::none
                                       ? va_arg(arguments_, int)
                                       : va_arg(arguments_, long);
        const auto bits = static_cast<std::uint64_t>(value);
        placeNumber(conversion, value < 0 ? 0 - bits : bits, 10, value < 0 ? "-" : "");
        return true;
    }

    [[nodiscard]] bool writeUnsigned(const Conversion& conversion, int base,
                                     std::string_view prefix) {
        const std::uint64_t value = conversion.length == Conversion::Length::none
                                        ? va_arg(arguments_, unsigned int)
                                        : va_arg(arguments_, unsigned long);
        placeNumber(conversion, value, base, prefix);
        return true;
    }

    [[nodiscard]] bool writePointer(const Conversion& conversion) {
        const auto value = reinterpret_cast<std::uintptr_t>(va_arg(arguments_, void*));
        if (value == 0 || conversion.zeros) {
            return false;
        }
        placeNumber(conversion, value, 16, "0x");
        return true;
    }

    void placeNumber(const Conversion& conversion, std::uint64_t value, int base,
                     std::string_view prefix) {
        char digits[std::numeric_limits<std::uint64_t>::digits10 + 1];
        char* const end = std::to_chars(digits, digits + sizeof digits, value, base).ptr;
        if (conversion.type == 'X') {
            for (char* c = digits; c != end; ++c) {
                *c = upperCase(*c);
            }
        }
        place(conversion, prefix, {digits, static_cast<std::size_t>(end - digits)});
    }

    /// Writes prefix and text, padded to the width.
    void place(const Conversion& conversion, std::string_view prefix, std::string_view text) {
        const std::size_t length = prefix.size() + text.size();
        const std::size_t missing = conversion.width > length ? conversion.width - length : 0;
        const bool zeros = conversion.zeros && !conversion.left;
        if (!conversion.left && !zeros) {
            output_.pad(' ', missing);
        }
        output_.write(prefix.data(), prefix.size());
        if (zeros) {
            output_.pad('0', missing);
        }
        output_.write(text.data(), text.size());
        if (conversion.left) {
            output_.pad(' ', missing);
        }
    }

    Output& output_;
    va_list arguments_;
};

}  // namespace

std::optional<std::size_t> formatPlain(char* text, std::size_t size, const char* format,
                                       va_list arguments) {
    // One branch serves long, long long and size_t, because they have one size.
    static_assert(sizeof(long) == sizeof(long long) && sizeof(long) == sizeof(std::size_t));
    Output output(text, size);
    Formatter formatter(output, arguments);
    for (;;) {
        const char* const percent = strchrnul(format, '%');
        output.write(format, static_cast<std::size_t>(percent - format));
        if (*percent == '\0') {
            return output.finish();
        }
        format = percent + 1;
        if (*format == '%') {
            output.write(format++, 1);
            continue;
        }
        Conversion conversion;
        if (!parse(format, conversion) || !formatter.write(conversion)) {
            return std::nullopt;
        }
    }
}

}  // namespace varnock
