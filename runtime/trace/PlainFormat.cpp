#include "runtime/trace/PlainFormat.h"

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <limits>
#include <string_view>

#include "runtime/trace/Digits.h"
#include "util/Ascii.h"

namespace varnock {
namespace {

/// A buffer that keeps as much of the output as fits. Small enough to be passed and returned in
/// registers, which is faster than at an address.
class Output {
  public:
    Output(char* text, std::size_t size) : next_(text), last_(text + size - 1) {}

    void write(std::string_view text) {
        const std::size_t length = std::min(text.size(), room());
        // An empty text may be null, which memcpy does not take.
        next_ = std::copy_n(text.data(), length, next_);
    }
    /// Writes the first characters of eight. A copy of all eight is faster than one of some.
    void write(EightCharacters text, std::size_t length) {
        if (room() < sizeof text) {
            write({reinterpret_cast<const char*>(&text), length});
            return;
        }
        memcpy(next_, &text, sizeof text);
        next_ += length;
    }
    void pad(char c, std::size_t count) {
        count = std::min(count, room());
        memset(next_, c, count);
        next_ += count;
    }
    std::size_t room() const { return static_cast<std::size_t>(last_ - next_); }
    char* finish() {
        *next_ = '\0';
        return next_;
    }

  private:
    char* next_;
    char* last_;
};

/// One conversion, without its "%".
struct Conversion {
    static constexpr std::uint32_t kNoPrecision = ~0U;

    bool left = false;
    bool zeros = false;
    std::uint32_t width = 0;
    std::uint32_t precision = kNoPrecision;
    bool isLong = false;  ///< has a length: l, ll or z
    char type = '\0';
};

/// Parses digits. False for a number that is larger than any text.
[[nodiscard]] bool parseNumber(const char*& format, std::uint32_t& number) {
    constexpr std::uint32_t kLargest = 100'000;
    number = 0;
    for (; isDigit(*format); ++format) {
        number = number * 10 + static_cast<std::uint32_t>(*format - '0');
        if (number > kLargest) {
            return false;
        }
    }
    return true;
}

/// Parses flags, width and precision. False for unsupported ones.
[[nodiscard]] bool parseLayout(const char*& format, Conversion& conversion) {
    for (; *format == '-' || *format == '0'; ++format) {
        (*format == '-' ? conversion.left : conversion.zeros) = true;
    }
    if (!parseNumber(format, conversion.width)) {
        return false;
    }
    return *format != '.' || parseNumber(++format, conversion.precision);
}

/// Parses a conversion and moves the format behind it. False for an unsupported conversion.
[[nodiscard]] bool parse(const char*& format, Conversion& conversion) {
    // Most conversions have no layout, and a letter is above all characters of one.
    if (*format <= '9' && !parseLayout(format, conversion)) {
        return false;
    }
    if (*format == 'l') {
        conversion.isLong = true;
        format += format[1] == 'l' ? 2 : 1;
    } else if (*format == 'z') {
        conversion.isLong = true;
        ++format;
    }
    conversion.type = *format;
    if (conversion.type == '\0') {
        return false;
    }
    ++format;
    return true;
}

/// Writes prefix and text, padded to the width.
Output place(Output output, Conversion conversion, std::string_view prefix, std::string_view text) {
    const std::size_t length = prefix.size() + text.size();
    const std::size_t missing = conversion.width > length ? conversion.width - length : 0;
    const bool zeros = conversion.zeros && !conversion.left;
    if (!conversion.left && !zeros) {
        output.pad(' ', missing);
    }
    output.write(prefix);
    if (zeros) {
        output.pad('0', missing);
    }
    output.write(text);
    if (conversion.left) {
        output.pad(' ', missing);
    }
    return output;
}

Output placeAnyNumber(Output output, Conversion conversion, std::string_view prefix,
                      std::uint64_t value, int base) {
    char digits[std::numeric_limits<std::uint64_t>::digits10 + 1];
    char* const end = std::to_chars(digits, digits + sizeof digits, value, base).ptr;
    if (conversion.type == 'X') {
        for (char* c = digits; c != end; ++c) {
            *c = upperCase(*c);
        }
    }
    return place(output, conversion, prefix, {digits, static_cast<std::size_t>(end - digits)});
}

/// The same without a prefix, faster for a number of at most eight digits that is padded with zeros
/// or not at all.
inline Output placeNumber(Output output, Conversion conversion, std::uint64_t value, int base) {
    constexpr std::size_t kMost = sizeof(EightCharacters);
    constexpr std::size_t kBits = 8;
    const auto low = static_cast<std::uint32_t>(value);
    if (base == 10 ? value < 100'000'000 : value == low) {
        const EightCharacters digits =
            base == 10 ? eightDigits(low) : eightHexDigits(low, conversion.type == 'X' ? 'A' : 'a');
        const std::size_t leadingZeros =
            static_cast<std::size_t>(std::countr_zero(digits ^ kEightZeros)) / kBits;
        const std::size_t length = kMost - std::min(leadingZeros, kMost - 1);
        const std::size_t shown = conversion.zeros && !conversion.left
                                      ? std::max<std::size_t>(length, conversion.width)
                                      : length;
        if (conversion.width <= shown && shown <= kMost) {
            output.write(digits >> kBits * (kMost - shown), shown);
            return output;
        }
    }
    return placeAnyNumber(output, conversion, {}, value, base);
}

std::uint64_t nextUnsigned(Conversion conversion, va_list arguments) {
    return conversion.isLong ? va_arg(arguments, unsigned long) : va_arg(arguments, unsigned int);
}

/// Writes one conversion with the next argument. False for an unsupported conversion.
[[nodiscard]] bool write(Output& output, Conversion conversion, va_list arguments) {
    const bool hasPrecision = conversion.precision != Conversion::kNoPrecision;
    switch (conversion.type) {
        case 's':
        case 'S': {
            const char* const text = va_arg(arguments, const char*);
            if (conversion.isLong || text == nullptr || conversion.zeros) {
                return false;
            }
            // The text is not read beyond the end of the output.
            const std::size_t most = std::min<std::size_t>(
                conversion.precision, std::max<std::size_t>(output.room(), conversion.width));
            const std::string_view shown(text, strnlen(text, most));
            if (conversion.width <= shown.size()) {
                output.write(shown);
            } else {
                output = place(output, conversion, {}, shown);
            }
            return true;
        }
        case 'c': {
            const char c = static_cast<char>(va_arg(arguments, int));
            if (conversion.isLong || hasPrecision || conversion.zeros) {
                return false;
            }
            output = place(output, conversion, {}, {&c, 1});
            return true;
        }
        case 'd':
        case 'i': {
            const std::int64_t value =
                conversion.isLong ? va_arg(arguments, long) : va_arg(arguments, int);
            const auto bits = static_cast<std::uint64_t>(value);
            output = value < 0 ? placeAnyNumber(output, conversion, "-", 0 - bits, 10)
                               : placeNumber(output, conversion, bits, 10);
            return !hasPrecision;
        }
        case 'u':
            output = placeNumber(output, conversion, nextUnsigned(conversion, arguments), 10);
            return !hasPrecision;
        case 'x':
        case 'X':
            output = placeNumber(output, conversion, nextUnsigned(conversion, arguments), 16);
            return !hasPrecision;
        case 'p': {
            const auto value = reinterpret_cast<std::uintptr_t>(va_arg(arguments, void*));
            if (conversion.isLong || hasPrecision || value == 0 || conversion.zeros) {
                return false;
            }
            output = placeAnyNumber(output, conversion, "0x", value, 16);
            return true;
        }
        default:
            return false;
    }
}

}  // namespace

char* formatPlain(char* text, std::size_t size, const char* format, va_list arguments) {
    // One branch serves long, long long and size_t, because they have one size.
    static_assert(sizeof(long) == sizeof(long long) && sizeof(long) == sizeof(std::size_t));
    Output output(text, size);
    for (;;) {
        const char* const percent = strchrnul(format, '%');
        output.write({format, static_cast<std::size_t>(percent - format)});
        if (*percent == '\0') {
            return output.finish();
        }
        format = percent + 1;
        if (*format == '%') {
            output.write({format++, 1});
            continue;
        }
        Conversion conversion;
        if (!parse(format, conversion) || !write(output, conversion, arguments)) {
            return nullptr;
        }
    }
}

}  // namespace varnock
