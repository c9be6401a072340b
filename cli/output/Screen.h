#pragma once

#include <locale.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace varnockctl {

/// What standard output can show.
struct Screen {
    std::size_t width = 0;   ///< columns; 0: lines of any length
    bool isUtf8 = true;      ///< else ASCII
    bool hasGlyphs = false;  ///< draws with characters beyond ASCII
    bool hasColour = false;

    /// Of a terminal: its width, unless `wide`, and the character set of the locale; colours unless
    /// NO_COLOR is set. A pipe or a file gets whole lines of UTF-8 in every locale, drawn in ASCII.
    static Screen ofOutput(bool wide);
};

/// Makes the widths of characters those of the screen, for this thread and during the lifetime of
/// the object. The rest of the program stays in the "C" locale.
class DisplayLocale {
  public:
    explicit DisplayLocale(const Screen& screen);
    ~DisplayLocale();
    DisplayLocale(const DisplayLocale&) = delete;
    DisplayLocale& operator=(const DisplayLocale&) = delete;

  private:
    locale_t locale_;
    locale_t before_;
};

/// A text without control characters, and in ASCII if the screen shows nothing else.
std::string shownText(std::string_view text, const Screen& screen);

/// The columns that a text takes. REQUIRES: a DisplayLocale, and shownText().
std::size_t columnsOf(std::string_view text);

/// The text in at most `width` columns; its end is replaced by an ellipsis if it is longer.
/// REQUIRES: as columnsOf(); a width above 0.
std::string clipped(std::string_view text, std::size_t width, const Screen& screen);

/// The text in lines of at most `width` columns, broken between words where possible. REQUIRES: as
/// clipped().
std::string wrapped(std::string_view text, std::size_t width);

}  // namespace varnockctl
